#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// Adds a polygon as a fan around its first corner; polygons with fewer than
// three corners are counted as skipped. Corners must already be in range.
void AddPolygon(CMeshData& mesh, const std::uint32_t* corners, std::size_t count);

inline bool IsFinitePoint(const Point& p)
{
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// Largest element count a reader accepts: the library counts in 32 bits.
constexpr std::uint64_t MaximumElementCount = 0x7FFFFFFFu;

}  // namespace Corvane::Pellix::Quorvel::Tool
