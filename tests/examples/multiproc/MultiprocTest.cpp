// The multiprocessor model end to end: instantaneous activities with weights and
// ranks decide each failure in zero time, an impulse reward counts the cost of
// uncovered failures and repairs. Expected files come from a hand derivation
// (experiment 1) and from an enumeration of the model's chain written here,
// independently of the generator (the other experiments).

#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <vector>

using testsupport::ExpectedRun;
using testsupport::expectGenerates;
using testsupport::joinLines;

namespace {

const testsupport::ModelUnderTest multiproc{"gen-multiproc", "mp"};

// availability at times 10, 100 and 1000 (instant of time); cost over [0, 1000]
// (interval of time).
const std::vector<std::string> pvtypeLines = {
    "Version:1", "NumPV:2",    "Name:availability", "Type:0",     "NumTimes:3", "Start:10",
    "Stop:10",   "Start:100",  "Stop:100",          "Start:1000", "Stop:1000",  "Name:cost",
    "Type:1",    "NumTimes:1", "Start:0",           "Stop:1000"};

// Parameters of one experiment of the study.
struct Parameters {
    int K;
    double lambda, mu, rho, coverage, crash_cost;
};

Parameters experiment(int e, int K) {
    const double coverage = e == 5 ? 1.0 : 0.95;
    return {K, 0.001, 0.1, 1.0, coverage, 100.0};
}

// The multiprocessor's stable states (up, down, crashed) with the activities
// tried in the order fail, repair, reboot; a failure is then decided by exhausted
// (rank 2, when no processor is left working) or else by covered / uncovered in
// proportion to their weights. Every new state records the availability of the
// state and the impulse of the last firing that reached it (of the variable cost).
ExpectedRun enumerate(const Parameters& p) {
    using Marking = std::array<int, 3>; // up, down, crashed
    auto successors = [&](const Marking& state, long, auto&& emit) {
        const auto [up, down, crashed] = state;
        if (up > 0 && crashed == 0) {
            const double rate = p.lambda * up;
            if (up == 1) {
                emit(Marking{0, down + 1, 0}, rate);
            } else {
                const double total = p.coverage + (1.0 - p.coverage);
                emit(Marking{up - 1, down + 1, 0}, p.coverage / total * rate);
                emit(Marking{up - 1, down + 1, 1}, (1.0 - p.coverage) / total * rate, p.crash_cost);
            }
        }
        if (down > 0)
            emit(Marking{up + 1, down - 1, crashed}, p.mu, 1.0);
        if (crashed > 0)
            emit(Marking{up, down, 0}, p.rho);
    };
    std::ostringstream var;
    var << "availability\ncost\n";
    auto reached = [&](const Marking& m, long number, double impulse) {
        const double availability = m[0] > 0 && m[2] == 0 ? 1.0 : 0.0;
        var << number << '\n'
            << 0.0 << '\n'
            << availability << '\n'
            << impulse << '\n'
            << 0.0 << '\n';
    };
    return testsupport::enumerateChain(Marking{p.K, 0, 0}, successors, reached)
        .expectedRun(var.str(), joinLines(pvtypeLines));
}

// Experiment 1: K = 2, lambda 0.001, mu 0.1, rho 1, coverage 0.95, crash_cost 100.
// States in discovery order, as (up, failing, down, crashed):
//   1 (2,0,0,0) initial: availability 1.
//   2 (1,0,1,0) from 1 by fail (rate 2 * 0.001) and covered (weight 0.95 of the
//               total 1): 0.0019.
//   3 (1,0,1,1) from 1 by fail and uncovered (weight 0.05): 0.0001; the record
//               carries uncovered's impulse crash_cost = 100; availability 0.
//   4 (0,0,2,0) from 2 by fail (rate 0.001): failing = 1 and up = 0 enable
//               exhausted (rank 2), covered and uncovered (rank 1); only exhausted
//               fires, so there is no crash: availability 0, impulse 0.
//   5 (2,0,0,1) from 3 by repair (rate 0.1): repair's impulse 1; still crashed.
// Further rows: 2 -> 1 by repair (0.1); 3 -> 2 by reboot (1); 4 -> 2 by repair;
// 5 -> 1 by reboot. fail is disabled while crashed.
// clang-format off
const std::vector<std::string> experiment1Rows = {
    "1", "2", "1.9000000000e-03", "3", "1.0000000000e-04", "0",
    "2", "1", "1.0000000000e-01", "4", "1.0000000000e-03", "0",
    "3", "2", "1.0000000000e+00", "5", "1.0000000000e-01", "0",
    "4", "2", "1.0000000000e-01", "0",
    "5", "1", "1.0000000000e+00", "0"};
// clang-format on

// clang-format off
const std::vector<std::string> experiment1Var = {
    "availability", "cost",
    "1", "0", "1", "0", "0",
    "2", "0", "1", "0", "0",
    "3", "0", "0", "100", "0",
    "4", "0", "0", "0", "0",
    "5", "0", "0", "1", "0"};
// clang-format on

} // namespace

TEST(Multiproc, FirstExperimentGivesTheHandDerivedFiles) {
    testsupport::expectHandDerivedFirstExperiment(
        multiproc, testsupport::expectedFromLines(5, experiment1Rows, experiment1Var, pvtypeLines),
        enumerate(experiment(0, 2)));
}

// Experiments 2 to 5 have K = 3, 5, 10, 20 with imperfect coverage: 2K + 1 states
// (K + 1 without crash, K crashed ones from up = 1 to K) and 5K - 2 transitions.
// Experiment 6 has K = 3 and perfect coverage: uncovered gets probability 0, so no
// crashed state is reached: K + 1 states and 2K transitions.
TEST(Multiproc, LargerExperimentsMatchTheEnumeration) {
    const int Ks[] = {2, 3, 5, 10, 20, 3};
    testsupport::expectLaterExperiments(
        multiproc, 6, [&Ks](int e) { return enumerate(experiment(e, Ks[e])); },
        [&Ks](int e, const ExpectedRun& expected) {
            const int K = Ks[e];
            if (e == 5) {
                EXPECT_EQ(expected.states, K + 1);
                EXPECT_EQ(expected.transitions, 2 * K);
            } else {
                EXPECT_EQ(expected.states, 2 * K + 1);
                EXPECT_EQ(expected.transitions, 5 * K - 2);
            }
        });
}

// The processor count is an int global variable: the override letter i sets it,
// and the initial marking of up follows it.
TEST(Multiproc, OverridingTheProcessorCountRebuildsTheModel) {
    Parameters p = experiment(0, 4);
    p.coverage = 0.5;
    const ExpectedRun expected = enumerate(p);
    EXPECT_EQ(expected.states, 9);
    expectGenerates(multiproc, 0, expected, " -O i:K:4:d:coverage:0.5");
}
