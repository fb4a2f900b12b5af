// Firings that write markings, in a model compiled from
// tests/compiler/models/markings.san: a copy of a marking keeps its value, and
// a value that a marking (a short) cannot hold ends the run naming the
// activity and the place, where it used to be stored wrapped around. A rate
// that is negative or not a number ends it too, where the transition used to
// be left out of the chain, and so do a reward that is not finite, which used
// to be written into the .var file and made simulated intervals NaN, and an
// Erlang activity's phases that are not a whole number up to 32767.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testsupport::joinLines;
using testsupport::runModel;
using testsupport::TempDir;

const char* const markings = "tests/gen-lang_markings";

// Experiment 0 counts to 3 and back to 0; each step up sets last[0] to the
// count before it and prev to last[0] before that, through `auto` copies taken
// before the writes; the reset halves last[0] (2 * 0.5 = 1) and takes 0.5 from
// prev (1 - 0.5 = 0.5, truncated to 0). As (count, last[0], prev),
// breadth-first: 1 = (0,0,0), 2 = (1,0,0), 3 = (2,1,0), 4 = (3,2,1), reset to
// 5 = (0,1,0), then 6 = (1,0,1), whose step up leads back to 3. Copies that
// followed the markings would make last[0] the new count, or prev the new
// last[0]; operators that truncated their operand first (0.5 to 0) would make
// state 5 (0,0,1).
TEST(MarkingRange, CopiesAndOperatorsOfMarkingsActAsOnShorts) {
    TempDir dir;
    auto r = runModel(markings, dir, "m", 0);
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    EXPECT_EQ(
        r.arm,
        testsupport::armHeader(6) +
            joinLines({"1", "2", "1.0000000000e+00", "0", "2", "3", "1.0000000000e+00", "0",
                       "3", "4", "1.0000000000e+00", "0", "4", "5", "2.0000000000e+00", "0",
                       "5", "6", "1.0000000000e+00", "0", "6", "3", "1.0000000000e+00", "0"}));
    // Per state: count, last[0] and prev, each as impulse 0 and rate.
    EXPECT_EQ(r.var, joinLines({"c", "l", "p", "1", "0", "0", "0", "0", "0", "0", "2", "0",
                                "1", "0", "0", "0", "0", "3", "0", "2", "0", "1", "0", "0",
                                "4", "0", "3", "0", "2", "0", "1", "5", "0", "0", "0", "1",
                                "0", "0", "6", "0", "1", "0", "0", "0", "1"}));
}

