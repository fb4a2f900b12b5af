// gen-polling from end to end: the files of N = 2 against files derived by
// hand, the state and transition counts against 3N·2^(N-1) and
// N(3N+5)·2^(N-2), and every row and reward record against a brute-force
// enumeration of the polling chain written here, independently of the model
// classes and of the generator.

#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

using testsupport::ArmFile;
using testsupport::binary;
using testsupport::parseArm;
using testsupport::readFile;
using testsupport::run;
using testsupport::RunResult;
using testsupport::TempDir;
using testsupport::testdata;

namespace {

using Row = testsupport::ChainRow;

// The chain the model describes, with the successors in the model's activity
// order (arrival at station 1 .. N, skip, start, serve), which is the order in
// which the generator numbers new states.
struct PollingChain {
    testsupport::ReferenceChain chain;
    std::vector<int> jobs; // jobs[i]: stations holding a job in state i + 1

    explicit PollingChain(int n) {
        struct State {
            std::uint32_t occupied; // bit s: station s holds a job
            int server;             // visited station, from 0
            bool serving;
            auto operator<=>(const State&) const = default;
        };
        auto successors = [n](const State& s, long, auto&& emit) {
            const std::uint32_t here = 1u << s.server;
            for (int station = 0; station < n; ++station)
                if (!(s.occupied & (1u << station)))
                    emit(State{s.occupied | (1u << station), s.server, s.serving}, 1.0 / n);
            if (!s.serving && !(s.occupied & here))
                emit(State{s.occupied, (s.server + 1) % n, false}, 200.0);
            if (!s.serving && (s.occupied & here))
                emit(State{s.occupied, s.server, true}, 200.0);
            if (s.serving)
                emit(State{s.occupied & ~here, (s.server + 1) % n, false}, 1.0);
        };
        auto reached = [this](const State& s, long, double) {
            jobs.push_back(std::popcount(s.occupied));
        };
        chain = testsupport::enumerateChain(State{0, 0, false}, successors, reached);
    }
};

long expectedStates(int n) {
    return 3L * n << (n - 1);
}
long expectedTransitions(int n) {
    return (long(n) * (3 * n + 5) << n) / 4;
}

// The .var file read back: the header names and, per state, its rate reward
// (the impulse reward must be 0: the model has none).
std::vector<double> parseVarRewards(const std::string& text) {
    std::istringstream in(text);
    std::string line;
    EXPECT_TRUE(std::getline(in, line) && line == "waiting");
    std::vector<double> rewards;
    long expectedState = 1;
    while (std::getline(in, line)) {
        EXPECT_EQ(std::stol(line), expectedState++);
        std::string impulse, rate;
        std::getline(in, impulse);
        std::getline(in, rate);
        EXPECT_EQ(impulse, "0");
        rewards.push_back(std::stod(rate));
    }
    return rewards;
}

RunResult runPolling(const TempDir& dir, const std::string& options) {
    return run(binary("gen-polling") + " -P" + dir.path() + " -Npolling " + options);
}

RunResult runExperiment(const TempDir& dir, int n) {
    return runPolling(dir, "-B" + std::to_string(n - 2));
}

// The run's .arm rows and .var rewards, checked against the enumeration.
void expectTheChain(const TempDir& dir, const PollingChain& chain) {
    const ArmFile arm = parseArm(readFile(dir.path() + "polling.arm"));
    ASSERT_EQ(arm.rows.size(), chain.chain.rows.size());
    for (std::size_t i = 0; i < arm.rows.size(); ++i) {
        const Row& got = arm.rows[i];
        const Row& want = chain.chain.rows[i];
        ASSERT_EQ(got.size(), want.size()) << "row " << i + 1;
        for (std::size_t k = 0; k < want.size(); ++k) {
            ASSERT_EQ(got[k].first, want[k].first) << "row " << i + 1;
            // Rates are written with 11 significant digits.
            ASSERT_NEAR(got[k].second, want[k].second, want[k].second * 1e-10) << "row " << i + 1;
        }
    }
    const std::vector<double> rewards = parseVarRewards(readFile(dir.path() + "polling.var"));
    ASSERT_EQ(rewards.size(), chain.jobs.size());
    for (std::size_t i = 0; i < rewards.size(); ++i)
        ASSERT_EQ(rewards[i], chain.jobs[i]) << "state " << i + 1;
}

} // namespace

