// The replications' random streams: reproducible per (seed, index), distinct
// across indices and seeds, strictly inside (0, 1) and uniform.

#include "StreamGenerator.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<double> firstNumbers(std::uint64_t seed, std::uint64_t index, int n) {
    StreamGenerator g(seed, index);
    std::vector<double> out;
    for (int i = 0; i < n; ++i)
        out.push_back(g.rnd());
    return out;
}

TEST(StreamGenerator, SameSeedAndIndexGiveTheSameStream) {
    EXPECT_EQ(firstNumbers(7, 3, 50), firstNumbers(7, 3, 50));
    // srnd restarts the stream of an index under the same seed.
    StreamGenerator g(7, 0);
    g.rnd();
    g.srnd(3);
    EXPECT_EQ(g.rnd(), firstNumbers(7, 3, 1)[0]);
}

TEST(StreamGenerator, NeighbouringIndicesAndSeedsDiffer) {
    std::vector<double> base = firstNumbers(1, 0, 20);
    EXPECT_NE(base, firstNumbers(1, 1, 20));
    EXPECT_NE(base, firstNumbers(2, 0, 20));
    // Seed and index are not interchangeable.
    EXPECT_NE(firstNumbers(1, 2, 20), firstNumbers(2, 1, 20));
}

TEST(StreamGenerator, UniformInsideTheOpenUnitInterval) {
    StreamGenerator g(12345, 0);
    const int n = 100000, bins = 10;
    int counts[bins] = {};
    for (int i = 0; i < n; ++i) {
        double u = g.rnd();
        ASSERT_GT(u, 0.0);
        ASSERT_LT(u, 1.0);
        ++counts[static_cast<int>(u * bins)];
    }
    // Chi-square with 9 degrees of freedom: 27.88 is its 0.999 point.
    double chi = 0.0, expected = n / bins;
    for (int c : counts)
        chi += (c - expected) * (c - expected) / expected;
    EXPECT_LT(chi, 27.88);
}

} // namespace
