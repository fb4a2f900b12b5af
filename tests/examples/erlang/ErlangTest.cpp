// The two-class server end to end: Erlang activities advance their phase
// counters before they fire, and the two service activities form one group whose
// probability splits the service rate and whose members age together. Expected
// files come from a hand derivation (experiment 1) and from an enumeration of the
// chain written here, independently of the generator (the other experiments).
//
// The phase counters belong to the activities, not to the state vector: a phase
// advance is a transition from the explored state to itself, and the counters
// carry over from one explored state to the next. Only an activity that is
// disabled after a real firing starts again at phase 1. The enumeration below
// keeps the counters the same way.

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

const testsupport::ModelUnderTest erlang{"gen-erlang", "er"};

// jobs and idle at time 50 (instant of time).
const std::vector<std::string> pvtypeLines = {"Version:1",  "NumPV:2",    "Name:jobs", "Type:0",
                                              "NumTimes:1", "Start:50",   "Stop:50",   "Name:idle",
                                              "Type:0",     "NumTimes:1", "Start:50",  "Stop:50"};

// Parameters of one experiment of the study.
struct Parameters {
    int C;
    double lambda_a, lambda_b, mu, w_a, w_b;
    int k_arrival, k_service;
};

const Parameters experiments[] = {
    {1, 0.5, 0.25, 4.0, 3.0, 1.0, 2, 2},  {2, 0.5, 0.25, 4.0, 3.0, 1.0, 2, 3},
    {3, 0.5, 0.25, 4.0, 3.0, 1.0, 3, 2},  {5, 0.5, 0.25, 4.0, 3.0, 1.0, 2, 4},
    {10, 0.5, 0.25, 4.0, 3.0, 1.0, 3, 3}, {2, 0.5, 0.25, 4.0, 1.0, 1.0, 2, 2}};

// The chain over (qa, qb), trying in each state arrive_a (exponential), arrive_b
// (Erlang, its own group), serve_a and serve_b (Erlang, the group server of two
// members). An Erlang activity short of its last phase advances: arrive_b alone
// at its full rate, a server member advances both members at half the rate;
// either way the state stays. Otherwise it fires at its rate times its share of
// the group, and every Erlang activity disabled in the state reached starts again
// at phase 1 (after any real firing, exponential too).
ExpectedRun enumerate(const Parameters& p) {
    using Marking = std::array<int, 2>;
    enum { arriveA, arriveB, serveA, serveB };
    int phase[4] = {1, 1, 1, 1};
    const int phases[4] = {1, p.k_arrival, p.k_service, p.k_service};
    const double rates[4] = {p.lambda_a, p.lambda_b, p.mu, p.mu};
    auto enabled = [&](int a, const Marking& m) {
        switch (a) {
        case arriveA:
            return m[0] < p.C;
        case arriveB:
            return m[1] < p.C;
        case serveA:
            return m[0] > 0;
        default:
            return m[1] > 0;
        }
    };
    auto fired = [](int a, Marking m) {
        m[a % 2] += a < serveA ? 1 : -1;
        return m;
    };
    // Share of a server member: its weight over the weights of the enabled members.
    auto share = [&](int a, const Marking& m) {
        if (a < serveA)
            return 1.0;
        double total = 0.0;
        if (enabled(serveA, m))
            total += p.w_a;
        if (enabled(serveB, m))
            total += p.w_b;
        return (a == serveA ? p.w_a : p.w_b) / total;
    };
    auto successors = [&](const Marking& state, long, auto&& emit) {
        for (int a = arriveA; a <= serveB; ++a) {
            if (!enabled(a, state))
                continue;
            if (a != arriveA && phase[a] != phases[a]) {
                if (a == arriveB) {
                    ++phase[a];
                    emit(state, rates[a]);
                } else {
                    ++phase[serveA];
                    ++phase[serveB];
                    emit(state, rates[a] / 2);
                }
                continue;
            }
            const Marking target = fired(a, state);
            for (int e = arriveB; e <= serveB; ++e)
                if (!enabled(e, target))
                    phase[e] = 1;
            emit(target, share(a, state) * rates[a]);
        }
    };
    std::ostringstream var;
    var << "jobs\nidle\n";
    auto reached = [&](const Marking& m, long number, double) {
        const int jobs = m[0] + m[1];
        var << number << "\n0\n" << jobs << "\n0\n" << (jobs == 0 ? 1 : 0) << '\n';
    };
    return testsupport::enumerateChain(Marking{0, 0}, successors, reached)
        .expectedRun(var.str(), joinLines(pvtypeLines));
}

