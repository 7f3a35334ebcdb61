#pragma once

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

/// Indices 0 .. count - 1 ordered by `keys` (30 bits each), stably: equal
/// keys keep increasing index. On all cores.
/// \pre `order` holds `count` elements; keys below 2^30.
/// \post order[0 .. count - 1] is a permutation of 0 .. count - 1.
void SortByKey(const std::uint32_t* keys, std::size_t count, std::uint32_t* order);

}  // namespace Corvane::Pellix::Quorvel::detail
