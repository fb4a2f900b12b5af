// The generator over small models built in the tests; every expected file is
// derived by hand from the model's table.

#include "GeneratorRun.h"
#include "TestModel.h"

#include "ssg/StateSpaceGen.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

namespace {

using testmodel::ActivitySpec;
using testmodel::armHeader;
using testmodel::constant;
using testmodel::GeneratorOptions;
using testmodel::Marking;
using testmodel::ModelSpec;
using testmodel::runGenerator;
using testmodel::TestPVModel;
using testsupport::TempDir;

// Shorthands for activity tables: "place i holds v" and "set place i to v".
testmodel::Predicate holds(int place, int value) {
    return [place, value](const Marking& m) { return m[place] == value; };
}
testmodel::Effect put(int place, int value) {
    return [place, value](const Marking& m) { m.set(place, value); };
}
testmodel::Value markingOf(int place) {
    return [place](const Marking& m) { return static_cast<double>(m[place]); };
}

ActivitySpec exponential(const char* name, testmodel::Predicate enabled, testmodel::Effect fire,
                         double rate) {
    ActivitySpec a;
    a.name = name;
    a.enabled = std::move(enabled);
    a.fire = std::move(fire);
    a.rate = constant(rate);
    return a;
}

ActivitySpec instantaneous(const char* name, testmodel::Predicate enabled, testmodel::Effect fire,
                           int rank, double weight) {
    ActivitySpec a;
    a.name = name;
    a.type = Instantaneous;
    a.enabled = std::move(enabled);
    a.fire = std::move(fire);
    a.rank = [rank](const Marking&) { return rank; };
    a.weight = constant(weight);
    return a;
}

ActivitySpec deterministic(const char* name, testmodel::Predicate enabled, testmodel::Effect fire,
                           double delay) {
    ActivitySpec a;
    a.name = name;
    a.type = Deterministic;
    a.enabled = std::move(enabled);
    a.fire = std::move(fire);
    a.delay = delay;
    return a;
}

const testmodel::Predicate always = [](const Marking&) { return true; };
const testmodel::Effect nothing = [](const Marking&) {};

TEST(StateSpaceGen, SelfLoopSummedTargetsAndZeroRates) {
    // b = 0 -> 1 by t1 (1.0) and t2 (2.0), back by `back` (0.25); `loop` (0.5)
    // changes nothing; `zero` has rate 0 and would lead to a new state.
    ModelSpec spec;
    spec.places = {{"a", 1}, {"b", 0}};
    spec.activities = {
        exponential("loop", always, nothing, 0.5), exponential("t1", holds(1, 0), put(1, 1), 1.0),
        exponential("t2", holds(1, 0), put(1, 1), 2.0), exponential("zero", always, put(0, 5), 0.0),
        exponential("back", holds(1, 1), put(1, 0), 0.25)};
    spec.rewards = {{"b", markingOf(1)}};
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir);

    EXPECT_EQ(run.arm, armHeader(2) + "1\n1\n5.0000000000e-01\n2\n3.0000000000e+00\n0\n"
                                      "2\n1\n2.5000000000e-01\n2\n5.0000000000e-01\n0\n");
    EXPECT_EQ(run.var, "b\n1\n0\n0\n2\n0\n1\n");
    EXPECT_EQ(run.pvtype, "Version:1\nNumPV:1\nName:b\nType:0\nNumTimes:1\nStart:0\nStop:0\n");
    EXPECT_EQ(run.out, "_$2$\nGenerated: 2 states\n");
    EXPECT_TRUE(std::regex_match(
        run.timeLine,
        std::regex("Computation Time \\(user \\+ system\\): \\d\\.\\d{6}e[-+]\\d\\d seconds\n")))
        << run.timeLine;
    EXPECT_EQ(FindNext, &StateSpaceGen::FindNextNormal);
}

TEST(StateSpaceGen, ModelWithoutActionsHasOneEmptyRow) {
    ModelSpec spec;
    spec.places = {{"p", 3}};
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir, {0, 1});
    EXPECT_EQ(run.arm, "1\n1\n" + std::string(61, ' ') + "\n1\n0\n");
    EXPECT_EQ(run.var, "1\n"); // no variables: the records hold only the number
    // The absorbing state is dumped on the trace (standard output here) at any level.
    EXPECT_EQ(run.out, "absorbing state\n  Model: (" + std::to_string(model.SubModel->ModelId) +
                           ")test\n    p = 3\n_$1$\nGenerated: 1 states\n");
}

