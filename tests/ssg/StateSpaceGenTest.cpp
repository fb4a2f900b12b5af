// The generator over small models built in the tests; every expected file is
// derived by hand from the model's table.

#include "TestModel.h"

#include "models/SANModel.h"
#include "ssg/StateSpaceGen.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using namespace testmodel;
using testsupport::TempDir;

const Predicate always = [](const Marking&) { return true; };
const Effect nothing = [](const Marking&) {};

std::string modelLine(TestPVModel& model) {
    return "Model: (" + std::to_string(model.SubModel->ModelId) + ")test\n";
}

TEST(StateSpaceGen, SelfLoopSummedTargetsAndZeroRates) {
    // b: 0 -> 1 by t1 (1.0) and t2 (2.0), back by `back`; `loop` changes
    // nothing; `zero` (rate 0) would lead to a new state.
    ModelShape shape;
    shape.places = {{"a", 1}, {"b", 0}};
    shape.activities = {{.name = "loop", .enabled = always, .fire = nothing, .rate = 0.5},
                       {.name = "t1", .enabled = holds(1, 0), .fire = put(1, 1), .rate = 1.0},
                       {.name = "t2", .enabled = holds(1, 0), .fire = put(1, 1), .rate = 2.0},
                       {.name = "zero", .enabled = always, .fire = put(0, 5), .rate = 0.0},
                       {.name = "back", .enabled = holds(1, 1), .fire = put(1, 0), .rate = 0.25}};
    shape.rewards = {{"b", markingOf(1)}};
    TestPVModel model(shape);
    TempDir dir;
    Outcome run = runGenerator(&model, dir);
    EXPECT_EQ(run.arm, armHeader(2) + "1\n1\n5.0000000000e-01\n2\n3.0000000000e+00\n0\n"
                                      "2\n1\n2.5000000000e-01\n2\n5.0000000000e-01\n0\n");
    EXPECT_EQ(run.var, "b\n1\n0\n0\n2\n0\n1\n");
    EXPECT_EQ(run.out, "_$2$\nGenerated: 2 states\n");
    EXPECT_EQ(FindNext, &StateSpaceGen::FindNextNormal);
}

TEST(StateSpaceGen, ModelWithoutActionsHasOneAbsorbingState) {
    ModelShape shape;
    shape.places = {{"p", 3}};
    TestPVModel model(shape);
    TempDir dir;
    Outcome run = runGenerator(&model, dir, 0, 1);
    EXPECT_EQ(run.arm, "1\n1\n" + std::string(61, ' ') + "\n1\n0\n");
    EXPECT_EQ(run.var, "1\n"); // no variables: the record holds only the number
    // The trace, on standard output here, dumps the state at any level.
    EXPECT_EQ(run.out,
              "absorbing state\n  " + modelLine(model) + "    p = 3\n_$1$\nGenerated: 1 states\n");
}

TEST(StateSpaceGen, InstantaneousActionsOfTheHighestRankShareByWeight) {
    // `go` (rate 2) makes p = 1, where i1, i2 (rank 2, weights 1 and 3) and i3
    // (rank 1) are enabled; `reset` returns to p = 0. Only i1 and i2 fire, with
    // 1/4 and 3/4; each new state's record has the rewards after its firing.
    ModelShape shape;
    shape.places = {{"p", 0}};
    shape.activities = {
        {.name = "go", .enabled = holds(0, 0), .fire = put(0, 1), .rate = 2.0},
        {.name = "i1", .enabled = holds(0, 1), .fire = put(0, 2), .type = Instantaneous, .rank = 2},
        {.name = "i2", .enabled = holds(0, 1), .fire = put(0, 3), .type = Instantaneous, .rank = 2, .weight = 3},
        {.name = "i3", .enabled = holds(0, 1), .fire = put(0, 4), .type = Instantaneous, .rank = 1, .weight = 5},
        {.name = "reset", .enabled = [](const Marking& m) { return m[0] >= 2; }, .fire = put(0, 0)}};
    shape.rewards = {{"p", markingOf(0)}};
    TestPVModel model(shape);
    TempDir dir;
    Outcome run = runGenerator(&model, dir, 1, 0, 0.5, "trace.txt");
    EXPECT_EQ(run.arm, armHeader(3) + "1\n2\n5.0000000000e-01\n3\n1.5000000000e+00\n0\n"
                                      "2\n1\n1.0000000000e+00\n0\n3\n1\n1.0000000000e+00\n0\n");
    EXPECT_EQ(run.var, "p\n1\n0\n0\n2\n0\n2\n3\n0\n3\n");
    EXPECT_EQ(FindNext, &StateSpaceGen::FindNextInstant);
    std::string trace = testsupport::readFile(dir.path() + "trace.txt");
    EXPECT_EQ(trace.substr(0, trace.rfind("Computation time")),
              "State Number = 1\nFiring Action: go\nFiring Action: i1\nFiring Action: i2\n"
              "State Number = 2\nFiring Action: reset\nState Number = 3\nFiring Action: reset\n"
              "Generated: 3 states\n");
}

