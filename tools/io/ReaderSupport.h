#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "io/MeshData.h"
#include "quorvel/maths/Limits.h"

namespace Corvane::Pellix::Quorvel::Tool {

// Adds a polygon as a fan around its first corner; polygons with fewer than
// three corners are counted as skipped. Corners must already be in range.
void AddPolygon(CMeshData& mesh, const std::uint32_t* corners, std::size_t count);

inline bool IsFinitePoint(const Point& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// Whether every coordinate survives conversion to float without becoming
// infinite: STL files and point sets are written in single precision.
inline bool FitsInFloat(const Point& p) {
    constexpr double largest = Sarvetta::LargestFloat;
    return std::fabs(p.x) <= largest && std::fabs(p.y) <= largest && std::fabs(p.z) <= largest;
}

// Largest element count a reader accepts: the library counts in 32 bits.
constexpr std::uint64_t MaximumElementCount = 0x7FFFFFFFu;

}  // namespace Corvane::Pellix::Quorvel::Tool
