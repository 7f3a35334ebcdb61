#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Corvane::Pellix::Quorvel::Tool {

// Sorts 64-bit keys ascending. The tool's keys pack vertex or face numbers,
// so most of their bytes are the same in every key: a byte-wise radix sort
// skips those bytes and passes over the others once each, sooner than a
// comparison sort on the hundred thousands of keys of a large mesh. Equal
// keys are indistinguishable, so the result is the one std::sort gives.
//
// From bit `from` (rounded down to a byte) the keys are compared, and keys
// equal there keep their order: a key whose low bits hold an ascending index
// needs no pass over the index. (Short runs are sorted whole, which orders
// such keys the same way.)
inline void SortKeys(std::vector<std::uint64_t>& keys, int from = 0) {
    if (keys.size() < 4096) {
        std::sort(keys.begin(), keys.end());
        return;
    }
    // Bytes where some key differs from the first; the others are skipped.
    std::uint64_t differ = 0;
    for (const std::uint64_t key : keys)
        differ |= key ^ keys.front();
    std::vector<std::uint64_t> scratch(keys.size());
    for (int shift = from / 8 * 8; shift < 64; shift += 8) {
        if ((differ >> shift & 0xFF) == 0)
            continue;
        std::size_t start[257] = {};
        for (const std::uint64_t key : keys)
            ++start[(key >> shift & 0xFF) + 1];
        for (int digit = 0; digit < 256; ++digit)
            start[digit + 1] += start[digit];
        for (const std::uint64_t key : keys)
            scratch[start[key >> shift & 0xFF]++] = key;
        keys.swap(scratch);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