// p: 0 stable; `go` (rate 2) makes p = 1, where the instantaneous i1, i2 (rank
// 2, weights 1 and 3) and i3 (rank 1, weight 5) are enabled; i1 gives p = 2,
// i2 p = 3, i3 p = 4; `reset` (rate 1) returns from 2, 3 and 4 to 0.
ModelSpec rankedModel() {
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {exponential("go", holds(0, 0), put(0, 1), 2.0),
                       instantaneous("i1", holds(0, 1), put(0, 2), 2, 1.0),
                       instantaneous("i2", holds(0, 1), put(0, 3), 2, 3.0),
                       instantaneous("i3", holds(0, 1), put(0, 4), 1, 5.0),
                       exponential(
                           "reset", [](const Marking& m) { return m[0] >= 2; }, put(0, 0), 1.0)};
    spec.rewards = {{"p", markingOf(0)}};
    return spec;
}

TEST(StateSpaceGen, InstantaneousActionsOfTheHighestRankShareByWeight) {
    TestPVModel model(rankedModel());
    TempDir dir;
    GeneratorOptions options;
    options.traceLevel = 1;
    options.traceFile = "trace.txt";
    testmodel::GeneratorOutput run = runGenerator(&model, dir, options);

    // Only i1 and i2 fire: 2 x 1/4 and 2 x 3/4; p = 4 is never reached.
    EXPECT_EQ(run.arm, armHeader(3) + "1\n2\n5.0000000000e-01\n3\n1.5000000000e+00\n0\n"
                                      "2\n1\n1.0000000000e+00\n0\n"
                                      "3\n1\n1.0000000000e+00\n0\n");
    // Each new state's record holds the rewards after the firing that reached it.
    EXPECT_EQ(run.var, "p\n1\n0\n0\n2\n0\n2\n3\n0\n3\n");
    EXPECT_EQ(FindNext, &StateSpaceGen::FindNextInstant);
    std::string trace = testsupport::readFile(dir.path() + "trace.txt");
    EXPECT_EQ(trace, "State Number = 1\n"
                     "Firing Action: go\n"
                     "Firing Action: i1\n"
                     "Firing Action: i2\n"
                     "State Number = 2\n"
                     "Firing Action: reset\n"
                     "State Number = 3\n"
                     "Firing Action: reset\n"
                     "Generated: 3 states\n"
                     "Computation time (user + system): " +
                         trace.substr(trace.rfind(": ") + 2));
    EXPECT_EQ(run.out, "_$3$\nGenerated: 3 states\n"); // the trace went to its file
}

TEST(StateSpaceGen, TraceAtLevelFourOnStandardOutput) {
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {exponential("go", holds(0, 0), put(0, 1), 2.0),
                       instantaneous("i", holds(0, 1), put(0, 2), 0, 1.0),
                       exponential("stop", holds(0, 2), put(0, 2), 0.5)};
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir, {4, 1});
    // A new state's rate is traced at the stable state and again when it is saved.
    EXPECT_EQ(run.out, "State Number = 1\n"
                       "Checking Action: go\n"
                       "Firing Action: go\n"
                       "Firing Action: i\n"
                       "The rate to this state: 2.000000\n"
                       "The rate to this state: 2.000000\n"
                       "Checking Action: stop\n"
                       "State Number = 2\n"
                       "Checking Action: go\n"
                       "Checking Action: stop\n"
                       "Firing Action: stop\n"
                       "The rate to this state: 0.500000\n"
                       "_$2$\n"
                       "Generated: 2 states\n"
                       "Generated: 2 states\n"
                       "Computation time (user + system): " +
                           run.out.substr(run.out.rfind(": ") + 2));
    EXPECT_EQ(run.arm, armHeader(2) + "1\n2\n2.0000000000e+00\n0\n2\n2\n5.0000000000e-01\n0\n");
}

// `start` (rate 1) sets p = 1; the instantaneous `step` adds 1 while p <= last.
ModelSpec chainModel(int last) {
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {exponential("start", holds(0, 0), put(0, 1), 1.0),
                       instantaneous(
                           "step", [last](const Marking& m) { return m[0] >= 1 && m[0] <= last; },
                           [](const Marking& m) { m.set(0, m[0] + 1); }, 0, 1.0)};
    return spec;
}

