#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Corvane::Pellix::Quorvel::Tool {

// Sorts 64-bit keys ascending. The tool's keys pack vertex or face numbers,
// so most of their bytes are the same in every key: a byte-wise radix sort
// skips those bytes and passes over the others once each, several times
// sooner than a comparison sort on the hundred thousands of keys of a large
// mesh. Equal keys are indistinguishable, so the result is the one
// std::sort gives.
inline void SortKeys(std::vector<std::uint64_t>& keys) {
    if (keys.size() < 4096) {
        std::sort(keys.begin(), keys.end());
        return;
    }
    std::vector<std::array<std::size_t, 256>> counts(8, std::array<std::size_t, 256>{});
    for (const std::uint64_t key : keys)
        for (int byte = 0; byte < 8; ++byte)
            ++counts[byte][key >> (8 * byte) & 0xFF];
    std::vector<std::uint64_t> scratch(keys.size());
    for (int byte = 0; byte < 8; ++byte) {
        std::array<std::size_t, 256>& count = counts[byte];
        const int shift = 8 * byte;
        if (count[keys.front() >> shift & 0xFF] == keys.size())
            continue;
        std::size_t start = 0;
        for (std::size_t& c : count) {
            const std::size_t n = c;
            c = start;
            start += n;
        }
        for (const std::uint64_t key : keys)
            scratch[count[key >> shift & 0xFF]++] = key;
        keys.swap(scratch);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
