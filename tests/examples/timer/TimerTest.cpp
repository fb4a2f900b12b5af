// The sensor-report model end to end: two deterministic timers (the reporting
// period and the acknowledgement timeout) beside an exponential acknowledgement
// and an instantaneous loss decision. Transitions caused by a deterministic
// activity carry minus their probability, and the .det file lists, per delay,
// the states in which such an activity is enabled. Expected files come from a
// hand derivation (experiment 1) and from an enumeration of the chain written
// here, independently of the generator (the other experiments).

#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using testsupport::ExpectedRun;
using testsupport::expectGenerates;
using testsupport::joinLines;

namespace {

// The deterministic path leaves 8 blanks on the .arm file's placeholder line.
std::string armHeader(int states) {
    return testsupport::armHeader(states, 8);
}

const testsupport::ModelUnderTest timer{"gen-timer", "tm"};

// outstanding at time 100 (instant of time), losses over [0, 100] (interval of
// time).
const std::vector<std::string> pvtypeLines = {
    "Version:1", "NumPV:2",     "Name:outstanding", "Type:0",     "NumTimes:1", "Start:100",
    "Stop:100",  "Name:losses", "Type:1",           "NumTimes:1", "Start:0",    "Stop:100"};

// Parameters of one experiment of the study.
struct Parameters {
    int R;
    double P, T, mu, loss;
};

const Parameters experiments[] = {{1, 10.0, 2.0, 0.5, 0.25},
                                  {3, 10.0, 2.0, 0.5, 0.25},
                                  {2, 2.0, 2.0, 0.5, 0.25},
                                  {2, 10.0, 2.0, 0.5, 0.0},
                                  {10, 10.0, 2.5, 0.5, 0.1}};

// The stable states (idle, sent, lost, retries), trying report (deterministic,
// delay P), ack (exponential, rate mu) and timeout (deterministic, delay T) in this
// order. A deterministic firing counts minus its probability, an exponential one
// its rate; a transmission then ends in zero time as deliver or lose, with their
// weights' shares of the group channel (a share of 0 is no transition). Every new
// state records whether the sensor waits and the impulse of the last firing (1
// for lose).
ExpectedRun enumerate(const Parameters& p) {
    using Marking = std::array<int, 4>;           // idle, sent, lost, retries
    std::vector<double> delays;                   // in order of first appearance
    std::map<double, std::vector<long>> enabling; // delay -> enabling states
    auto enabledWithDelay = [&](long state, double delay) {
        if (!enabling.count(delay))
            delays.push_back(delay);
        enabling[delay].push_back(state);
    };
    auto successors = [&](const Marking& m, long state, auto&& emit) {
        const auto [idle, sent, lost, retries] = m;
        // A transmission with the given retry count, reached by a deterministic firing.
        auto transmit = [&](int tries) {
            const double total = (1.0 - p.loss) + p.loss;
            emit(Marking{0, 1, 0, tries}, (1.0 - p.loss) / total * -1.0);
            emit(Marking{0, 0, 1, tries}, p.loss / total * -1.0, 1.0);
        };
        if (idle > 0) {
            enabledWithDelay(state, p.P);
            transmit(0);
        }
        if (sent > 0)
            emit(Marking{1, 0, 0, 0}, p.mu);
        if (sent > 0 || lost > 0) {
            enabledWithDelay(state, p.T);
            if (retries < p.R)
                transmit(retries + 1);
            else
                emit(Marking{1, 0, 0, 0}, -1.0);
        }
    };
    std::ostringstream var;
    var << "outstanding\nlosses\n";
    auto reached = [&](const Marking& m, long number, double lossImpulse) {
        var << number << "\n0\n" << (m[0] == 0 ? 1 : 0) << '\n' << lossImpulse << "\n0\n";
    };
    const testsupport::ReferenceChain chain =
        testsupport::enumerateChain(Marking{1, 0, 0, 0}, successors, reached);
    std::ostringstream det;
    det << std::scientific << std::setprecision(10);
    det << delays.size() << '\n';
    for (double delay : delays) {
        det << delay << '\n';
        for (long state : enabling[delay])
            det << state << '\n';
        det << 0 << '\n';
    }
    return chain.expectedRun(var.str(), joinLines(pvtypeLines), det.str(), 8);
}

// Experiment 1: R = 1, P 10, T 2, mu 0.5, loss 0.25. States (idle, pending,
// sent, lost, retries) in discovery order:
//   1 (1,0,0,0,0) initial. report (deterministic, probability 1) makes a
//       transmission: deliver (share 0.75) -> 2 = (0,0,1,0,0) at -0.75, lose
//       (share 0.25) -> 3 = (0,0,0,1,0) at -0.25. State 1 is enabling for delay 10.
//   2: ack (0.5) -> 1; timeout (delay 2), retries 0 < 1: a retransmission,
//       deliver -> 4 = (0,0,1,0,1) at -0.75, lose -> 5 = (0,0,0,1,1) at -0.25.
//   3: timeout only -> 4 at -0.75, 5 at -0.25.
//   4: ack (0.5) -> 1 and timeout with retries 1 = R: given up -> 1 at -1; both
//       land in one entry, 0.5 - 1 = -0.5.
//   5: timeout, given up -> 1 at -1.
// The .var records show the wait (outstanding 1) in states 2 to 5 and the
// impulse 1 of lose in the records of the states it reached first, 3 and 5.
// clang-format off
const std::vector<std::string> experiment1Rows = {
    "1", "2", "-7.5000000000e-01", "3", "-2.5000000000e-01", "0",
    "2", "1", "5.0000000000e-01",  "4", "-7.5000000000e-01", "5", "-2.5000000000e-01", "0",
    "3", "4", "-7.5000000000e-01", "5", "-2.5000000000e-01", "0",
    "4", "1", "-5.0000000000e-01", "0",
    "5", "1", "-1.0000000000e+00", "0"};
// clang-format on

// clang-format off
const std::vector<std::string> experiment1Var = {
    "outstanding", "losses",
    "1", "0", "0", "0", "0",
    "2", "0", "1", "0", "0",
    "3", "0", "1", "1", "0",
    "4", "0", "1", "0", "0",
    "5", "0", "1", "1", "0"};
// clang-format on

// Two delays: 10 (report, enabled in state 1) and 2 (timeout, states 2 to 5).
// clang-format off
const std::vector<std::string> experiment1Det = {
    "2", "1.0000000000e+01", "1", "0", "2.0000000000e+00", "2", "3", "4", "5", "0"};
// clang-format on

} // namespace

