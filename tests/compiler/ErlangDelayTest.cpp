// A model file's erlang activity gives the chain of an Erlang delay: its phases
// are states. Answers of gen-solve on the executables built from
// tests/compiler/models are compared with closed forms and with the same delay
// written out as phases counted in a place.
//
// One delay of k phases of rate r from an initial marking to an absorbing one:
//   P(T <= t) = 1 - sum over n < k of e^(-rt) (rt)^n / n!
// and the expected number of completions in [0, t] is the same probability.
// A machine that fails at rate lambda and is repaired in k phases of rate mu
// alternates up times of mean 1 / lambda and repair times of mean k / mu; by the
// renewal argument its long-run availability is (1 / lambda) / (1 / lambda + k / mu).

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

namespace {

// A value of gen-solve and the bound it gives on its error.
struct Solved {
    double value = 0.0, bound = 0.0;
};

// Each "variable@start" of gen-solve's CSV answer for one run of `model`.
std::map<std::string, Solved> solve(const std::string& model, int experiment) {
    TempDir dir;
    const std::string name = std::string("run") + std::to_string(experiment);
    const auto generated = run(binary("tests/gen-lang_" + model) + " -P" + dir.path() + " -N" +
                               name + " -B" + std::to_string(experiment));
    EXPECT_EQ(generated.status, 0) << generated.err;
    const auto solved =
        run(binary("gen-solve") + " -P" + dir.path() + " -N" + name + " --format csv");
    EXPECT_EQ(solved.status, 0) << solved.err;
    std::map<std::string, Solved> values;
    std::istringstream in(solved.out);
    std::string line;
    std::getline(in, line); // the heading
    while (std::getline(in, line)) {
        std::vector<std::string> f;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, ',');)
            f.push_back(cell);
        if (f.size() >= 6)
            values[f[0] + "@" + f[2]] = {std::stod(f[4]), std::stod(f[5])};
    }
    return values;
}

// P(T <= t) for T of k phases of rate r, summed in long double.
double erlangCdf(double r, int k, double t) {
    long double term = std::exp(-static_cast<long double>(r) * t), sum = 0.0L;
    for (int n = 0; n < k; ++n) {
        sum += term;
        term *= static_cast<long double>(r) * t / (n + 1);
    }
    return static_cast<double>(1.0L - sum);
}

struct Delay {
    double r;
    int k;
};
// The study of erlangdelay.san and erlangphases.san, experiment by experiment.
const Delay delays[] = {{1.5, 1}, {1.5, 2}, {0.7, 5}, {2.0, 10}};

// Within 1e-9 of the expected value, or within the solver's own error bound,
// which is absolute and decides for the smallest probabilities.
void expectClose(const Solved& actual, double expected, const std::string& what) {
    EXPECT_NEAR(actual.value, expected, std::max(1e-9 * std::fabs(expected), actual.bound)) << what;
}

} // namespace

TEST(ErlangDelay, AbsorptionFollowsTheErlangDistributionFunction) {
    for (int e = 0; e < 4; ++e) {
        SCOPED_TRACE("experiment " + std::to_string(e + 1));
        const Delay d = delays[e];
        const auto values = solve("erlangdelay", e);
        for (double t : {0.5, 1.0, 3.0, 8.0}) {
            std::ostringstream key;
            key << "finished@" << t;
            ASSERT_EQ(values.count(key.str()), 1u) << key.str();
            expectClose(values.at(key.str()), erlangCdf(d.r, d.k, t), key.str());
        }
        // An impulse is earned at the completion only, not at the phase advances.
        ASSERT_EQ(values.count("completions@0"), 1u);
        expectClose(values.at("completions@0"), erlangCdf(d.r, d.k, 3.0), "completions");
    }
}

TEST(ErlangDelay, AgreesWithThePhasesWrittenOutInAPlace) {
    for (int e = 0; e < 4; ++e) {
        SCOPED_TRACE("experiment " + std::to_string(e + 1));
        const auto erlang = solve("erlangdelay", e);
        const auto phases = solve("erlangphases", e);
        ASSERT_EQ(erlang.size(), 5u);
        ASSERT_EQ(phases.size(), erlang.size());
        // The same chain up to the order of its states: the same answers to 1e-9.
        for (const auto& [key, solved] : phases) {
            ASSERT_EQ(erlang.count(key), 1u) << key;
            EXPECT_NEAR(erlang.at(key).value, solved.value, 1e-9 * std::fabs(solved.value)) << key;
        }
    }
}

TEST(ErlangDelay, MachineWithErlangRepairHasTheRenewalAvailability) {
    struct Case {
        double lambda, mu;
        int k;
    };
    const Case cases[] = {{0.1, 2.0, 1}, {0.1, 2.0, 3}, {0.5, 4.0, 10}};
    for (int e = 0; e < 3; ++e) {
        SCOPED_TRACE("experiment " + std::to_string(e + 1));
        const Case& c = cases[e];
        const auto values = solve("repair", e);
        ASSERT_EQ(values.count("available@0"), 1u);
        const double up = 1.0 / c.lambda, repair = c.k / c.mu;
        expectClose(values.at("available@0"), up / (up + repair), "availability");
    }
}

// work (3 phases of rate 2) beside the deterministic report, explored on the
// generator's deterministic path. States (idle, busy, reports, work's phase) in
// discovery order: 1 (1,0,0,0), 2 (1,0,0,1), 3 (1,0,1,0), 4 (1,0,0,2),
// 5 (1,0,1,1), 6 (0,1,0,0), 7 (1,0,1,2), 8 (0,1,1,0). A phase advance or the
// completion of work goes at 2, rest at 1, and report (enabled while reports is
// 0: states 1, 2, 4, 6) is written with its share as -1.
TEST(ErlangDelay, ExploresBesideADeterministicActivity) {
    TempDir dir;
    const auto r = testsupport::runModel("tests/gen-lang_erlangdet", dir, "d", 0);
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    EXPECT_NE(r.result.out.find("Generated: 8 states\n"), std::string::npos) << r.result.out;
    const std::string two = "2.0000000000e+00", one = "1.0000000000e+00",
                      share = "-1.0000000000e+00";
    const std::vector<std::string> rows = {"1",   "2", two, "3", share, "0", "2", "4", two, "5",
                                           share, "0", "3", "5", two,   "0", "4", "6", two, "7",
                                           share, "0", "5", "7", two,   "0", "6", "1", one, "8",
                                           share, "0", "7", "8", two,   "0", "8", "3", one, "0"};
    EXPECT_EQ(r.arm, testsupport::armHeader(8, 8) + testsupport::joinLines(rows));
    EXPECT_EQ(r.det, testsupport::joinLines({"1", "5.0000000000e+00", "1", "2", "4", "6", "0"}));
}