// `start` sets p = 1; the instantaneous `step` adds 1 while p <= last.
ModelShape chain(int last) {
    ModelShape shape;
    shape.places = {{"p", 0}};
    shape.activities = {{.name = "start", .enabled = holds(0, 0), .fire = put(0, 1)},
                       {.name = "step",
                        .enabled = [last](const Marking& m) { return m[0] >= 1 && m[0] <= last; },
                        .fire = add(0, 1),
                        .type = Instantaneous}};
    return shape;
}

TEST(StateSpaceGen, ZeroTimeChainsEndAtTwentyThreeFirings) {
    TestPVModel model(chain(23));
    TempDir dir;
    EXPECT_EQ(runGenerator(&model, dir).arm, armHeader(2) + "1\n2\n1.0000000000e+00\n0\n2\n0\n");
    EXPECT_EXIT(
        {
            TestPVModel longer(chain(24));
            runGenerator(&longer, dir);
        },
        testing::ExitedWithCode(1),
        "^Error:  Maximum number of zero time transition recursive firings exceeded\\(23\\)\n"
        "Possible undetermined model\\.\nPlease check the model and try again\n$");
}

// The refusals print on standard output and exit with status 1; the death
// test's child writes them to a file that the parent reads. The file's name does
// not depend on the scratch folder, which a child started afresh (the
// "threadsafe" death-test style) would create anew.
std::string refusalOf(const ModelShape& shape) {
    TempDir dir;
    std::string file = testsupport::binary("tests/StateSpaceGen.refusal.txt");
    std::remove(file.c_str());
    EXPECT_EXIT(
        {
            if (std::freopen(file.c_str(), "w", stdout) == nullptr)
                std::exit(3);
            TestPVModel model(shape);
            StateSpaceGen generator(&model, dir.path().c_str(), "run", 0, 0.5, nullptr, nullptr,
                                    nullptr);
            generator.GenStateSpace();
            std::exit(0);
        },
        testing::ExitedWithCode(1), "");
    std::string refusal = testsupport::readFile(file);
    std::remove(file.c_str());
    return refusal;
}

TEST(StateSpaceGen, ModelsThatCannotBeExploredAreRefused) {
    ModelShape unstable;
    unstable.places = {{"p", 1}};
    unstable.activities = {
        {.name = "go", .enabled = holds(0, 0), .fire = put(0, 1)},
        {.name = "now", .enabled = holds(0, 1), .fire = put(0, 0), .type = Instantaneous}};
    EXPECT_EQ(refusalOf(unstable), "Error: The initial state is not stable, i.e., at least one "
                                   "instantaneous action is enabled in that state.\n");
    const std::string unsupported =
        "Error:  Can not generate state space with Current Action Distribution Type\n";
    ModelShape uniform = unstable;
    uniform.activities[1].type = Uniform;
    EXPECT_EQ(refusalOf(uniform), unsupported);
    ModelShape mixed = unstable; // deterministic and Erlang actions together
    mixed.activities[0].type = Deterministic;
    mixed.activities[1].type = Erlang;
    EXPECT_EQ(refusalOf(mixed), unsupported);
    ModelShape empty;
    empty.activities = {{.name = "go", .enabled = always, .fire = nothing}};
    EXPECT_EQ(refusalOf(empty), "The model is empty, i.e., does not have any state variables.\n");
}

// c counts 0 -> 3 by `tick`; the Erlang `e` (2 phases, rate 3) moves p from 0
// to 1, `back` returns. Phases are not part of the state vector.
ModelShape erlangModel(int lastCount, bool withBack) {
    ModelShape shape;
    shape.places = {{"p", 0}, {"c", 0}};
    shape.activities = {{.name = "tick",
                        .enabled = [=](const Marking& m) { return m[1] < lastCount; },
                        .fire = add(1, 1)},
                       {.name = "e", .enabled = holds(0, 0), .fire = put(0, 1), .rate = 3, .type = Erlang,
                        .erlangM = 2}};
    if (withBack)
        shape.activities.push_back(
            {.name = "back", .enabled = holds(0, 1), .fire = put(0, 0), .rate = 2.0});
    shape.rewards = {{"c", markingOf(1)}, {"p", markingOf(0)}};
    return shape;
}

