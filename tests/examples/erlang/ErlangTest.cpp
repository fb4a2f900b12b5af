// The two-class server end to end: an erlang activity fires once per phase,
// and its phase counter is part of the state. The two service activities form
// one group, which shares one counter: the group is one delay whose completion
// goes to a member chosen by weight. Expected files come from a hand derivation
// (experiment 1) and from an enumeration of the chain written here,
// independently of the generator (the other experiments).
//
// A state is (qa, qb, arrive_b's phase, the server's phase), in the order of the
// state vector: the places, then the hidden counters. A phase advance moves to
// the state with the counter one higher; the last phase fires the activity and
// puts its counter to 0. After every firing that is not a phase advance, the
// counter of arrive_b goes to 0 when arrive_b is disabled, and the server's when
// neither service is enabled.

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

// The chain, trying in each state arrive_a (exponential), arrive_b (erlang,
// alone) and serve_a and serve_b (erlang, the group server) in model order, each
// at its rate times its share of its group.
ExpectedRun enumerate(const Parameters& p) {
    using State = std::array<int, 4>; // qa, qb, arrive_b's phase, server's phase
    enum { arriveA, arriveB, serveA, serveB };
    const double rates[4] = {p.lambda_a, p.lambda_b, p.mu, p.mu};
    auto enabled = [&](int a, const State& s) {
        switch (a) {
        case arriveA:
            return s[0] < p.C;
        case arriveB:
            return s[1] < p.C;
        case serveA:
            return s[0] > 0;
        default:
            return s[1] > 0;
        }
    };
    // Share of a server member: its weight over the weights of the enabled members.
    auto share = [&](int a, const State& s) {
        if (a < serveA)
            return 1.0;
        double total = 0.0;
        if (enabled(serveA, s))
            total += p.w_a;
        if (enabled(serveB, s))
            total += p.w_b;
        return (a == serveA ? p.w_a : p.w_b) / total;
    };
    auto fired = [&](int a, State s) {
        const int counter = a == arriveB ? 2 : 3;
        const int phases = a == arriveB ? p.k_arrival : p.k_service;
        if (a != arriveA && s[counter] + 1 < phases) {
            ++s[counter];
            return s;
        }
        if (a != arriveA)
            s[counter] = 0;
        s[a % 2] += a < serveA ? 1 : -1;
        if (!enabled(arriveB, s))
            s[2] = 0;
        if (!enabled(serveA, s) && !enabled(serveB, s))
            s[3] = 0;
        return s;
    };
    auto successors = [&](const State& state, long, auto&& emit) {
        for (int a = arriveA; a <= serveB; ++a)
            if (enabled(a, state))
                emit(fired(a, state), share(a, state) * rates[a]);
    };
    std::ostringstream var;
    var << "jobs\nidle\n";
    auto reached = [&](const State& s, long number, double) {
        const int jobs = s[0] + s[1];
        var << number << "\n0\n" << jobs << "\n0\n" << (jobs == 0 ? 1 : 0) << '\n';
    };
    return testsupport::enumerateChain(State{0, 0, 0, 0}, successors, reached)
        .expectedRun(var.str(), joinLines(pvtypeLines));
}

// Every counter value is reached: arrive_b's k_arrival values while qb < C (one
// otherwise), the server's k_service values while a job waits (one otherwise).
long statesOfTheChain(const Parameters& p) {
    long states = 0;
    for (int qa = 0; qa <= p.C; ++qa)
        for (int qb = 0; qb <= p.C; ++qb)
            states += (qb < p.C ? p.k_arrival : 1) * (qa + qb > 0 ? p.k_service : 1);
    return states;
}

