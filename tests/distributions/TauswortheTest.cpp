#include "distributions/Tausworthe.h"

#include "ReferenceStreams.h"

#include <gtest/gtest.h>

TEST(TauswortheTest, ReproducesReferenceStatesScaledByTwoToMinus31) {
    const ReferenceStreams ref = loadReferenceStreams();
    ASSERT_EQ(ref.tausworthe.size(), 2U);
    for (const auto& [seed, states] : ref.tausworthe) {
        Tausworthe generator;
        generator.srnd(static_cast<unsigned long>(seed));
        int call = 0;
        for (const auto& [number, state] : states) {
            ASSERT_EQ(number, ++call) << "reference calls must be consecutive";
            const double value = generator.rnd();
            EXPECT_EQ(generator.seed, state) << "seed " << seed << " call " << number;
            EXPECT_EQ(value, state * 0x1p-31) << "seed " << seed << " call " << number;
        }
    }
}

TEST(TauswortheTest, LargestStateStaysBelowOne) {
    // 0x83ffe000 steps to the largest state 0x7fffffff, which 1/(2^31 - 1) would
    // scale to exactly 1.0.
    Tausworthe generator;
    generator.srnd(0x83ffe000UL);
    const double value = generator.rnd();
    EXPECT_EQ(generator.seed, 0x7fffffffU);
    EXPECT_EQ(value, 1.0 - 0x1p-31);
}

TEST(TauswortheTest, UnseededAndZeroStateYieldZero) {
    Tausworthe unseeded;
    EXPECT_EQ(unseeded.rnd(), 0.0);
    Tausworthe zero;
    zero.srnd(1UL << 32); // only the low 32 bits count
    EXPECT_EQ(zero.rnd(), 0.0);
    EXPECT_EQ(zero.rnd(), 0.0);
}
