// The radix sort that orders batches and Morton trees: stable, and the same
// order whether it runs on one thread or on all, on both sides of the size
// from which it shares the passes between threads.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "quorvel/meshes/queries/QueryOrder.h"

namespace {

using Corvane::Pellix::Quorvel::detail::SortByKey;

TEST(QueryOrder, SortByKeyIsStableOnAnyNumberOfThreads) {
    std::mt19937 random(7);
    const int saved = omp_get_max_threads();
    // Sizes below and above the parallel threshold; keys from a narrow
    // range give long runs of equal keys, full-range keys touch all three
    // digits.
    for (const std::size_t count : {std::size_t(0), std::size_t(1), std::size_t(4097), (std::size_t(1) << 20) + 4093}) {
        for (const std::uint32_t range : {std::uint32_t(50), std::uint32_t(1) << 30}) {
            std::uniform_int_distribution<std::uint32_t> key(0, range - 1);
            std::vector<std::uint32_t> keys(count);
            for (std::uint32_t& k : keys)
                k = key(random);
            std::vector<std::uint32_t> expected(count);
            std::iota(expected.begin(), expected.end(), 0u);
            std::stable_sort(expected.begin(), expected.end(),
                             [&](std::uint32_t a, std::uint32_t b) { return keys[a] < keys[b]; });
            for (const int threads : {1, 3}) {
                omp_set_num_threads(threads);
                std::vector<std::uint32_t> order(count, 0xFFFFFFFFu);
                SortByKey(keys.data(), count, order.data());
                omp_set_num_threads(saved);
                EXPECT_EQ(order, expected) << count << " keys below " << range << " on " << threads << " threads";
            }
        }
    }
}

}  // namespace
