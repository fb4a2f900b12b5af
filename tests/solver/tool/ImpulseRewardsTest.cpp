// Impulse rewards end to end: gen writes the .imp file of a model with impulse
// rewards, gen-solve adds its rates to the rate rewards. Each impulse variable
// of the test models (tests/solver/models) has a twin with the equivalent rate
// reward (an impulse c on an activity of rate r is the rate reward c r wherever
// the activity is enabled), which gen-solve computes exactly without impulses;
// both are also compared with the closed forms of the two-state chains.
//
// wear: up (state 1) -> down (state 2) by fail_soft (rate 1, impulse 1) and
// fail_hard (rate 0.5, impulse 5); down -> up by repair (rate 2, impulse 1 for
// "repairs", 0.25 for "cost"). With l = 1.5, m = 2, s = l + m:
// P(down at u) = l/s (1 - e^(-s u)), D(T) = its integral over [0, T] =
// l/s (T - (1 - e^(-s T))/s); repairs(T) = m D(T); cost(T) = 3.5 (T - D) + 0.5 D.
//
// split: idle (state 1) -> busy (state 2) at rate 0.7 (arrive, then accept with
// probability 0.7, then audit), idle -> idle at 0.3 (reject); busy -> idle at 2.
// Idle earns 1 (1 + 0.7 x 3 + 0.7 x 2 + 0.3 x 10) = 7.5 per unit time, busy 2 x
// 0.5 = 1. With a = 0.7, b = 2, s = a + b: B(T) = a/s (T - (1 - e^(-s T))/s) is
// the expected time busy; earned(T) = 7.5 (T - B) + B.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <utility>

