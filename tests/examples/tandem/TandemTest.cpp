// The production line of M unreliable machines with buffers of B parts end to
// end: the files of one machine with a one-part buffer derived by hand, and the
// state and transition counts of the experiments against their closed forms.

#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testsupport::joinLines;

long power(long base, int exponent) {
    long p = 1;
    while (exponent-- > 0)
        p *= base;
    return p;
}

// Every buffer content 0..B and every machine up or down is reachable.
long expectedStates(int M, int B) {
    return power(B + 1, M) * power(2, M);
}

// No firing leaves the state unchanged and no two firings of a state reach the
// same target, so the transitions are the enabled activities summed over states:
// one failure or repair per machine in every state; arrivals while the first
// buffer has room; a transfer from machine k to k + 1 while k is up, its buffer
// holds a part and the next has room; a departure while the last machine is up
// and holds a part.
long expectedTransitions(int M, int B) {
    const long machines = power(2, M);
    long t = machines * power(B + 1, M) * M;
    t += machines * B * power(B + 1, M - 1);
    if (M > 1)
        t += (M - 1) * (machines / 2) * B * B * power(B + 1, M - 2);
    t += (machines / 2) * B * power(B + 1, M - 1);
    return t;
}

// wip at time 100 (instant of time), throughput in the long run (steady state:
// one time point 0), failures over [0, 1000] (interval of time).
const std::vector<std::string> pvtypeLines = {
    "Version:1",     "NumPV:3",         "Name:wip",   "Type:0",     "NumTimes:1", "Start:100",
    "Stop:100",      "Name:throughput", "Type:3",     "NumTimes:1", "Start:0",    "Stop:0",
    "Name:failures", "Type:1",          "NumTimes:1", "Start:0",    "Stop:1000"};

} // namespace

// One machine, a buffer of one part; lambda 0.8, mu 1, phi 0.01, rho 0.5.
// Activities in order: arrive, serve[0], fail[0], repair[0]. States (part, down):
//   1 (0,0) initial.
//   2 (1,0) from 1 by arrive (0.8); its part can leave: throughput mu = 1.
//   3 (0,1) from 1 by fail (0.01): the impulse 1 of failures.
//   4 (1,1) from 2 by fail (0.01): impulse 1.
// Rows: 1 -> 2 arrive, 3 fail; 2 -> 1 serve (1), 4 fail; 3 -> 1 repair (0.5),
// 4 arrive; 4 -> 2 repair. 7 transitions, as the closed forms say.
TEST(Tandem, OneMachineGivesTheHandDerivedFiles) {
    EXPECT_EQ(expectedStates(1, 1), 4);
    EXPECT_EQ(expectedTransitions(1, 1), 7);
    testsupport::TempDir dir;
    const testsupport::ModelRun r =
        testsupport::runModel("gen-tandem", dir, "tl", 0, " -O i:M:1:i:B:1");
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    // clang-format off
    EXPECT_EQ(r.arm, testsupport::armHeader(4) + joinLines({
                         "1", "2", "8.0000000000e-01", "3", "1.0000000000e-02", "0",
                         "2", "1", "1.0000000000e+00", "4", "1.0000000000e-02", "0",
                         "3", "1", "5.0000000000e-01", "4", "8.0000000000e-01", "0",
                         "4", "2", "5.0000000000e-01", "0"}));
    // Per state: its number, then per variable its impulse and its rate reward.
    EXPECT_EQ(r.var, joinLines({"wip", "throughput", "failures",
                                "1", "0", "0", "0", "0", "0", "0",
                                "2", "0", "1", "0", "1", "0", "0",
                                "3", "0", "0", "0", "0", "1", "0",
                                "4", "0", "1", "0", "0", "1", "0"}));
    // clang-format on
    EXPECT_EQ(r.pvtype, joinLines(pvtypeLines));
}

TEST(Tandem, ExperimentsFollowTheClosedForms) {
    const std::pair<int, int> experiments[] = {{2, 2}, {3, 3}, {4, 4}}; // (M, B)
    for (int e = 0; e < 3; ++e) {
        const auto [M, B] = experiments[e];
        SCOPED_TRACE("experiment " + std::to_string(e + 1));
        testsupport::TempDir dir;
        const testsupport::ModelRun r = testsupport::runModel("gen-tandem", dir, "tl", e);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        const testsupport::ArmFile arm = testsupport::parseArm(r.arm);
        EXPECT_EQ(arm.states, expectedStates(M, B));
        EXPECT_EQ(arm.transitions(), expectedTransitions(M, B));
        EXPECT_EQ(r.pvtype, joinLines(pvtypeLines));
    }
}
