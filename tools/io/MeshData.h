#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "quorvel/maths/TVector3.h"

namespace Corvane::Pellix::Quorvel::Tool {

typedef Sarvetta::TVector3<double> Point;
typedef std::array<std::uint32_t, 3> Triangle;

// A triangle mesh as the file formats see it: positions in file order and
// triangles indexing them. Readers fill it, writers read it; the library mesh
// is built from it and converted back, so the vertex order of a file survives
// a read and a write unchanged.
class CMeshData {
public:
    std::vector<Point> m_Positions;
    std::vector<Triangle> m_Triangles;
    // Polygons with fewer than three corners that the reader left out.
    std::uint64_t m_SkippedPolygons = 0;
};

}  // namespace Corvane::Pellix::Quorvel::Tool
