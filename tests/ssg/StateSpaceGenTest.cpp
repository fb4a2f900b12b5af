// The generator over small models built in the tests; every expected file is
// derived by hand from the model's table.

#include "TestModel.h"

#include "ssg/StateSpaceGen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace testmodel;
using testsupport::readFile;
using testsupport::TempDir;

const Predicate always = [](const Marking&) { return true; };
const Effect nothing = [](const Marking&) {};

// An activity that moves place 0 from `from` to `to`, its other fields as given.
ActivitySpec step(const char* name, int from, int to, ActivitySpec a = {}) {
    a.name = name;
    a.enabled = holds(0, from);
    a.fire = put(0, to);
    return a;
}

// `start` sets p = 1; the instantaneous `step` adds 1 while p <= last.
ModelShape chain(int last) {
    return {
        .places = {{"p", 0}},
        .activities = {step("start", 0, 1),
                       {.name = "step",
                        .enabled = [last](const Marking& m) { return m[0] >= 1 && m[0] <= last; },
                        .fire = add(0, 1),
                        .type = Instantaneous}}};
}

std::string generated(int states) {
    const std::string n = std::to_string(states);
    return "_$" + n + "$\nGenerated: " + n + " states\n";
}

// A model, the files of a run without trace and its standard output (progress
// and count when not given), and the level of a traced run that must write the
// same files: at level 4 the successors of a state are looked up as they are
// fired, otherwise after all its firings. Without reward variables the .var
// records hold only the state numbers.
struct Case {
    const char* name;
    ModelShape shape;
    std::string arm{}, det{}, out{}; // "#" in `out` stands for the SAN's model number
    short absorb = 0;
    int traceLevel = 4;
    std::string trace{}; // the traced run's trace file, when given
};