TEST(StateSpaceGen, TwentyThreeZeroTimeFiringsReachAStableState) {
    TestPVModel model(chainModel(23));
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir);
    EXPECT_EQ(run.arm, armHeader(2) + "1\n2\n1.0000000000e+00\n0\n2\n0\n");
}

TEST(StateSpaceGen, TheTwentyFourthZeroTimeFiringIsFatal) {
    EXPECT_EXIT(
        {
            TestPVModel model(chainModel(24));
            TempDir dir;
            runGenerator(&model, dir);
        },
        testing::ExitedWithCode(1),
        "^Error:  Maximum number of zero time transition recursive firings exceeded\\(23\\)\n"
        "Possible undetermined model\\.\n"
        "Please check the model and try again\n$");
}

// The refusals print on standard output and exit with status 1; the death
// test's child writes them to a file that the parent reads.
std::string refusalOf(const ModelSpec& spec) {
    TempDir dir;
    std::string file = dir.path() + "out.txt";
    EXPECT_EXIT(
        {
            if (std::freopen(file.c_str(), "w", stdout) == nullptr)
                std::exit(3);
            TestPVModel model(spec);
            StateSpaceGen generator(&model, dir.path().c_str(), "run", 0, 0.5, nullptr, nullptr,
                                    nullptr);
            generator.GenStateSpace();
            std::exit(0);
        },
        testing::ExitedWithCode(1), "");
    return testsupport::readFile(file);
}

TEST(StateSpaceGen, RefusalMessages) {
    ModelSpec unstable;
    unstable.places = {{"p", 1}};
    unstable.activities = {exponential("go", holds(0, 0), put(0, 1), 1.0),
                           instantaneous("now", holds(0, 1), put(0, 0), 0, 1.0)};
    EXPECT_EQ(refusalOf(unstable), "Error: The initial state is not stable, i.e., at least one "
                                   "instantaneous action is enabled in that state.\n");

    const std::string unsupported =
        "Error:  Can not generate state space with Current Action Distribution Type\n";
    ModelSpec uniform;
    uniform.places = {{"p", 0}};
    uniform.activities = {exponential("go", holds(0, 0), put(0, 1), 1.0),
                          exponential("odd", holds(0, 1), put(0, 0), 1.0)};
    uniform.activities[1].type = Uniform;
    EXPECT_EQ(refusalOf(uniform), unsupported);

    ModelSpec mixed; // deterministic and Erlang actions together
    mixed.places = {{"p", 0}};
    mixed.activities = {deterministic("d", holds(0, 0), put(0, 1), 1.0),
                        exponential("e", holds(0, 1), put(0, 0), 1.0)};
    mixed.activities[1].type = Erlang;
    EXPECT_EQ(refusalOf(mixed), unsupported);

    ModelSpec empty; // no state variables at all
    empty.activities = {exponential("go", always, nothing, 1.0)};
    EXPECT_EQ(refusalOf(empty), "The model is empty, i.e., does not have any state variables.\n");
}

TEST(StateSpaceGen, ErlangPhasesAdvanceAcrossStatesAndResetWhenDisabled) {
    // c counts 0 -> 2 by `tick` (rate 1); the Erlang `e` (2 phases, rate 3)
    // moves p from 0 to 1. Phases are not part of the state vector.
    ModelSpec spec;
    spec.places = {{"p", 0}, {"c", 0}};
    spec.activities = {exponential(
                           "tick", [](const Marking& m) { return m[1] < 2; },
                           [](const Marking& m) { m.set(1, m[1] + 1); }, 1.0),
                       exponential("e", holds(0, 0), put(0, 1), 3.0)};
    spec.activities[1].type = Erlang;
    spec.activities[1].erlangM = 2.0;
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir, {0, 1});
    // State 1 (0,0): tick to 2 = (0,1); e ages to phase 2: self-loop at rate 3.
    // State 2 (0,1): tick to 3 = (0,2); e is ready and fires to 4 = (1,1), then
    //   resets (disabled there). State 3 (0,2): e ages again: self-loop.
    // State 4 (1,1): tick to 5 = (1,2). State 5: absorbing.
    EXPECT_EQ(run.arm, armHeader(5) + "1\n1\n3.0000000000e+00\n2\n1.0000000000e+00\n0\n"
                                      "2\n3\n1.0000000000e+00\n4\n3.0000000000e+00\n0\n"
                                      "3\n3\n3.0000000000e+00\n0\n"
                                      "4\n5\n1.0000000000e+00\n0\n"
                                      "5\n0\n");
    EXPECT_EQ(run.out, "absorbing state\n  Model: (" + std::to_string(model.SubModel->ModelId) +
                           ")test\n    p = 1\n    c = 2\n_$5$\nGenerated: 5 states\n");
}

