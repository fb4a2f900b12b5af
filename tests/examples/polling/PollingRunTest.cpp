// gen-polling from end to end: the files of N = 2 against files derived by
// hand, and the .arm and .var files of other N against a brute-force
// enumeration of the polling chain written here, independently of the model
// classes and of the generator, whose counts follow 3N·2^(N-1) states and
// N(3N+5)·2^(N-2) transitions.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using testsupport::ModelRun;
using testsupport::TempDir;

namespace {

ModelRun runPolling(const TempDir& dir, int experiment, const std::string& extra = "") {
    return testsupport::runModel("gen-polling", dir, "polling", experiment, extra);
}

// The chain the model describes, enumerated breadth-first with the successors
// in the model's activity order (arrival at station 1 .. N, skip, start, serve),
// which is the order in which the generator numbers new states, and written as
// the .arm (rates through the stream's scientific notation) and .var files.
struct PollingChain {
    long states = 0, transitions = 0;
    std::string arm, var = "waiting\n";

    explicit PollingChain(int n) {
        struct State {
            std::uint32_t occupied; // bit s: station s holds a job
            int server;             // visited station, from 0
            bool serving;
        };
        std::map<std::uint64_t, long> number;
        std::vector<State> found;
        auto numberOf = [&](const State& s) {
            std::uint64_t key = std::uint64_t{s.occupied} << 17 | std::uint64_t(s.server) << 1;
            auto [it, isNew] = number.emplace(key | s.serving, static_cast<long>(found.size()) + 1);
            if (isNew)
                found.push_back(s);
            return it->second;
        };
        numberOf(State{0, 0, false});
        std::ostringstream rows;
        rows.setf(std::ios::scientific, std::ios::floatfield);
        rows.precision(10);
        for (std::size_t i = 0; i < found.size(); ++i) {
            const State s = found[i];
            const std::uint32_t here = 1u << s.server;
            const int next = (s.server + 1) % n;
            std::map<long, double> targets;
            for (int station = 0; station < n; ++station)
                if (!(s.occupied & (1u << station)))
                    targets[numberOf({s.occupied | 1u << station, s.server, s.serving})] += 1.0 / n;
            if (s.serving)
                targets[numberOf({s.occupied & ~here, next, false})] += 1.0;
            else if (s.occupied & here)
                targets[numberOf({s.occupied, s.server, true})] += 200.0;
            else
                targets[numberOf({s.occupied, next, false})] += 200.0;
            rows << i + 1 << '\n';
            for (auto [target, rate] : targets)
                rows << target << '\n' << rate << '\n';
            rows << "0\n";
            transitions += static_cast<long>(targets.size());
            var +=
                std::to_string(i + 1) + "\n0\n" + std::to_string(std::popcount(s.occupied)) + '\n';
        }
        states = static_cast<long>(found.size());
        arm = testsupport::armHeader(static_cast<int>(states)) + rows.str();
    }
};

// Whole-file equality without dumping files of thousands of lines on failure.
void expectSame(const std::string& got, const std::string& want, const char* file) {
    auto at = std::mismatch(got.begin(), got.end(), want.begin(), want.end()).first - got.begin();
    EXPECT_TRUE(got == want) << file << " differs from byte " << at << ": "
                             << got.substr(static_cast<std::size_t>(at), 80);
}

} // namespace

TEST(PollingRun, TwoStationsGiveTheFilesDerivedByHand) {
    TempDir dir;
    ModelRun r = runPolling(dir, 0);
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    EXPECT_EQ(r.result.err, "");
    const std::string hand = testsupport::testdata("examples/polling/N2.");
    EXPECT_EQ(r.arm, testsupport::readFile(hand + "arm"));
    EXPECT_EQ(r.var, testsupport::readFile(hand + "var"));
    EXPECT_EQ(r.pvtype, testsupport::readFile(hand + "pvtype"));
    EXPECT_NE(r.result.out.find("N\tint\t2\n"), std::string::npos) << r.result.out;
    EXPECT_NE(r.result.out.find("Generated: 12 states\n"), std::string::npos) << r.result.out;
}

TEST(PollingRun, FilesMatchTheEnumerationWhoseCountsFollowTheFormulas) {
    for (int n = 2; n <= 8; ++n) {
        SCOPED_TRACE("N = " + std::to_string(n));
        const PollingChain chain(n);
        EXPECT_EQ(chain.states, 3L * n << (n - 1));
        EXPECT_EQ(chain.transitions, (long(n) * (3 * n + 5) << n) / 4);
        TempDir dir;
        ModelRun r = runPolling(dir, n - 2);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        expectSame(r.arm, chain.arm, "arm");
        expectSame(r.var, chain.var, "var");
    }
}

TEST(PollingRun, AnOverrideSetsNBeyondTheExperiments) {
    // With N = 1, skipping the one station polls it again: a self-transition.
    EXPECT_EQ(PollingChain(1).arm, testsupport::armHeader(3) +
                                       "1\n1\n2.0000000000e+02\n2\n1.0000000000e+00\n0\n"
                                       "2\n3\n2.0000000000e+02\n0\n3\n1\n1.0000000000e+00\n0\n");
    for (int n : {1, 5}) {
        TempDir dir;
        ModelRun r = runPolling(dir, 0, " -O i:N:" + std::to_string(n));
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        EXPECT_NE(r.result.out.find("N\tint\t2\n"), std::string::npos) << r.result.out;
        EXPECT_NE(r.result.out.find("Overriding global variables in ssg\n"), std::string::npos);
        const PollingChain chain(n);
        EXPECT_EQ(r.arm, chain.arm);
        EXPECT_EQ(r.var, chain.var);
    }
}

TEST(PollingRun, AStationCountTheModelCannotHoldEndsTheRun) {
    for (const char* n : {"0", "-3", "32768"}) {
        TempDir dir;
        ModelRun r = runPolling(dir, 0, std::string(" -O i:N:") + n);
        EXPECT_EQ(r.result.status, 1);
        EXPECT_EQ(r.result.err,
                  std::string("!! pollingSAN::pollingSAN: the number of stations N = ") + n +
                      " is outside 1..32767\n");
        EXPECT_FALSE(testsupport::fileExists(dir.path() + "polling.arm"));
    }
}