std::vector<Case> cases() {
    const Distribution instant = Instantaneous;
    return {
        // b: 0 -> 1 by t1 (1.0) and t2 (2.0), back by `back`; `loop` changes
        // nothing; `zero` (rate 0) would lead to a new state.
        {.name = "self-loops, summed targets and zero rates",
         .shape = {.places = {{"b", 0}, {"a", 1}},
                   .activities = {{.name = "loop", .enabled = always, .fire = nothing, .rate = 0.5},
                                  step("t1", 0, 1),
                                  step("t2", 0, 1, {.rate = 2}),
                                  {.name = "zero", .enabled = always, .fire = put(1, 5), .rate = 0},
                                  step("back", 1, 0, {.rate = 0.25})}},
         .arm = armHeader(2) + "1\n1\n5.0000000000e-01\n2\n3.0000000000e+00\n0\n"
                               "2\n1\n2.5000000000e-01\n2\n5.0000000000e-01\n0\n"},
        // No actions; the trace, on standard output without a trace file, dumps
        // the state.
        {.name = "no actions",
         .shape = {.places = {{"p", 3}}},
         .arm = armHeader(1) + "1\n0\n",
         .out = "absorbing state\n  Model: (#)test\n    p = 3\n" + generated(1),
         .absorb = 1},
        // `go` makes p = 1, where i1, i2 (rank 2, weights 1 and 3) and i3 (rank
        // 1) are enabled: only i1 and i2 fire, with 1/4 and 3/4.
        {.name = "instantaneous ranks and weights",
         .shape = {.places = {{"p", 0}},
                   .activities = {step("go", 0, 1, {.rate = 2}),
                                  step("i1", 1, 2, {.type = instant, .rank = 2}),
                                  step("i2", 1, 3, {.type = instant, .rank = 2, .weight = 3}),
                                  step("i3", 1, 4, {.type = instant, .rank = 1, .weight = 5}),
                                  {.name = "reset",
                                   .enabled = [](const Marking& m) { return m[0] >= 2; },
                                   .fire = put(0, 0)}}},
         .arm = armHeader(3) + "1\n2\n5.0000000000e-01\n3\n1.5000000000e+00\n0\n"
                               "2\n1\n1.0000000000e+00\n0\n3\n1\n1.0000000000e+00\n0\n",
         .traceLevel = 1,
         .trace = "State Number = 1\nFiring Action: go\nFiring Action: i1\nFiring Action: i2\n"
                  "State Number = 2\nFiring Action: reset\nState Number = 3\n"
                  "Firing Action: reset\nGenerated: 3 states\n"},
        {.name = "23 zero-time firings",
         .shape = chain(23),
         .arm = armHeader(2) + "1\n2\n1.0000000000e+00\n0\n2\n0\n"},
        // c counts 0 -> 2 by `tick`; the Erlang `e` (2 phases, rate 3) moves p
        // from 0 to 1. State 1 (0,0): tick to 2 = (0,1); e ages to phase 2: a
        // self-loop. State 2 (0,1): tick to 3 = (0,2); e is ready and fires to
        // 4 = (1,1), then resets (disabled there). State 3 (0,2): e ages: a
        // self-loop. State 4 (1,1): tick to 5 = (1,2). State 5 is absorbing.
        {.name = "Erlang phases",
         .shape = {.places = {{"p", 0}, {"c", 0}},
                   .activities = {{.name = "tick",
                                   .enabled = [](const Marking& m) { return m[1] < 2; },
                                   .fire = add(1, 1)},
                                  step("e", 0, 1, {.rate = 3, .type = Erlang, .erlangM = 2})}},
         .arm = armHeader(5) + "1\n1\n3.0000000000e+00\n2\n1.0000000000e+00\n0\n"
                               "2\n3\n1.0000000000e+00\n4\n3.0000000000e+00\n0\n"
                               "3\n3\n3.0000000000e+00\n0\n"
                               "4\n5\n1.0000000000e+00\n0\n5\n0\n"},
        // e1 (p: 0 -> 1) and e2 (p: 0 -> 2), 2 phases and rate 4 each, in one
        // group: e1 is not ready, so both age and the self-loop gets 4 / 2
        // members; e2 is then ready and its group gives it 1/2 of 4.
        {.name = "Erlang group",
         .shape = {.places = {{"p", 0}},
                   .activities =
                       {step("e1", 0, 1, {.rate = 4, .type = Erlang, .erlangM = 2, .group = 0}),
                        step("e2", 0, 2, {.rate = 4, .type = Erlang, .erlangM = 2, .group = 0})},
                   .groups = {"pair"}},
         .arm = armHeader(2) + "1\n1\n2.0000000000e+00\n2\n2.0000000000e+00\n0\n2\n0\n"},
        // p = 0: d (delay 2) and x (rate 0.5) lead to p = 1: -1 + 0.5.
        // p = 1: d2, d3 (delay 2) lead to p = 2, d4 (delay 0.5) back to p = 0.
        {.name = "deterministic delays",
         .shape = {.places = {{"p", 0}},
                   .activities = {step("d", 0, 1, {.type = Deterministic, .delay = 2}),
                                  step("x", 0, 1, {.rate = 0.5}),
                                  step("d2", 1, 2, {.type = Deterministic, .delay = 2}),
                                  step("d3", 1, 2, {.type = Deterministic, .delay = 2}),
                                  step("d4", 1, 0, {.type = Deterministic, .delay = 0.5})}},
         .arm = armHeader(3, 8) + "1\n2\n-5.0000000000e-01\n0\n"
                                  "2\n1\n-1.0000000000e+00\n3\n-2.0000000000e+00\n0\n3\n0\n",
         .det = "2\n2.0000000000e+00\n1\n2\n2\n0\n5.0000000000e-01\n2\n0\n",
         .out = "\nThis following State is absorbing:\nModel: (#)test\n  p = 2\n" + generated(3),
         .absorb = 1},
        // d makes p = 1, where i1 and i2, each its own group (probability 1),
        // lead to p = 2 and p = 3: both get the whole -1, whatever their weights.
        {.name = "zero-time branches after a deterministic firing",
         .shape = {.places = {{"p", 0}},
                   .activities = {step("d", 0, 1, {.type = Deterministic, .delay = 1}),
                                  step("i1", 1, 2, {.type = instant}),
                                  step("i2", 1, 3, {.type = instant, .weight = 3})}},
         .arm = armHeader(3, 8) + "1\n2\n-1.0000000000e+00\n3\n-1.0000000000e+00\n0\n2\n0\n3\n0\n",
         .det = "1\n1.0000000000e+00\n1\n0\n"},
    };
}

