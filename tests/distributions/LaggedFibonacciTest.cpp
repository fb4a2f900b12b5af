#include "distributions/LaggedFibonacci.h"

#include "ReferenceStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using Batch = std::array<double, ranf_long_lag>;

// The batches that LaggedFibonacci hands out after srnd(seed), computed with the
// routines directly: element 0 holds calls 1..100 (the second fill), element 1
// calls 101..200, and so on.
std::vector<Batch> batchesAfterSeeding(long seed, int count) {
    std::vector<Batch> batches(count + 1);
    ranf_start(seed);
    for (Batch& batch : batches)
        ranf_array(batch.data(), ranf_long_lag);
    batches.erase(batches.begin()); // srnd's first fill is replaced by its second
    return batches;
}

// The read position is shared and never reset, so the tests first draw until it
// sits at the end of a batch: the next draw of any LaggedFibonacci starts a batch.
void finishBatch(LaggedFibonacci& generator) {
    generator.srnd(1); // a non-zero state, so that a refill visibly changes ran_u
    const std::array<double, ranf_long_lag> before = std::to_array(ran_u);
    int calls = 0;
    while (std::to_array(ran_u) == before) {
        generator.rnd();
        // From a fresh start (position 0) the refill is the 101st call.
        ASSERT_LE(++calls, ranf_long_lag + 1) << "no new batch within 101 calls";
    }
    for (int i = 1; i < ranf_long_lag; ++i)
        generator.rnd();
}

} // namespace

TEST(LaggedFibonacciTest, RoutinesReproduceReferenceStreams) {
    const ReferenceStreams ref = loadReferenceStreams();
    ASSERT_EQ(ref.lagged.size(), 3U);
    for (const auto& [seed, values] : ref.lagged) {
        const std::vector<Batch> batches = batchesAfterSeeding(seed, 10);
        for (const auto& [call, value] : values)
            EXPECT_EQ(batches[(call - 1) / 100][(call - 1) % 100], value)
                << "seed " << seed << " call " << call;
    }
}

TEST(LaggedFibonacciTest, RoutinesPassTheirSelfTest) {
    const ReferenceStreams ref = loadReferenceStreams();
    ASSERT_GT(ref.selfTest, 0.0);
    static double work[2009];
    ranf_start(310952);
    for (int i = 0; i < 2009; ++i)
        ranf_array(work, 1009);
    EXPECT_EQ(ran_u[0], ref.selfTest);
    ranf_start(310952);
    for (int i = 0; i < 1009; ++i)
        ranf_array(work, 2009);
    EXPECT_EQ(ran_u[0], ref.selfTest);
}

TEST(LaggedFibonacciTest, ArrayCycleHandsOutOneLongBatch) {
    std::vector<double> expected(ranf_quality);
    ranf_start(4711);
    ranf_array(expected.data(), ranf_quality);
    const Batch stateAfter = std::to_array(ran_u);

    ranf_start(4711);
    EXPECT_EQ(ranf_arr_cycle(), expected[0]);
    EXPECT_EQ(ranf_arr_ptr, ranf_arr_buf + 1);
    EXPECT_EQ(ranf_arr_buf[99], expected[99]);
    EXPECT_EQ(ranf_arr_buf[100], -1.0);
    EXPECT_EQ(ranf_arr_buf[ranf_quality - 1], expected[ranf_quality - 1]);
    EXPECT_EQ(std::to_array(ran_u), stateAfter);
}

TEST(LaggedFibonacciTest, HandsOutBatchesInOrderAndRefillsOnThe101stCall) {
    const ReferenceStreams ref = loadReferenceStreams();
    // Computed first: the routines and the generator share ran_u.
    const std::vector<Batch> batches = batchesAfterSeeding(31415, 3);
    LaggedFibonacci generator;
    ASSERT_NO_FATAL_FAILURE(finishBatch(generator));
    // With the position at the end of a batch, srnd's second fill is skipped:
    // the first call draws calls 101.. of the seed's stream.
    generator.srnd(31415);
    EXPECT_EQ(generator.rnd(), ref.lagged.at(31415).at(101));
    EXPECT_EQ(generator.rnd(), ref.lagged.at(31415).at(102));
    for (int i = 2; i < ranf_long_lag; ++i)
        ASSERT_EQ(generator.rnd(), batches[1][i]) << "position " << i;
    EXPECT_EQ(generator.rnd(), batches[2][0]); // the 101st call from the batch start
    EXPECT_EQ(generator.rnd(), batches[2][1]);
}

TEST(LaggedFibonacciTest, TwoGeneratorsShareStateAndPosition) {
    const ReferenceStreams ref = loadReferenceStreams();
    const std::vector<Batch> batches = batchesAfterSeeding(31415, 2);
    LaggedFibonacci first;
    LaggedFibonacci second;
    ASSERT_NO_FATAL_FAILURE(finishBatch(first));
    first.srnd(31415);
    second.srnd(31415);
    // The first draw starts a new batch in first's buffer; second continues at the
    // shared position in its own buffer, which still holds the second fill.
    EXPECT_EQ(first.rnd(), ref.lagged.at(31415).at(101));
    EXPECT_EQ(second.rnd(), ref.lagged.at(31415).at(2));
    EXPECT_EQ(first.rnd(), batches[1][2]);
    EXPECT_EQ(second.rnd(), ref.lagged.at(31415).at(4));
}

TEST(LaggedFibonacciTest, LongStreamStaysInUnitInterval) {
    LaggedFibonacci generator;
    generator.srnd(271828);
    for (int i = 0; i < 1000000; ++i) {
        const double value = generator.rnd();
        ASSERT_TRUE(value >= 0.0 && value < 1.0) << "call " << i << ": " << value;
    }
}