TEST(StateSpaceGen, TracedAndUntracedRunsWriteTheSameFiles) {
    // Without a trace of level 4 the successors of a state are looked up after
    // all its firings; the files must not show it.
    ModelSpec spec;
    spec.places = {{"p", 0}, {"c", 0}};
    spec.activities = {exponential(
                           "tick", [](const Marking& m) { return m[1] < 3; },
                           [](const Marking& m) { m.set(1, m[1] + 1); }, 1.0),
                       exponential("e", holds(0, 0), put(0, 1), 3.0),
                       exponential("f", holds(0, 0), put(0, 1), 0.5),
                       exponential("back", holds(0, 1), put(0, 0), 2.0)};
    spec.activities[1].type = Erlang;
    spec.activities[1].erlangM = 2.0;
    spec.rewards = {{"c", markingOf(1)}, {"p", markingOf(0)}};
    TestPVModel quiet(spec), traced(spec);
    TempDir quietDir, tracedDir;
    testmodel::GeneratorOutput a = runGenerator(&quiet, quietDir);
    GeneratorOptions options;
    options.traceLevel = 4;
    options.traceFile = "trace.txt";
    testmodel::GeneratorOutput b = runGenerator(&traced, tracedDir, options);
    EXPECT_EQ(a.arm, b.arm);
    EXPECT_EQ(a.var, b.var);
    EXPECT_EQ(a.arm.substr(0, 4), "1\n8\n");
}

TEST(StateSpaceGen, ErlangActionsOfAGroupAgeTogether) {
    // e1 (p: 0 -> 1) and e2 (p: 0 -> 2), both 2 phases and rate 4, share a group.
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {exponential("e1", holds(0, 0), put(0, 1), 4.0),
                       exponential("e2", holds(0, 0), put(0, 2), 4.0)};
    for (ActivitySpec& a : spec.activities) {
        a.type = Erlang;
        a.erlangM = 2.0;
        a.group = 0;
    }
    spec.groups = {"pair"};
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir);
    // e1 is not ready: both members age, rate 4 / 2 members as a self-loop.
    // e2 is then ready: its group gives it 1/2, so rate 2 to p = 2.
    EXPECT_EQ(run.arm, armHeader(2) + "1\n1\n2.0000000000e+00\n2\n2.0000000000e+00\n0\n"
                                      "2\n0\n");
}

TEST(StateSpaceGen, DeterministicActionsGiveNegativeEntriesAndEnablingLists) {
    // p = 0: d (delay 2) and x (rate 0.5) both lead to p = 1.
    // p = 1: d2 and d3 (delay 2) lead to p = 2, d4 (delay 0.5) back to p = 0.
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {deterministic("d", holds(0, 0), put(0, 1), 2.0),
                       exponential("x", holds(0, 0), put(0, 1), 0.5),
                       deterministic("d2", holds(0, 1), put(0, 2), 2.0),
                       deterministic("d3", holds(0, 1), put(0, 2), 2.0),
                       deterministic("d4", holds(0, 1), put(0, 0), 0.5)};
    spec.rewards = {{"p", markingOf(0)}};
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir, {0, 1});
    EXPECT_EQ(run.arm, armHeader(3, 8) + "1\n2\n-5.0000000000e-01\n0\n"
                                         "2\n1\n-1.0000000000e+00\n3\n-2.0000000000e+00\n0\n"
                                         "3\n0\n");
    EXPECT_EQ(run.det, "2\n2.0000000000e+00\n1\n2\n2\n0\n5.0000000000e-01\n2\n0\n");
    EXPECT_EQ(run.var, "p\n1\n0\n0\n2\n0\n1\n3\n0\n2\n");
    EXPECT_EQ(run.out, "\nThis following State is absorbing:\n"
                       "Model: (" +
                           std::to_string(model.SubModel->ModelId) +
                           ")test\n  p = 2\n_$3$\nGenerated: 3 states\n");
}