TEST(StateSpaceGen, ErlangPhasesAdvanceAcrossStatesAndResetWhenDisabled) {
    // State 1 (0,0): tick to 2 = (0,1); e ages to phase 2: a self-loop at rate 3.
    // State 2 (0,1): tick to 3 = (0,2); e is ready and fires to 4 = (1,1), then
    // resets (disabled there). State 3 (0,2): e ages: self-loop.
    // State 4 (1,1): tick to 5 = (1,2). State 5 is absorbing.
    TestPVModel model(erlangModel(2, false));
    TempDir dir;
    Outcome run = runGenerator(&model, dir);
    EXPECT_EQ(run.arm, armHeader(5) + "1\n1\n3.0000000000e+00\n2\n1.0000000000e+00\n0\n"
                                      "2\n3\n1.0000000000e+00\n4\n3.0000000000e+00\n0\n"
                                      "3\n3\n3.0000000000e+00\n0\n"
                                      "4\n5\n1.0000000000e+00\n0\n5\n0\n");
}

TEST(StateSpaceGen, ErlangActionsOfAGroupAgeTogether) {
    // e1 (p: 0 -> 1) and e2 (p: 0 -> 2), 2 phases and rate 4 each, in one group:
    // e1 is not ready, so both age and the self-loop gets 4 / 2 members; e2 is
    // then ready and its group gives it 1/2 of 4.
    ModelShape shape;
    shape.places = {{"p", 0}};
    shape.groups = {"pair"};
    for (int i = 1; i <= 2; ++i)
        shape.activities.push_back({.name = i == 1 ? "e1" : "e2", .enabled = holds(0, 0), .fire = put(0, i),
                                   .rate = 4, .type = Erlang, .erlangM = 2, .group = 0});
    TestPVModel model(shape);
    TempDir dir;
    EXPECT_EQ(runGenerator(&model, dir).arm,
              armHeader(2) + "1\n1\n2.0000000000e+00\n2\n2.0000000000e+00\n0\n2\n0\n");
}

TEST(StateSpaceGen, TracedAndUntracedRunsWriteTheSameFiles) {
    // Without a level-4 trace the successors of a state are looked up after all
    // its firings; the files must not show it.
    TestPVModel quiet(erlangModel(3, true)), traced(erlangModel(3, true));
    TempDir quietDir, tracedDir;
    Outcome a = runGenerator(&quiet, quietDir);
    Outcome b = runGenerator(&traced, tracedDir, 4, 0, 0.5, "trace.txt");
    // p in 0..1 by c in 0..3 but (1,0): e is never ready in the initial state.
    EXPECT_EQ(a.arm.substr(0, 4), "1\n7\n");
    EXPECT_EQ(a.arm, b.arm);
    EXPECT_EQ(a.var, b.var);
}

TEST(StateSpaceGen, NewStatesOfOneBatchGetTheirOwnRewardsWhetherPackedOrTraced) {
    // a counts to 2 (rate 1), b to 1 (rate 2). States: 1 (0,0); 2 (1,0) and
    // 3 (0,1) from 1; 4 (2,0) and 5 (1,1) from 2; 6 (2,1) from 4. Each record
    // holds its own state's markings, though 2 and 3 (and 4 and 5) are found
    // after both firings of their batch.
    auto shape = [] {
        ModelShape s;
        s.places = {{"a", 0}, {"b", 0}};
        s.activities = {
            {.name = "incA", .enabled = [](const Marking& m) { return m[0] < 2; },
             .fire = add(0, 1), .rate = 1.0},
            {.name = "incB", .enabled = holds(1, 0), .fire = put(1, 1), .rate = 2.0}};
        s.rewards = {{"a", markingOf(0)}, {"b", markingOf(1)}};
        return s;
    };
    const std::string var = "a\nb\n1\n0\n0\n0\n0\n2\n0\n1\n0\n0\n3\n0\n0\n0\n1\n"
                            "4\n0\n2\n0\n0\n5\n0\n1\n0\n1\n6\n0\n2\n0\n1\n";
    TestPVModel plain(shape()), packed(shape()), traced(shape());
    ASSERT_TRUE(static_cast<SANModel*>(packed.SubModel)->PackStateCells());
    TempDir plainDir, packedDir, tracedDir;
    Outcome a = runGenerator(&plain, plainDir);
    Outcome b = runGenerator(&packed, packedDir);
    Outcome c = runGenerator(&traced, tracedDir, 4, 0, 0.5, "trace.txt");
    EXPECT_EQ(a.var, var);
    EXPECT_EQ(a.arm.substr(0, 4), "1\n6\n");
    EXPECT_EQ(b.arm, a.arm);
    EXPECT_EQ(b.var, var);
    EXPECT_EQ(c.arm, a.arm);
    EXPECT_EQ(c.var, var);
}