namespace {

using testsupport::binary;
using testsupport::readFile;
using testsupport::run;
using testsupport::TempDir;

// One result of gen-solve's CSV output.
struct Row {
    double value = 0.0;
    std::string method;
};
// Results by variable and stop time ("inf" for a long-run result).
using Results = std::map<std::pair<std::string, std::string>, Row>;

Results parseCsv(const std::string& out) {
    Results results;
    std::istringstream in(out);
    std::string line;
    std::getline(in, line); // the header
    while (std::getline(in, line)) {
        // variable,type,start,stop,value,error_bound,bound_proven,steps,steady_state,
        // converged,method; only the method may be quoted.
        std::string fields[11];
        std::size_t at = 0;
        for (int f = 0; f < 10; ++f) {
            std::size_t comma = line.find(',', at);
            fields[f] = line.substr(at, comma - at);
            at = comma + 1;
        }
        fields[10] = line.substr(at);
        if (!fields[10].empty() && fields[10].front() == '"')
            fields[10] = fields[10].substr(1, fields[10].size() - 2);
        results[{fields[0], fields[3]}] = Row{std::stod(fields[4]), fields[10]};
    }
    return results;
}

// Generates the files of `model` into `dir` under `name`.
std::string generate(const TempDir& dir, const std::string& model, const std::string& name) {
    const auto result =
        run(binary("tests/gen-" + model) + " -P" + dir.path() + " -N" + name + " -B0");
    EXPECT_EQ(result.status, 0) << result.err;
    return dir.path() + name;
}

Results solve(const std::string& stem) {
    const auto result = run(binary("gen-solve") + " " + stem + " --format csv");
    EXPECT_EQ(result.status, 0) << result.err;
    return parseCsv(result.out);
}

double relative(double value, double expected) {
    return std::fabs(value - expected) / std::fabs(expected);
}

// Expected time in the second state of a two-state chain (first -> second at
// rate a, back at rate b) over [0, t], started in the first.
double timeInSecond(double a, double b, double t) {
    const double s = a + b;
    return a / s * (t + std::expm1(-s * t) / s);
}

TEST(ImpulseRewards, EqualTheirRateRewardTwinsAndTheClosedForms) {
    TempDir dir;
    const Results wear = solve(generate(dir, "imp_wear", "wear"));
    const Results split = solve(generate(dir, "imp_split", "split"));
    struct Check {
        const Results& results;
        const char* variable;
        const char* stop;
        double expected;
    };
    const double l = 1.5, m = 2.0;
    auto cost = [&](double t) {
        const double down = timeInSecond(l, m, t);
        return 3.5 * (t - down) + 0.5 * down;
    };
    auto earned = [](double t) {
        const double busy = timeInSecond(0.7, 2.0, t);
        return 7.5 * (t - busy) + busy;
    };
    const Check checks[] = {
        // A repair returns to the initial state.
        {wear, "repairs", "10", m * timeInSecond(l, m, 10)},
        {wear, "repairs", "1", m * timeInSecond(l, m, 1)},
        // The down state is entered by failures with impulses 1 and 5.
        {wear, "cost", "10", cost(10)},
        {wear, "cost_average", "6", (cost(6) - cost(2)) / 4},
        {wear, "cost_steady", "0", (4.0 * 3.5 + 3.0 * 0.5) / 7.0},
        // Impulses of instantaneous firings after a probabilistic split.
        {split, "earned", "5", earned(5)},
        {split, "earned_steady", "0", (7.5 * 2.0 + 1.0 * 0.7) / 2.7},
    };
    for (const Check& c : checks) {
        SCOPED_TRACE(std::string(c.variable) + " at " + c.stop);
        const auto impulse = c.results.find({c.variable, c.stop});
        const auto twin = c.results.find({std::string(c.variable) + "_rate", c.stop});
        ASSERT_NE(impulse, c.results.end());
        ASSERT_NE(twin, c.results.end());
        EXPECT_LT(relative(impulse->second.value, twin->second.value), 1e-9);
        EXPECT_LT(relative(impulse->second.value, c.expected), 1e-9);
        EXPECT_EQ(impulse->second.method.find("first-entry"), std::string::npos);
    }
    // An instant-of-time value has no impulses: the probability of being down.
    EXPECT_LT(relative(wear.at({"down_now", "0.5"}).value, l / (l + m) * -std::expm1(-3.5 * 0.5)),
              1e-9);
}

TEST(ImpulseRewards, SplitModelEarnsAtHandDerivedRates) {
    TempDir dir;
    const std::string stem = generate(dir, "imp_split", "split");
    EXPECT_EQ(readFile(stem + ".imp"), "earned_rate\nearned\nearned_steady_rate\nearned_steady\n"
                                       "1\n0.0000000000e+00\n7.5000000000e+00\n"
                                       "0.0000000000e+00\n7.5000000000e+00\n"
                                       "2\n0.0000000000e+00\n1.0000000000e+00\n"
                                       "0.0000000000e+00\n1.0000000000e+00\n");
}

TEST(ImpulseRewards, WithoutTheFileAreTheFirstEntryImpulsesAndSaySo) {
    // .var gives state 1 (the initial state, which repairs return to) the
    // impulse 0 and state 2 the impulse of fail_soft, which reached it first.
    TempDir dir;
    const std::string stem = generate(dir, "imp_wear", "wear");
    ASSERT_EQ(std::remove((stem + ".imp").c_str()), 0);
    const Results wear = solve(stem);
    const double l = 1.5, m = 2.0;
    EXPECT_EQ(wear.at({"repairs", "10"}).value, 0.0);
    EXPECT_LT(relative(wear.at({"cost", "10"}).value, l * (10 - timeInSecond(l, m, 10))), 1e-9);
    EXPECT_EQ(wear.at({"cost", "10"}).method, "uniformization, first-entry impulses");
    EXPECT_EQ(wear.at({"cost_rate", "10"}).method, "uniformization");
    EXPECT_EQ(wear.at({"down_now", "0.5"}).method, "uniformization");

    const auto table = run(binary("gen-solve") + " " + stem);
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_NE(table.out.find("\nNOTE: no " + stem +
                             ".imp file: the values marked first-entry "
                             "impulses earn, on every transition into a state, the impulse of "
                             "the firing that first reached it (.var)\n"),
              std::string::npos)
        << table.out;
}

} // namespace