// A counter climbing to 40,000 passes 32,767 (before, it went on at -32,768
// with 65,536 states); an element bumped past the top or sunk past the bottom
// of the range, by a plain activity and a family's member; an initial marking
// out of range; the rate up from count 1 at -1 (before, 4 states of a chain
// that never leaves 1 upwards) and at 0 / 0; a weight of -1 beside one of 1
// (a total weight of 0, which the generator divided by). Each run ends with
// status 1, one line, and no .var file.
TEST(MarkingRange, AValueAMarkingCannotHoldOrABadRateEndsTheRunNamingIt) {
    struct Case {
        int experiment;
        const char* err;
    };
    const Case cases[] = {
        {1, "activity up: the firing sets the marking of place count to 32768, outside the "
            "-32768 .. 32767 a marking holds\n"},
        {2, "activity bump: the firing sets the marking of place last[0] to 32769, outside the "
            "-32768 .. 32767 a marking holds\n"},
        {3, "activity sink[0]: the firing sets the marking of place last[0] to -39998, outside "
            "the -32768 .. 32767 a marking holds\n"},
        {4, "place count: the initial marking 40000 is outside the -32768 .. 32767 a marking "
            "holds\n"},
        {5, "activity up has the rate -1; a rate must be finite and not negative\n"},
        {6, "activity up has the rate nan; a rate must be finite and not negative\n"},
        {7, "activity pick has the weight -1; a weight must be finite and not negative\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.experiment);
        TempDir dir;
        auto r = runModel(markings, dir, "m", c.experiment);
        EXPECT_EQ(r.result.status, 1);
        EXPECT_EQ(r.result.err, c.err);
        EXPECT_FALSE(testsupport::fileExists(dir.path() + "m.var"));
        EXPECT_EQ(r.result.out.find("Generated:"), std::string::npos);
    }
}

// tests/compiler/models/badvalues.san: a rate reward of 1 / 0 and an impulse
// of 0 * (1 / 0), where gen wrote "inf" and "-nan" into the .var and .imp files
// with status 0 and the simulator printed "-nan" intervals with status 0; an
// Erlang repair of 2.5 phases (3 in gen, 2 in the simulator) and of 40000
// (the phase counter wrapped around: 65,536 states, the repair never done).
// Each now ends with status 1 and its line, gen leaving no .var; 0 phases
// still count as 1.
TEST(MarkingRange, RewardsThatAreNotFiniteOrPhasesThatAreNotWholeEndTheRunNamingThem) {
    const char* const model = "tests/gen-lang_badvalues";
    const std::string lines[] = {
        "",
        "reward available has the rate reward inf; a reward must be finite\n",
        "reward repairs has the impulse nan on activity fix; a reward must be finite\n",
        "activity fix has the phases 2.5; the phases must be a whole number up to 32767 (one "
        "below 1 counts as 1)\n",
        "activity fix has the phases 40000; the phases must be a whole number up to 32767 (one "
        "below 1 counts as 1)\n",
        "",
    };
    for (int e = 0; e < 6; ++e) {
        SCOPED_TRACE(e);
        const bool runs = lines[e].empty();
        TempDir dir;
        auto r = runModel(model, dir, "b", e);
        EXPECT_EQ(r.result.status, runs ? 0 : 1);
        EXPECT_EQ(r.result.err, lines[e]);
        EXPECT_EQ(testsupport::fileExists(dir.path() + "b.var"), runs);
        if (runs) { // up; down in each phase of the repair
            EXPECT_NE(r.result.out.find(e == 0 ? "Generated: 3 states" : "Generated: 2 states"),
                      std::string::npos)
                << r.result.out;
        }
        const auto sim = testsupport::run(testsupport::binary(std::string(model) + "-sim") + " -B" +
                                              std::to_string(e) + " --replications 200 --threads 1",
                                          dir.path());
        EXPECT_EQ(sim.status, runs ? 0 : 1) << sim.err;
        EXPECT_EQ(sim.err, lines[e]);
        EXPECT_EQ(sim.out.find("nan"), std::string::npos) << sim.out;
    }
}

// Such lines from the simulator on several workers: each worker that met one
// used to print it and end, and the run added "Error: a worker process of the
// simulation failed"; the line is now printed once, as on one worker.
TEST(MarkingRange, TheSimulatorPrintsTheLineOnceWhateverTheWorkers) {
    const struct {
        const char* model;
        int experiment;
        const char* err;
    } cases[] = {
        {markings, 5, "activity up has the rate -1; a rate must be finite and not negative\n"},
        {"tests/gen-lang_badvalues", 1,
         "reward available has the rate reward inf; a reward must be finite\n"},
    };
    for (const auto& c : cases) {
        for (const char* workers : {"2", "3"}) {
            SCOPED_TRACE(std::string(c.model) + " " + std::to_string(c.experiment) + " " + workers);
            TempDir dir;
            const auto sim = testsupport::run(testsupport::binary(std::string(c.model) + "-sim") +
                                                  " -B" + std::to_string(c.experiment) +
                                                  " --replications 200 --threads " + workers,
                                              dir.path());
            EXPECT_EQ(sim.status, 1);
            EXPECT_EQ(sim.err, c.err);
            EXPECT_EQ(sim.out, "");
        }
    }
}

} // namespace