TEST(StateSpaceGen, DeterministicActionsGiveNegativeEntriesAndEnablingLists) {
    // p = 0: d (delay 2) and x (rate 0.5) lead to p = 1: -1 + 0.5.
    // p = 1: d2, d3 (delay 2) lead to p = 2, d4 (delay 0.5) back to p = 0.
    ModelShape shape;
    shape.places = {{"p", 0}};
    auto det = [](const char* name, int from, int to, double delay) {
        return ActivitySpec{.name = name, .enabled = holds(0, from), .fire = put(0, to),
                            .type = Deterministic, .delay = delay};
    };
    shape.activities = {det("d", 0, 1, 2.0),
                       {.name = "x", .enabled = holds(0, 0), .fire = put(0, 1), .rate = 0.5},
                       det("d2", 1, 2, 2.0),
                       det("d3", 1, 2, 2.0),
                       det("d4", 1, 0, 0.5)};
    shape.rewards = {{"p", markingOf(0)}};
    TestPVModel model(shape);
    TempDir dir;
    Outcome run = runGenerator(&model, dir, 0, 1);
    EXPECT_EQ(run.arm, armHeader(3, 8) +
                           "1\n2\n-5.0000000000e-01\n0\n"
                           "2\n1\n-1.0000000000e+00\n3\n-2.0000000000e+00\n0\n3\n0\n");
    EXPECT_EQ(run.det, "2\n2.0000000000e+00\n1\n2\n2\n0\n5.0000000000e-01\n2\n0\n");
    EXPECT_EQ(run.var, "p\n1\n0\n0\n2\n0\n1\n3\n0\n2\n");
    EXPECT_EQ(run.out, "\nThis following State is absorbing:\n" + modelLine(model) +
                           "  p = 2\n_$3$\nGenerated: 3 states\n");
}

TEST(StateSpaceGen, ZeroTimeBranchesOnTheDeterministicPathTakeTheirGroupProbability) {
    // d makes p = 1, where i1 and i2, each its own group (probability 1), lead
    // to p = 2 and p = 3: both get the whole -1, whatever their weights.
    ModelShape shape;
    shape.places = {{"p", 0}};
    shape.activities = {
        {.name = "d", .enabled = holds(0, 0), .fire = put(0, 1), .type = Deterministic, .delay = 1},
        {.name = "i1", .enabled = holds(0, 1), .fire = put(0, 2), .type = Instantaneous},
        {.name = "i2", .enabled = holds(0, 1), .fire = put(0, 3), .type = Instantaneous, .weight = 3}};
    TestPVModel model(shape);
    TempDir dir;
    Outcome run = runGenerator(&model, dir);
    EXPECT_EQ(run.arm,
              armHeader(3, 8) + "1\n2\n-1.0000000000e+00\n3\n-1.0000000000e+00\n0\n2\n0\n3\n0\n");
    EXPECT_EQ(run.det, "1\n1.0000000000e+00\n1\n0\n");
}

TEST(StateSpaceGen, StoreGrowsPastItsFirstRehashAndFirstBlock) {
    // A chain of 120000 states n = 1000 x high + low, each with a self-loop; with
    // the load factor 0.05 the index grows at 6554, 19661, ... and the second
    // block of vectors starts at 100000.
    const int count = 120000;
    ModelShape shape;
    shape.places = {{"high", 0}, {"low", 0}, {"flag", 7}};
    shape.activities = {{.name = "inc",
                        .enabled = [](const Marking& m) { return m[0] * 1000 + m[1] < count - 1; },
                        .fire =
                            [](const Marking& m) {
                                int n = m[0] * 1000 + m[1] + 1;
                                m.set(0, n / 1000);
                                m.set(1, n % 1000);
                            }},
                       {.name = "self", .enabled = always, .fire = nothing, .rate = 0.5}};
    TestPVModel model(shape);
    TempDir dir;
    Outcome run = runGenerator(&model, dir, 0, 0, 0.05);
    std::string arm = armHeader(count), out;
    for (int i = 1; i <= count; ++i) {
        std::string n = std::to_string(i);
        arm += n + "\n" + n + "\n5.0000000000e-01\n"; // the self-loop, then the next state
        if (i < count)
            arm += std::to_string(i + 1) + "\n1.0000000000e+00\n";
        arm += "0\n";
        if (i % 1000 == 0)
            out += "_$" + n + "$\n";
    }
    EXPECT_TRUE(run.arm == arm);
    EXPECT_EQ(run.out, out + "_$120000$\nGenerated: 120000 states\n");
}

} // namespace