TEST(StateSpaceGen, ZeroTimeBranchesOnTheDeterministicPathTakeTheirGroupProbability) {
    // d (delay 1) makes p = 1, where i1 and i2, each its own group (probability
    // 1), lead to p = 2 and p = 3: both get the whole -1.
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {deterministic("d", holds(0, 0), put(0, 1), 1.0),
                       instantaneous("i1", holds(0, 1), put(0, 2), 0, 1.0),
                       instantaneous("i2", holds(0, 1), put(0, 3), 0, 3.0)};
    TestPVModel model(spec);
    TempDir dir;
    testmodel::GeneratorOutput run = runGenerator(&model, dir);
    EXPECT_EQ(run.arm,
              armHeader(3, 8) + "1\n2\n-1.0000000000e+00\n3\n-1.0000000000e+00\n0\n2\n0\n3\n0\n");
    EXPECT_EQ(run.det, "1\n1.0000000000e+00\n1\n0\n");
}

TEST(StateSpaceGen, BinaryDeterministicFile) {
    ModelSpec spec;
    spec.places = {{"p", 0}};
    spec.activities = {deterministic("d", holds(0, 0), put(0, 1), 2.0)};
    TestPVModel model(spec);
    TempDir dir;
    testing::internal::CaptureStdout();
    {
        StateSpaceGen generator(&model, dir.path().c_str(), "run", 0, 0.5, nullptr, nullptr,
                                nullptr);
        generator.OutputFormat = 2; // a binary output type
        std::string stem = dir.path() + "run";
        generator.GenStateSpaceDeterministic((stem + ".arm").c_str(), (stem + ".var").c_str(),
                                             (stem + ".det").c_str());
    }
    testing::internal::GetCapturedStdout();
    std::cout.setf(std::ios::fmtflags(0), std::ios::floatfield);
    std::int32_t groups = 1, state = 1;
    double delay = 2.0;
    std::string expected(reinterpret_cast<const char*>(&groups), 4);
    expected += std::string(reinterpret_cast<const char*>(&delay), 8);
    expected += std::string(reinterpret_cast<const char*>(&state), 4);
    expected += std::string(2, '\0');
    EXPECT_EQ(testsupport::readFile(dir.path() + "run.det"), expected);
    // The binary output type gives binary reward records: the number alone here.
    std::int32_t one = 1, two = 2;
    EXPECT_EQ(testsupport::readFile(dir.path() + "run.var"),
              std::string(reinterpret_cast<const char*>(&one), 4) +
                  std::string(reinterpret_cast<const char*>(&two), 4));
    EXPECT_EQ(testsupport::readFile(dir.path() + "run.arm"),
              "2\n2\n      \n1\n2\n-1.0000000000e+00\n0\n2\n0\n");
}

TEST(StateSpaceGen, StoreGrowsPastItsFirstRehashAndFirstBlock) {
    // A chain of 120000 states n = 1000 x high + low; with the load factor 0.05
    // the index grows at 6554, 19661, ... and the second block starts at 100000.
    const int count = 120000;
    ModelSpec spec;
    spec.places = {{"high", 0}, {"low", 0}, {"flag", 7}};
    spec.activities = {exponential(
                           "inc", [](const Marking& m) { return m[0] * 1000 + m[1] < count - 1; },
                           [](const Marking& m) {
                               int n = m[0] * 1000 + m[1] + 1;
                               m.set(0, n / 1000);
                               m.set(1, n % 1000);
                           },
                           1.0),
                       exponential("self", always, nothing, 0.5)};
    TestPVModel model(spec);
    TempDir dir;
    GeneratorOptions options;
    options.hashValue = 0.05;
    testmodel::GeneratorOutput run = runGenerator(&model, dir, options);

    std::string arm = armHeader(count);
    std::string out;
    for (int i = 1; i <= count; ++i) {
        std::string n = std::to_string(i);
        arm += n + "\n" + n + "\n5.0000000000e-01\n"; // the self-loop, then the next state
        if (i < count)
            arm += std::to_string(i + 1) + "\n1.0000000000e+00\n";
        arm += "0\n";
        if (i % 1000 == 0)
            out += "_$" + n + "$\n";
    }
    EXPECT_EQ(run.arm.size(), arm.size());
    EXPECT_TRUE(run.arm == arm);
    EXPECT_EQ(run.out, out + "_$120000$\nGenerated: 120000 states\n");
}

} // namespace
