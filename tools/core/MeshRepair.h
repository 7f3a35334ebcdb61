#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// What the preparation steps changed, for the notes the tool prints.
class CRepairSummary {
public:
    std::uint64_t m_MergedVertices = 0;
    std::uint64_t m_WeldedVertices = 0;
    std::uint64_t m_StitchedVertices = 0;
    std::uint64_t m_RepeatedCornerFaces = 0;
    std::uint64_t m_DuplicateFaces = 0;
    std::uint64_t m_UnusedVertices = 0;
    std::uint64_t m_FlippedFaces = 0;
    std::uint64_t m_SplitVertices = 0;
    std::uint64_t m_DroppedFaces = 0;

    // One line per kind of change, empty when nothing changed.
    std::string Describe() const;
};

// The library's operations check nothing, so the tool hands them only what
// they are built for. Each step keeps the order of what it keeps.

// Vertices at exactly the same position become one, the first of them: files
// written triangle by triangle, or cut along texture seams, then hold one
// connected surface instead of loose pieces.
void WeldCoincidentVertices(CMeshData& mesh, CRepairSummary& summary);
// Each of `candidates` that lies within `distance` of an earlier candidate
// (the nearest, the lowest number on a tie) is replaced by it in every face;
// a vertex that was replaced is no longer a candidate itself, so a row of
// close vertices does not chain into one. Positions stay, unused vertices are
// left to DropUnusedVertices. Returns whether any face changed.
bool WeldCloseVertices(CMeshData& mesh, std::vector<std::uint32_t> candidates, double distance,
                       CRepairSummary& summary);
// T-junctions: each of the open edges (pairs of vertices, one after the
// other in `openEnds`) that has an end of another open edge within
// `distance` of its inside (further than `distance` from both its own ends)
// is cut there, its face split into a fan from its third corner, so that the
// sheets on either side of the crack share those vertices and edges. Returns
// whether any face changed.
bool StitchTJunctions(CMeshData& mesh, const std::vector<std::uint32_t>& openEnds, double distance,
                      CRepairSummary& summary);
// Faces that name one vertex at two corners: the library reads a face whose
// corner 0 equals corner 1 as marked for removal, and builds a vertex that is
// its own neighbour from the others.
void DropRepeatedCornerFaces(CMeshData& mesh, CRepairSummary& summary);
// Pairs of faces on the same three vertices wound opposite ways (a flap
// folded flat, as a snap of the positions makes of iso-surfaces) where
// their edges are shared by more faces besides: both go, which leaves those
// edges two faces. Runs before DropDuplicateFaces.
void DropFoldedFacePairs(CMeshData& mesh, CRepairSummary& summary);
// Faces with the same three vertices as an earlier face, in any order: a
// pair of them forms a closed sliver whose edge flips double edges.
void DropDuplicateFaces(CMeshData& mesh, CRepairSummary& summary);
// Vertices that no face uses.
void DropUnusedVertices(CMeshData& mesh, CRepairSummary& summary);

// Flips faces, component by component, to agree with their neighbours
// across two-sided edges. Flips change no shape; a surface that cannot be
// oriented (a Moebius band) keeps one disagreeing seam.
void OrientFaces(CMeshData& mesh, CRepairSummary& summary);

// Turns the mesh into an oriented manifold with boundary, as the edge
// operations of the exact remesh assume: faces are flipped to agree with
// their neighbours, and vertices where sheets meet (at non-manifold edges,
// misoriented edges or pinch points) are split into one copy per sheet, the
// copies appended at the end. Faces on edges that splitting cannot separate
// are dropped. Returns false if the mesh is still not manifold.
bool MakeManifold(CMeshData& mesh, CRepairSummary& summary);

}  // namespace Corvane::Pellix::Quorvel::Tool
