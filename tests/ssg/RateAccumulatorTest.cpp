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
    std::uniform_real_distribution<double> rate(-1.0, 1.0);
    // Row sizes from empty to beyond the first capacity (1024 entries), so the
    // table grows, and many rows in a row, so old entries must be forgotten.
    // Targets from a few (rows short enough to be searched in order, with
    // repeats) to many; 20 targets over 200 additions pass the 16 entries at
    // which a row is indexed, and go on summing into the earlier entries.
    struct Case {
        int size;
        std::uint32_t targets;
    };
    for (Case c : {Case{0, 4000},
                   {1, 4000},
                   {5, 4000},
                   {40, 4000},
                   {30, 12},
                   {200, 20},
                   {900, 4000},
                   {3000, 4000},
                   {2, 4000},
                   {1500, 4000},
                   {10, 3}}) {
        std::uniform_int_distribution<std::uint32_t> target(1, c.targets);
        std::map<std::uint32_t, double> expected;
        for (int i = 0; i < c.size; ++i) {
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
