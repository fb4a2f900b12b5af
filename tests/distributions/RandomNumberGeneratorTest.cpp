#include "distributions/LaggedFibonacci.h"
#include "distributions/Tausworthe.h"
#include "distributions/UserDistributions.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

namespace {

using Batch = std::array<double, ranf_long_lag>;
using Stream = std::map<int, double>; // call number (from 1) -> value or state

// The independently computed values per section ("LaggedFibonacci seed 31415",
// "Tausworthe seed 1", ...; the self-test under "self-test"), read with strtod.
std::map<std::string, Stream> loadReference() {
    std::map<std::string, Stream> ref;
    std::istringstream in(
        testsupport::readFile(testsupport::testdata("distributions/random-streams.txt")));
    std::string section;
    for (std::string line; std::getline(in, line);) {
        int call = 0, end = 0;
        if (line.starts_with("["))
            section = line.substr(1, line.find(']') - 1);
        else if (std::sscanf(line.c_str(), "rnd #%d %n", &call, &end) == 1)
            ref[section][call] = std::strtod(&line[end] + (line[end] == 's' ? 5 : 0), nullptr);
        else if (line.find("ran_u[0] = ") != std::string::npos)
            ref["self-test"][0] = std::strtod(&line[line.find(" = ") + 3], nullptr);
    }
    return ref;
}

// The batches LaggedFibonacci hands out after srnd(seed), from the routines:
// [0] holds calls 1..100 (srnd's second fill), [1] calls 101..200, and so on.
std::vector<Batch> batchesAfterSeeding(long seed, int count) {
    std::vector<Batch> batches(count + 1);
    ranf_start(seed);
    for (Batch& batch : batches)
        ranf_array(batch.data(), ranf_long_lag);
    batches.erase(batches.begin());
    return batches;
}

// The read position is shared and never reset: draw until it sits at the end of
// a batch (a refill changes ran_u), so that the next draw starts a new batch.
void finishBatch(LaggedFibonacci& generator) {
    generator.srnd(1);
    for (const Batch before = std::to_array(ran_u); std::to_array(ran_u) == before;)
        generator.rnd();
    for (int i = 1; i < ranf_long_lag; ++i)
        generator.rnd();
}

[[noreturn]] void drawTheGeneratorsReferenceCallsAndExit() {
    const Stream expected = loadReference().at("LaggedFibonacci seed 31415");
    bool same = expected.size() == 9;
    for (int call = 1; call <= expected.rbegin()->first; ++call) {
        const double value = TheDistribution->generator->rnd();
        same = same && (!expected.contains(call) || expected.at(call) == value);
    }
    std::exit(same ? 0 : 1);
}

} // namespace

TEST(UserDistributionsTest, TheGeneratorStartsAtTheFirstCallOfSeed31415) {
    // The stream is process-wide and any seeding restarts it: check the first
    // draws in a fresh process, before anything else in this test runs.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(drawTheGeneratorsReferenceCallsAndExit(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(TheDistribution, &TheGenerator);
    EXPECT_NE(dynamic_cast<LaggedFibonacci*>(UserDistributions(2, 5).generator), nullptr);
}

TEST(TauswortheTest, ReferenceStatesScaledExactlyBelowOne) {
    const auto ref = loadReference();
    for (long seed : {1, 12345}) {
        UserDistributions sampler(1, seed);
        for (const auto& [call, state] : ref.at("Tausworthe seed " + std::to_string(seed)))
            EXPECT_EQ(sampler.generator->rnd(), state * 0x1p-31) << seed << " #" << call;
    }
    // 0x83ffe000 steps to the largest state 0x7fffffff, which 1/(2^31 - 1) maps to 1.0.
    Tausworthe largest;
    largest.srnd(0x83ffe000UL);
    EXPECT_EQ(largest.rnd(), 1.0 - 0x1p-31);
}

TEST(LaggedFibonacciTest, RoutinesReproduceReferenceStreamsAndSelfTest) {
    const auto ref = loadReference();
    for (long seed : {31415, 0, 1}) {
        const std::vector<Batch> batches = batchesAfterSeeding(seed, 10);
        const Stream& values = ref.at("LaggedFibonacci seed " + std::to_string(seed));
        for (const auto& [call, value] : values)
            EXPECT_EQ(batches[(call - 1) / 100][(call - 1) % 100], value) << seed << " #" << call;
    }
    static double work[2009];
    for (const auto& [batches, length] : {std::pair{2009, 1009}, std::pair{1009, 2009}}) {
        ranf_start(310952);
        for (int i = 0; i < batches; ++i)
            ranf_array(work, length);
        EXPECT_EQ(ran_u[0], ref.at("self-test").at(0));
    }
    EXPECT_EQ(ranf_arr_cycle(), ref.at("self-test").at(0)); // a batch starts with the state
    EXPECT_TRUE(ranf_arr_ptr == ranf_arr_buf + 1 && ranf_arr_buf[100] == -1.0);
}

TEST(LaggedFibonacciTest, BatchesOf100FromOneSharedStream) {
    const Stream ref = loadReference().at("LaggedFibonacci seed 31415");
    const std::vector<Batch> batches = batchesAfterSeeding(31415, 3); // before ran_u is reused
    LaggedFibonacci first, second, unseeded;
    finishBatch(first);
    first.srnd(31415); // at the end of a batch, srnd's second fill is skipped
    EXPECT_EQ(first.rnd(), ref.at(101));
    for (int i = 1; i < ranf_long_lag; ++i)
        ASSERT_EQ(first.rnd(), batches[1][i]) << i;
    EXPECT_EQ(first.rnd(), batches[2][0]); // the 101st call fetches a new batch
    EXPECT_EQ(unseeded.rnd(), 0.0);        // mid-batch, from its own zeroed buffer
    // Seeded alike, two objects share the position: each continues where the other stopped.
    finishBatch(first);
    first.srnd(31415);
    second.srnd(31415);
    EXPECT_EQ(first.rnd(), ref.at(101));
    EXPECT_EQ(second.rnd(), ref.at(2)); // its buffer still holds the second fill
    EXPECT_EQ(first.rnd(), batches[1][2]);
}
