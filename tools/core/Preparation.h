#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/MeshRepair.h"
#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The preparations that the tool's subcommands and the Python operations of
// the same names share, so that a mesh gives the same result from either.
// They report what they changed and what stopped them; the messages and
// notes are the callers', which name options and files their own way.

// What a preparation changed, kept apart the way the notes tell it.
class CPreparation {
public:
    // Faces that named a vertex twice.
    CRepairSummary m_Degenerate;
    // Merged vertices, duplicate faces, flipped faces (and, for a shell, the
    // whole manifold repair).
    CRepairSummary m_Repairs;
    // Vertices that no face used any more; no note tells of them.
    CRepairSummary m_Unused;
    // The manifold repair of the exact remesh.
    CRepairSummary m_Manifold;
    // Every edge of the prepared mesh once, as low end << 32 | high end in
    // ascending order (what MeanEdgeLength takes), when the preparation found
    // them on its way; empty otherwise.
    std::vector<std::uint64_t> m_Edges;
};

enum class EPreparationFault {
    None,
    // Every face named a vertex twice.
    NoUsableFaces,
    // The manifold repair did not succeed.
    NotManifold,
    // The manifold repair left no face.
    NoFacesLeft
};

// The default weld tolerance before a remesh, over the bounding-box
// diagonal: a float keeps about seven digits, so copies of one vertex that an
// exporter rounded separately stand up to a few 1e-7 of the coordinates
// apart; real features that close together are below any target.
constexpr double DefaultWeldTolerance = 1e-6;

// Before either remesh. The result is a new mesh, so the input's vertex
// numbering need not survive: copies of one position are joined first, and
// what that makes degenerate is dropped with the rest. A face repeated on the
// same three vertices adds no surface but would pin a doubled, non-manifold
// sliver into the result of either method, and faces wound against their
// neighbours would stay so. The exact method's edge operations assume an
// oriented manifold, so for it the mesh is repaired into one.
//
// Copies that rounding moved apart (a file written with few digits, or a
// soup whose faces rounded their corners each its own way) are joined as
// well: an end of an open edge within `weldTolerance` times the bounding-box
// diagonal of an earlier one becomes that one; 0 joins exact copies only.
EPreparationFault PrepareForRemesh(CMeshData& mesh, bool exact, CPreparation& changes,
                                   double weldTolerance = DefaultWeldTolerance);

// Before thickening. Walls follow the open edges and the copy follows the
// vertex normals, so the library needs one oriented sheet: a surface written
// face by face has every edge open, repeated faces add walls inside the
// shell and faces wound against their neighbours cancel the normals.
EPreparationFault PrepareForShell(CMeshData& mesh, CPreparation& changes);

// The library's thickened mesh made a shell: `inputFaces` faces of the
// original sheet, then as many of the moved copy, then the walls.
void FinishShell(CMeshData& shell, std::size_t inputFaces, double thickness);

// Why a result must not be handed on (a non-finite coordinate, an index out
// of range), as the end of a sentence naming the operation; null when sound.
const char* FindResultFault(const CMeshData& mesh);

}  // namespace Corvane::Pellix::Quorvel::Tool