// Experiment 1: C = 1, lambda_a 0.5, lambda_b 0.25, mu 4, w_a 3, w_b 1, two
// phases for arrive_b and for the service. States (qa, qb) in discovery order and
// the phases (arrive_b, serve_a, serve_b) as each state is explored:
//   1 (0,0), phases 1,1,1: arrive_a fires (0.5) -> 2 = (1,0); serve_b is disabled
//       there and stays at 1. arrive_b is at phase 1 of 2: it advances to 2 and
//       gives 1 -> 1 at its full rate 0.25.
//   2 (1,0), phases 2,1,1: arrive_b is ready and fires (0.25) -> 3 = (1,1); it is
//       disabled there and restarts at 1. serve_a is at phase 1: both members of
//       server advance to 2, 2 -> 2 at mu / 2 = 2.
//   3 (1,1), phases 1,2,2: serve_a fires with its share 3/4 of mu: 3 -> 4 = (0,1)
//       at 3, serve_a restarts at 1; serve_b fires with its share 1/4: 3 -> 2 at 1,
//       serve_b restarts at 1.
//   4 (0,1), phases 1,1,1: arrive_a fires (0.5) -> 3; serve_b at phase 1 advances
//       both members, 4 -> 4 at 2.
// clang-format off
const std::vector<std::string> experiment1Rows = {
    "1", "1", "2.5000000000e-01", "2", "5.0000000000e-01", "0",
    "2", "2", "2.0000000000e+00", "3", "2.5000000000e-01", "0",
    "3", "2", "1.0000000000e+00", "4", "3.0000000000e+00", "0",
    "4", "3", "5.0000000000e-01", "4", "2.0000000000e+00", "0"};
// clang-format on

// jobs and idle of each new state; no impulses.
// clang-format off
const std::vector<std::string> experiment1Var = {
    "jobs", "idle",
    "1", "0", "0", "0", "1",
    "2", "0", "1", "0", "0",
    "3", "0", "2", "0", "0",
    "4", "0", "1", "0", "0"};
// clang-format on

} // namespace

TEST(Erlang, FirstExperimentGivesTheHandDerivedFiles) {
    testsupport::expectHandDerivedFirstExperiment(
        erlang, testsupport::expectedFromLines(4, experiment1Rows, experiment1Var, pvtypeLines),
        enumerate(experiments[0]));
}

// Since the phase counters carry over between explored states, not every one of
// the (C + 1)^2 markings need be reached: experiment 3 (C = 3) reaches 11 of 16.
TEST(Erlang, LargerExperimentsMatchTheEnumeration) {
    const int reached[] = {4, 9, 11, 31, 109, 9};
    testsupport::expectLaterExperiments(
        erlang, 6, [](int e) { return enumerate(experiments[e]); },
        [&reached](int e, const ExpectedRun& expected) { EXPECT_EQ(expected.states, reached[e]); });
}

// With one phase per service an Erlang activity is ready at once: the service
// behaves as an exponential one split between the classes, and every marking is
// reached.
TEST(Erlang, SinglePhaseServiceNeverAdvancesPhases) {
    Parameters p = experiments[1];
    p.k_service = p.k_arrival = 1;
    const ExpectedRun expected = enumerate(p);
    EXPECT_EQ(expected.states, 9);
    expectGenerates(erlang, 1, expected, " -O i:k_service:1:i:k_arrival:1");
}