TEST(Timer, FirstExperimentGivesTheHandDerivedFiles) {
    testsupport::expectHandDerivedFirstExperiment(
        timer,
        testsupport::expectedFromLines(5, experiment1Rows, experiment1Var, pvtypeLines,
                                       experiment1Det, 8),
        enumerate(experiments[0]));
}

// 2R + 3 states (idle, and sent or lost with 0 to R retries); with a perfect link
// (experiment 4) no transmission is lost: R + 2 states. With equal delays
// (experiment 3) the .det file has one group holding every state.
TEST(Timer, LargerExperimentsMatchTheEnumeration) {
    testsupport::expectLaterExperiments(
        timer, 5, [](int e) { return enumerate(experiments[e]); },
        [](int e, const ExpectedRun& expected) {
            const Parameters& p = experiments[e];
            EXPECT_EQ(expected.states, p.loss == 0.0 ? p.R + 2 : 2 * p.R + 3);
            if (p.P == p.T) {
                EXPECT_EQ(expected.det.substr(0, 2), "1\n");
            }
        });
}

// Without retransmissions the timeout always gives up, so from the state in which
// the report was delivered the acknowledgement (mu) and the timeout (-1) reach
// the idle state together: one entry mu - 1.
TEST(Timer, AcknowledgementAndGiveUpShareOneEntry) {
    Parameters p = experiments[0];
    p.R = 0;
    p.mu = 0.25;
    const ExpectedRun expected = enumerate(p);
    EXPECT_EQ(expected.states, 3);
    // clang-format off
    EXPECT_EQ(expected.arm, armHeader(3) + joinLines({
                                "1", "2", "-7.5000000000e-01", "3", "-2.5000000000e-01", "0",
                                "2", "1", "-7.5000000000e-01", "0",
                                "3", "1", "-1.0000000000e+00", "0"}));
    // clang-format on
    expectGenerates(timer, 0, expected, " -O i:R:0:d:mu:0.25");
}
