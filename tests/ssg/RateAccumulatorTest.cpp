#include "ssg/RateAccumulator.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

// The accumulator must give exactly what an ordered map summed in call order
// gives: the same targets, ascending, with bit-identical sums.
TEST(RateAccumulator, RowsEqualAnOrderedMapSummedInCallOrder) {
    RateAccumulator row;
    std::mt19937 random(7);
    std::uniform_int_distribution<std::uint32_t> target(1, 4000);
    std::uniform_real_distribution<double> rate(-1.0, 1.0);
    // Row sizes from empty to beyond the first capacity (1024 entries), so the
    // table grows, and many rows in a row, so old entries must be forgotten.
    for (int size : {0, 1, 5, 40, 900, 3000, 2, 1500, 10}) {
        std::map<std::uint32_t, double> expected;
        for (int i = 0; i < size; ++i) {
            std::uint32_t t = target(random);
            double r = rate(random);
            expected[t] += r;
            row.add(t, r);
        }
        row.sort();
        ASSERT_EQ(row.size(), expected.size());
        EXPECT_EQ(row.empty(), expected.empty());
        std::uint32_t i = 0;
        for (const auto& [t, r] : expected) {
            ASSERT_EQ(row.target(i), t);
            ASSERT_EQ(row.rate(i), r); // exact: same additions in the same order
            ++i;
        }
        row.clear();
        EXPECT_TRUE(row.empty());
    }
}

} // namespace