TEST(PollingRun, TwoStationsGiveTheFilesDerivedByHand) {
    TempDir dir;
    RunResult r = runExperiment(dir, 2);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(readFile(dir.path() + "polling.arm"), readFile(testdata("examples/polling/N2.arm")));
    EXPECT_EQ(readFile(dir.path() + "polling.var"), readFile(testdata("examples/polling/N2.var")));
    EXPECT_EQ(readFile(dir.path() + "polling.pvtype"),
              readFile(testdata("examples/polling/N2.pvtype")));
    EXPECT_NE(r.out.find("N\tint\t2\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Generated: 12 states\n"), std::string::npos) << r.out;
}

TEST(PollingRun, CountsFollowTheFormulasAndRowsMatchABruteForceEnumeration) {
    for (int n = 2; n <= 8; ++n) {
        SCOPED_TRACE("N = " + std::to_string(n));
        TempDir dir;
        RunResult r = runExperiment(dir, n);
        ASSERT_EQ(r.status, 0) << r.err;
        const ArmFile arm = parseArm(readFile(dir.path() + "polling.arm"));
        EXPECT_EQ(arm.states, expectedStates(n));
        EXPECT_EQ(arm.transitions(), expectedTransitions(n));
        expectTheChain(dir, PollingChain(n));
    }
}

TEST(PollingRun, AnOverrideSetsNBeyondTheExperiment) {
    TempDir dir;
    RunResult r = runPolling(dir, "-B0 -O i:N:5");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("N\tint\t2\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Overriding global variables in ssg\n"), std::string::npos);
    ArmFile arm = parseArm(readFile(dir.path() + "polling.arm"));
    EXPECT_EQ(arm.states, expectedStates(5));
    EXPECT_EQ(arm.transitions(), expectedTransitions(5));
}

TEST(PollingRun, OneStationServesItselfOnly) {
    // N = 1 lies outside the experiments but is a valid system: skipping the one
    // station polls it again, a self-transition.
    TempDir dir;
    RunResult r = runPolling(dir, "-B0 -O i:N:1");
    ASSERT_EQ(r.status, 0) << r.err;
    ArmFile arm = parseArm(readFile(dir.path() + "polling.arm"));
    ASSERT_EQ(arm.states, 3);
    EXPECT_EQ(arm.rows[0], (Row{{1, 200.0}, {2, 1.0}}));
    EXPECT_EQ(arm.rows[1], (Row{{3, 200.0}}));
    EXPECT_EQ(arm.rows[2], (Row{{1, 1.0}}));
}

TEST(PollingRun, AStationCountTheModelCannotHoldEndsTheRun) {
    for (const char* n : {"0", "-3", "32768"}) {
        TempDir dir;
        RunResult r = runPolling(dir, std::string("-B0 -O i:N:") + n);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, std::string("!! pollingSAN::pollingSAN: the number of stations N = ") + n +
                             " is outside 1..32767\n");
        EXPECT_FALSE(testsupport::fileExists(dir.path() + "polling.arm"));
    }
}

// Larger systems cross growths of the store's index (the load factor 0.1 puts
// them at states 13108 and 39321) while successors of several states are in
// flight between their firing and their lookup: rows and rewards still follow
// the enumeration.
TEST(PollingRun, RowsStayExactAcrossGrowthsOfTheIndex) {
    const int n = 12;
    TempDir dir;
    RunResult r = runPolling(dir, "-B0 -h0.1 -O i:N:" + std::to_string(n));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(parseArm(readFile(dir.path() + "polling.arm")).states, expectedStates(n));
    expectTheChain(dir, PollingChain(n));
}

// Without a trace the successors of the next states are fired before the
// present state's lookups; with one, each state is explored on its own, and at
// level 4 action by action. All three write the same files.
TEST(PollingRun, TracedAndUntracedExplorationsWriteTheSameFiles) {
    TempDir plain, traced, detailed;
    const std::string options = "-B0 -h0.05 -O i:N:10";
    RunResult r = runPolling(plain, options);
    ASSERT_EQ(r.status, 0) << r.err;
    r = runPolling(traced, options + " -l1 -t" + traced.path() + "trace.txt");
    ASSERT_EQ(r.status, 0) << r.err;
    r = runPolling(detailed, options + " -l4 -t" + detailed.path() + "trace.txt");
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* file : {"polling.arm", "polling.var"}) {
        const std::string expected = readFile(plain.path() + file);
        EXPECT_EQ(readFile(traced.path() + file), expected) << file;
        EXPECT_EQ(readFile(detailed.path() + file), expected) << file;
    }
}