TEST(StateSpaceGen, SmallModelsGiveTheFilesDerivedByHand) {
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        const int states = std::stoi(c.arm.substr(2));
        std::string var, out = c.out.empty() ? generated(states) : c.out;
        for (int i = 1; i <= states; ++i)
            var += std::to_string(i) + "\n";
        TestPVModel model(c.shape), again(c.shape);
        if (std::size_t at = out.find('#'); at != std::string::npos)
            out.replace(at, 1, std::to_string(model.SubModel->ModelId));
        TempDir dir, tracedDir;
        Outcome run = runGenerator(&model, dir, 0, c.absorb);
        Outcome traced = runGenerator(&again, tracedDir, c.traceLevel, c.absorb, 0.5, "trace.txt");
        EXPECT_EQ(run.out, out);
        for (const Outcome* o : {&run, &traced}) {
            EXPECT_EQ(o->arm, c.arm);
            EXPECT_EQ(o->var, var);
            EXPECT_EQ(o->det, c.det);
        }
        if (!c.trace.empty()) {
            std::string trace = readFile(tracedDir.path() + "trace.txt");
            EXPECT_EQ(trace.substr(0, trace.rfind("Computation time")), c.trace);
        }
    }
}

// Expects the generator to refuse `shape` with `message` and status 1. Refusals
// print on standard output, which the death test's child sends to standard
// error, the stream the test matches, each character literally.
void expectRefused(const ModelShape& shape, const std::string& message) {
    std::string pattern = "^";
    for (char ch : message) {
        if (std::strchr("\\^$.|?*+()[]{}", ch) != nullptr)
            pattern += '\\';
        pattern += ch;
    }
    TempDir dir;
    EXPECT_EXIT(
        {
            dup2(2, 1);
            TestPVModel model(shape);
            StateSpaceGen generator(&model, dir.path().c_str(), "run", 0, 0.5, nullptr, nullptr,
                                    nullptr);
            generator.GenStateSpace();
        },
        testing::ExitedWithCode(1), pattern + "$");
}

TEST(StateSpaceGen, ModelsThatCannotBeExploredAreRefused) {
    const std::string unsupported =
        "Error:  Can not generate state space with Current Action Distribution Type\n";
    auto pair = [](Distribution go, Distribution now) {
        return ModelShape{
            .places = {{"p", 1}},
            .activities = {step("go", 0, 1, {.type = go}), step("now", 1, 0, {.type = now})}};
    };
    expectRefused(pair(Exponential, Instantaneous),
                  "Error: The initial state is not stable, i.e., at least one instantaneous action "
                  "is enabled in that state.\n");
    expectRefused(pair(Exponential, Uniform), unsupported);
    expectRefused(pair(Deterministic, Erlang), unsupported); // the two together
    expectRefused({.activities = {{.name = "go", .enabled = always, .fire = nothing}}},
                  "The model is empty, i.e., does not have any state variables.\n");
    EXPECT_EXIT(
        {
            TestPVModel longer(chain(24));
            TempDir dir;
            runGenerator(&longer, dir);
        },
        testing::ExitedWithCode(1),
        "^Error:  Maximum number of zero time transition recursive firings exceeded\\(23\\)\n"
        "Possible undetermined model\\.\nPlease check the model and try again\n$");
}

TEST(StateSpaceGen, StoreGrowsPastItsFirstRehashAndFirstBlock) {
    // A chain of 120000 states n = 1000 x high + low, each with a self-loop; with
    // the load factor 0.05 the index grows at 6554, 19661, ... and the second
    // block of vectors starts at 100000.
    const int count = 120000;
    TestPVModel model(
        {.places = {{"high", 0}, {"low", 0}, {"flag", 7}},
         .activities = {{.name = "inc",
                         .enabled = [](const Marking& m) { return m[0] * 1000 + m[1] < count - 1; },
                         .fire =
                             [](const Marking& m) {
                                 int n = m[0] * 1000 + m[1] + 1;
                                 m.set(0, n / 1000);
                                 m.set(1, n % 1000);
                             }},
                        {.name = "self", .enabled = always, .fire = nothing, .rate = 0.5}}});
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
    EXPECT_EQ(run.out, out + generated(count));
}

} // namespace
