// A model compiled from tests/compiler/models/tiny.san, run end to end, with its
// files derived by hand: N slots, slot i fills at rate i + 1 and empties at rate
// 3, each independently, so the chain has 2^N states.
//
// With N = 2, breadth-first from (0,0) and trying fill[0], fill[1], empty[0],
// empty[1] in that order: 1 = (0,0), 2 = (1,0), 3 = (0,1), 4 = (1,1).

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using testsupport::joinLines;
using testsupport::runModel;
using testsupport::TempDir;

const char* const tiny = "tests/gen-lang_tiny";

TEST(TinyModelTest, TwoSlotsGiveTheHandDerivedChainRewardsAndTypes) {
    TempDir dir;
    auto r = runModel(tiny, dir, "tiny", 0);
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    // Rows: each state's targets in ascending number with their rates.
    EXPECT_EQ(r.arm, testsupport::armHeader(4) +
                         joinLines({"1", "2", "1.0000000000e+00", "3", "2.0000000000e+00", "0",
                                    "2", "1", "3.0000000000e+00", "4", "2.0000000000e+00", "0",
                                    "3", "1", "3.0000000000e+00", "4", "1.0000000000e+00", "0",
                                    "4", "2", "3.0000000000e+00", "3", "3.0000000000e+00", "0"}));
    // Per state, per variable: impulse, then rate. load = size (F = 0.5) x full
    // slots; fills earns 1 for the filling that reached the state; first = slot
    // 0; flag = C ('x' = 120) while B holds and the structure is not urgent.
    EXPECT_EQ(r.var, joinLines({"load", "fills", "first", "flag",
                                "1", "0", "0", "0", "0", "0", "0", "0", "120",
                                "2", "0", "0.5", "1", "0", "0", "1", "0", "120",
                                "3", "0", "0.5", "1", "0", "0", "0", "0", "120",
                                "4", "0", "1", "1", "0", "0", "1", "0", "120"}));
    // Types 0 to 3; the instant variable's range 1 .. 2 step 0.5 as three points;
    // two intervals; the steady-state variable at Start:0, Stop:0.
    EXPECT_EQ(r.pvtype, joinLines({"Version:1", "NumPV:4",
                                   "Name:load", "Type:0", "NumTimes:3", "Start:1", "Stop:1",
                                   "Start:1.5", "Stop:1.5", "Start:2", "Stop:2",
                                   "Name:fills", "Type:1", "NumTimes:2", "Start:0", "Stop:10",
                                   "Start:10", "Stop:20",
                                   "Name:first", "Type:2", "NumTimes:1", "Start:0", "Stop:5",
                                   "Name:flag", "Type:3", "NumTimes:1", "Start:0", "Stop:0"}));
    // The table row's name heads the values; every type prints as a stream does.
    EXPECT_NE(r.result.out.find("The Global Variable values for experiment two slots are:\n"
                                "N\tint\t2\nS\tshort\t3\nL\tlong\t-7\nF\tfloat\t0.5\n"
                                "C\tchar\tx\nB\tbool\t1\n"),
              std::string::npos)
        << r.result.out;
}

// Each of 2^N states has one transition per slot (fill or empty).
TEST(TinyModelTest, StateAndTransitionCountsFollowTheSlotCount) {
    struct Case {
        int experiment;
        std::string override;
        int slots;
        std::string heading;
    };
    const Case cases[] = {{1, "", 3, "Experiment 2"}, {0, "i:N:1", 1, "two slots"},
                          {1, "i:N:5", 5, "Experiment 2"}};
    for (const Case& c : cases) {
        TempDir dir;
        auto r = runModel(tiny, dir, "tiny", c.experiment, c.override.empty() ? "" : " -O " + c.override);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        const int states = 1 << c.slots;
        EXPECT_EQ(r.arm.substr(0, testsupport::armHeader(states).size()), testsupport::armHeader(states));
        // Lines after the header: per state its number, 2 lines per transition, and 0.
        const long lines = std::count(r.arm.begin(), r.arm.end(), '\n') - 3;
        EXPECT_EQ(lines, static_cast<long>(states) * (2 + 2 * c.slots)) << c.slots;
        EXPECT_NE(r.result.out.find("experiment " + c.heading + " are:"), std::string::npos);
    }
}

TEST(TinyModelTest, ArraySizeOutsideAShortIsRefused) {
    TempDir dir;
    auto r = runModel(tiny, dir, "tiny", 0, " -O i:N:0");
    EXPECT_EQ(r.result.status, 1);
    EXPECT_EQ(r.result.err, "!! tinySAN::tinySAN: the size of the place array slot, N = 0, is "
                            "outside 1..32767\n");
}

} // namespace