// Experiment 1: C = 1, lambda_a 0.5, lambda_b 0.25, mu 4, w_a 3, w_b 1, two
// phases for arrive_b and for the service. States (qa, qb, arrive_b's phase,
// server's phase) in discovery order:
//   1 (0,0,0,0): arrive_a -> 2 (1,0,0,0) at 0.5; arrive_b advances -> 3 (0,0,1,0) at 0.25.
//   2 (1,0,0,0): arrive_b advances -> 4 (1,0,1,0) at 0.25; serve_a, alone enabled in
//       server (share 1), advances -> 5 (1,0,0,1) at 4.
//   3 (0,0,1,0): arrive_a -> 4 at 0.5; arrive_b completes -> 6 (0,1,0,0) at 0.25.
//   4 (1,0,1,0): arrive_b completes -> 7 (1,1,0,0) at 0.25; serve_a advances -> 8
//       (1,0,1,1) at 4.
//   5 (1,0,0,1): arrive_b advances -> 8 at 0.25; serve_a completes -> 1 at 4 (no job
//       waits: the server's counter stays 0).
//   6 (0,1,0,0): arrive_a -> 7 at 0.5; serve_b advances -> 9 (0,1,0,1) at 4.
//   7 (1,1,0,0): serve_a (share 3/4, 3) and serve_b (share 1/4, 1) both advance
//       the shared counter -> 10 (1,1,0,1) at 3 + 1 = 4.
//   8 (1,0,1,1): arrive_b completes -> 10 at 0.25; serve_a completes -> 3 (0,0,1,0)
//       at 4: arrive_b, still enabled, keeps its phase.
//   9 (0,1,0,1): arrive_a -> 10 at 0.5; serve_b completes -> 1 at 4.
//  10 (1,1,0,1): serve_a completes -> 6 (0,1,0,0) at 3; serve_b completes -> 2
//       (1,0,0,0) at 1.
// clang-format off
const std::vector<std::string> experiment1Rows = {
    "1", "2", "5.0000000000e-01", "3", "2.5000000000e-01", "0",
    "2", "4", "2.5000000000e-01", "5", "4.0000000000e+00", "0",
    "3", "4", "5.0000000000e-01", "6", "2.5000000000e-01", "0",
    "4", "7", "2.5000000000e-01", "8", "4.0000000000e+00", "0",
    "5", "1", "4.0000000000e+00", "8", "2.5000000000e-01", "0",
    "6", "7", "5.0000000000e-01", "9", "4.0000000000e+00", "0",
    "7", "10", "4.0000000000e+00", "0",
    "8", "3", "4.0000000000e+00", "10", "2.5000000000e-01", "0",
    "9", "1", "4.0000000000e+00", "10", "5.0000000000e-01", "0",
    "10", "2", "1.0000000000e+00", "6", "3.0000000000e+00", "0"};
// clang-format on

// jobs and idle of each new state; no impulses.
// clang-format off
const std::vector<std::string> experiment1Var = {
    "jobs", "idle",
    "1", "0", "0", "0", "1",
    "2", "0", "1", "0", "0",
    "3", "0", "0", "0", "1",
    "4", "0", "1", "0", "0",
    "5", "0", "1", "0", "0",
    "6", "0", "1", "0", "0",
    "7", "0", "2", "0", "0",
    "8", "0", "1", "0", "0",
    "9", "0", "1", "0", "0",
    "10", "0", "2", "0", "0"};
// clang-format on

} // namespace

TEST(Erlang, FirstExperimentGivesTheHandDerivedFiles) {
    testsupport::expectHandDerivedFirstExperiment(
        erlang, testsupport::expectedFromLines(10, experiment1Rows, experiment1Var, pvtypeLines),
        enumerate(experiments[0]));
}

TEST(Erlang, LargerExperimentsMatchTheEnumeration) {
    testsupport::expectLaterExperiments(
        erlang, 6, [](int e) { return enumerate(experiments[e]); },
        [](int e, const ExpectedRun& expected) {
            EXPECT_EQ(expected.states, statesOfTheChain(experiments[e]));
        });
}

// With one phase each, the erlang activities are exponential ones: the counters
// stay 0 and the chain is the (C + 1)^2 markings.
TEST(Erlang, SinglePhaseActivitiesAreExponential) {
    Parameters p = experiments[1];
    p.k_service = p.k_arrival = 1;
    const ExpectedRun expected = enumerate(p);
    EXPECT_EQ(expected.states, 9);
    expectGenerates(erlang, 1, expected, " -O i:k_service:1:i:k_arrival:1");
}
