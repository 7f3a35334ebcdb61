// What the index's arrays stand on: the rounding of double bounds to the
// float boxes that must still hold them, and the storage blocks of every
// size, small ones from the heap and large ones mapped on their own.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "quorvel/meshes/queries/CBoxHierarchy.h"

namespace {

namespace detail = Corvane::Pellix::Quorvel::detail;

TEST(IndexStorage, BoundsRoundToTheNearestFloatOnTheirOutside) {
    typedef std::numeric_limits<float> Float;
    const double largest = Float::max(), smallest = Float::denorm_min();
    std::vector<double> values;
    for (const double v : {0.0, 1.0, 0.1, 1.0 / 3.0, smallest, 0.5 * smallest, 1e-300, double(Float::min()), largest,
                           std::nextafter(largest, 0.0)})
        values.insert(values.end(), {v, -v});
    std::mt19937 random(3);
    std::uniform_real_distribution<double> mantissa(-1, 1);
    std::uniform_int_distribution<int> exponent(-140, 120);
    for (int i = 0; i < 20000; ++i)
        values.push_back(std::ldexp(mantissa(random), exponent(random)));
    for (const double value : values) {
        const float down = detail::RoundDown(value), up = detail::RoundUp(value);
        ASSERT_LE(double(down), value) << value;
        ASSERT_GE(double(up), value) << value;
        // No float lies strictly between the bound and the value.
        ASSERT_GT(double(std::nextafter(down, Float::infinity())), value) << value;
        ASSERT_LT(double(std::nextafter(up, -Float::infinity())), value) << value;
        if (double(float(value)) == value) {
            EXPECT_TRUE(down == float(value) && up == float(value)) << value;
        }
    }

    // Beyond the float range the bounds stay outside; NaN stays NaN.
    EXPECT_TRUE(detail::RoundUp(1e39) == Float::infinity() && detail::RoundDown(1e39) == Float::max());
    EXPECT_TRUE(detail::RoundDown(-1e39) == -Float::infinity() && detail::RoundUp(-1e39) == -Float::max());
    EXPECT_TRUE(std::isnan(detail::RoundDown(std::nan(""))) && std::isnan(detail::RoundUp(std::nan(""))));
}

TEST(IndexStorage, BlocksOfEverySizeAreAlignedAndWhollyWritable) {
    const std::size_t megabyte = std::size_t(1) << 20;
    for (const std::size_t bytes : {std::size_t(1), std::size_t(1000), megabyte / 2 - 1, megabyte / 2, megabyte / 2 + 1,
                                    2 * megabyte, 2 * megabyte + 1, 5 * megabyte + 12345}) {
        std::vector<unsigned char*> blocks;
        // Several at once, so that neighbouring blocks would show an overlap.
        for (int k = 0; k < 3; ++k) {
            auto* block = static_cast<unsigned char*>(detail::AllocateStorage(bytes));
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u) << bytes;
            std::memset(block, 0x40 + k, bytes);
            blocks.push_back(block);
        }
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(blocks[k][0], 0x40 + k) << bytes;
            EXPECT_EQ(blocks[k][bytes / 2], 0x40 + k) << bytes;
            EXPECT_EQ(blocks[k][bytes - 1], 0x40 + k) << bytes;
            detail::FreeStorage(blocks[k], bytes);
        }
    }
}

}  // namespace
