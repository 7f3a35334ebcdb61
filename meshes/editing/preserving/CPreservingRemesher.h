#pragma once

#include <cstdint>
#include <vector>

#include "quorvel/meshes/editing/CRemeshOptions.h"

namespace Corvane::Pellix::Quorvel::detail {

// The engine behind TMesh::RemeshPreservingShape. It is compiled once for all
// mesh types: the mesh hands over its positions and corners as flat arrays in
// double precision and takes the result back the same way.
//
// Input that a mesh may legally hold but that the edits cannot handle is kept
// out of their way rather than rejected: faces with a repeated or
// out-of-range corner are dropped; edges shared by more than two faces (or by
// two faces wound alike), vertices where separate fans meet, pairs of faces on
// the same three corners and every face that touches a vertex with a
// non-finite coordinate are frozen.
class CPreservingRemesher {
public:
    // positions: x, y, z per vertex; triangles: three corners per face.
    // Returns false when the progress callback stopped the work early; the
    // output is a valid mesh either way.
    bool Run(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles, double targetLength,
             const CRemeshOptions& options);

    // The result: every vertex is used by a face and no face repeats a corner.
    std::vector<double> m_Positions;
    std::vector<std::uint32_t> m_Triangles;
    // Per output vertex, the input vertex it continues (its record, colour
    // included, is worth keeping), or NoSource for a vertex the edits made.
    // Sources ascend, never lie below their own index, and the vertices
    // without one come last, so a caller can move records down in place.
    std::vector<std::uint32_t> m_Sources;

    static constexpr std::uint32_t NoSource = 0xFFFFFFFFu;
};

}  // namespace Corvane::Pellix::Quorvel::detail
