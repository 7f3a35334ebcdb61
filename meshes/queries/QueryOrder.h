#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Corvane::Pellix::Quorvel::detail {

// The 10 low bits of v spread to every third bit, for Morton keys of 30 bits.
inline std::uint32_t SpreadBits(std::uint32_t v) {
    v &= 0x3FFu;
    v = (v | (v << 16)) & 0x030000FFu;
    v = (v | (v << 8)) & 0x0300F00Fu;
    v = (v | (v << 4)) & 0x030C30C3u;
    v = (v | (v << 2)) & 0x09249249u;
    return v;
}

// The 30-bit Morton key of point p (anything indexed 0 to 2) on a grid of
// 1,024 cells an axis: cell (p[k] - low[k]) * scale[k], points outside it in
// its end cells and a NaN coordinate in cell 0.
template <class Point>
std::uint32_t MortonKey(const Point& p, const double* low, const double* scale) {
    std::uint32_t key = 0;
    for (int k = 0; k < 3; ++k) {
        const double unit = (p[k] - low[k]) * scale[k];
        // Written so that a NaN falls in cell 0.
        const std::uint32_t cell = unit > 0 ? static_cast<std::uint32_t>(std::min(unit, 1023.0)) : 0;
        key |= SpreadBits(cell) << k;
    }
    return key;
}

/// Indices 0 .. count - 1 ordered by `keys` (30 bits each), stably: equal
/// keys keep increasing index. On all cores from about a million keys, on
/// the calling thread below; the order is the same either way.
/// \pre `order` holds `count` elements; keys below 2^30.
/// \post order[0 .. count - 1] is a permutation of 0 .. count - 1.
void SortByKey(const std::uint32_t* keys, std::size_t count, std::uint32_t* order);

}  // namespace Corvane::Pellix::Quorvel::detail
