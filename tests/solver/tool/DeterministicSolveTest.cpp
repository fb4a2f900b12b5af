// gen-solve on runs with deterministic activities: the timer model's long-run
// values against a hand derivation, the disk array's probability of data loss
// within a year against an independent series, and the table of inputs the
// regenerative solver refuses (one line on standard error, status 1), and the
// impulses of deterministic firings on the cycle model.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

struct Row {
    double value = 0.0;
    double bound = 0.0;
    std::string method;
};

// gen-solve's CSV results by "variable@stop" ("inf" for long-run values).
std::map<std::string, Row> solveCsv(const std::string& stem, const std::string& options = "") {
    const auto result = run(binary("gen-solve") + " " + stem + " --format csv " + options);
    EXPECT_EQ(result.status, 0) << result.err;
    std::map<std::string, Row> rows;
    std::istringstream in(result.out);
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::vector<std::string> f;
        std::size_t at = 0;
        for (int k = 0; k < 10; ++k) {
            const std::size_t comma = line.find(',', at);
            f.push_back(line.substr(at, comma - at));
            at = comma + 1;
        }
        rows[f[0] + "@" + f[3]] = Row{std::stod(f[4]), std::stod(f[5]), line.substr(at)};
    }
    return rows;
}

std::string generate(const TempDir& dir, const std::string& model, int experiment) {
    const auto result =
        run(binary(model) + " -P" + dir.path() + " -Nrun -B" + std::to_string(experiment));
    EXPECT_EQ(result.status, 0) << result.err;
    return dir.path() + "run";
}

// The timer model (models/timer/timer.san): idle for P, then a transmission. A
// transmission is delivered (3/4) and acknowledged at rate mu = 0.5 unless the
// timer T = 2 expires first, or lost (1/4) and waits out the timer; on expiry
// it is sent again while retries remain, else given up. Outstanding time after
// a transmission with r retries used: T_r = 3/4 (E[min(Exp(mu), T)] + e^(-mu T)
// N) + 1/4 (T + N), N = T_(r+1) if r < R else 0. The long-run fraction of time
// with a report outstanding is T_0 / (P + T_0).
double timerOutstanding(int retries, double period) {
    const double mu = 0.5, timer = 2.0, expire = std::exp(-mu * timer);
    const double waitAck = (1.0 - expire) / mu;
    double next = 0.0;
    for (int r = retries; r >= 0; --r)
        next = 0.75 * (waitAck + expire * next) + 0.25 * (timer + next);
    return next / (period + next);
}

TEST(DeterministicSolve, TimerRunNamesTheActivityOfEachListedState) {
    TempDir dir;
    const std::string stem = generate(dir, "gen-timer", 0);
    EXPECT_EQ(testsupport::readFile(stem + ".dac"),
              "1\nreport\n2\ntimeout\n3\ntimeout\n4\ntimeout\n5\ntimeout\n");
}

TEST(DeterministicSolve, TimerLongRunMatchesHandDerivation) {
    const struct {
        int experiment, retries;
        double period;
    } cases[] = {{0, 1, 10.0}, {1, 3, 10.0}, {2, 2, 2.0}};
    // Experiment 3 gives report and timeout one delay: only .dac tells them apart.
    for (const auto& c : cases) {
        TempDir dir;
        const auto rows = solveCsv(generate(dir, "gen-timer", c.experiment), "--steady");
        const Row& r = rows.at("outstanding@inf");
        EXPECT_NEAR(r.value, timerOutstanding(c.retries, c.period), 1e-10)
            << "experiment " << c.experiment;
        EXPECT_NE(r.method.find("regenerative limit, embedded chain"), std::string::npos);
        // The value at t = 100 comes from the phase expansions, with its estimate.
        EXPECT_NE(rows.at("outstanding@100").method.find("Erlang phases"), std::string::npos);
    }
}

// Disk array (models/diskarray), experiment 1: n = 4 disks fail at l = 1e-4 each,
// a rebuild takes d = 10 hours; a failure during it loses the data. Data are lost
// by t after k rebuilds (each survived with probability e^(-(n-1) l d)) when the
// k + 1 working periods (Gamma(k + 1, n l)), the k rebuilds and the time V to the
// fatal failure, V < d with density (n-1) l e^(-(n-1) l v), end by t. The series
// over k is summed, each term integrated over v by Simpson's rule.
double diskLossWithin(double t) {
    const double n = 4.0, l = 1e-4, d = 10.0, a = n * l, b = (n - 1.0) * l;
    auto gammaCdf = [&](int shape, double x) { // Erlang(shape, a) at x
        if (x <= 0.0)
            return 0.0;
        double term = std::exp(-a * x), sum = term;
        for (int j = 1; j < shape; ++j) {
            term *= a * x / j;
            sum += term;
        }
        return 1.0 - sum;
    };
    double total = 0.0;
    for (int k = 0; k < 60; ++k) {
        const double s = t - k * d;
        if (s <= 0.0)
            break;
        const double upper = std::min(d, s);
        const int steps = 2000;
        const double h = upper / steps;
        double integral = 0.0;
        for (int i = 0; i <= steps; ++i) {
            const double v = i * h;
            const double w = (i == 0 || i == steps) ? 1.0 : (i % 2 ? 4.0 : 2.0);
            integral += w * b * std::exp(-b * v) * gammaCdf(k + 1, s - v);
        }
        total += std::exp(-b * d * k) * integral * h / 3.0;
    }
    return total;
}

TEST(DeterministicSolve, DiskArrayLossWithinAYearMatchesAnIndependentSeries) {
    TempDir dir;
    const auto rows = solveCsv(generate(dir, "gen-diskarray", 0));
    const Row& r = rows.at("data_lost@8760");
    const double expected = diskLossWithin(8760.0);
    EXPECT_LE(std::fabs(r.value - expected), r.bound + 1e-12 * expected);
    EXPECT_NEAR(r.value, expected, 1e-7 * expected);
}

TEST(DeterministicSolve, DiskArrayMeanTimeToDataLossMatchesTheRenewalClosedForm) {
    // Every rebuild of d hours is survived with e^(-(N-1) l d); each cycle lasts
    // 1/(N l) whole plus (1 - that)/((N-1) l) degraded on average, so with
    // p = 1 - e^(-(N-1) l d) the mean time to loss is (1/(N l) + p/((N-1) l)) / p
    // and the time degraded until then 1/((N-1) l).
    struct Experiment {
        double n, rebuild;
    };
    const Experiment experiments[] = {{4, 10.0}, {8, 10.0}, {4, 48.0}};
    const double l = 1e-4;
    for (int e = 0; e < 3; ++e) {
        TempDir dir;
        const auto rows = solveCsv(generate(dir, "gen-diskarray", e), "--absorption");
        const double n = experiments[e].n;
        const double p = -std::expm1(-(n - 1.0) * l * experiments[e].rebuild);
        const double mean = (1.0 / (n * l) + p / ((n - 1.0) * l)) / p;
        const Row& time = rows.at("time to absorption@absorption");
        EXPECT_NEAR(time.value, mean, 1e-10 * mean) << e;
        EXPECT_LE(std::fabs(time.value - mean), time.bound + 1e-13 * mean) << e;
        EXPECT_NEAR(rows.at("degraded@absorption").value, 1.0 / ((n - 1.0) * l), 1e-6) << e;
        EXPECT_EQ(rows.at("absorption probability@inf").value, 1.0) << e;
    }
}

// A valid run of three states, then one fault per case.
struct Files {
    std::string pvtype = "Version:1\nNumPV:1\nName:x\nType:3\nNumTimes:1\nStart:0\nStop:0\n";
    std::string var = "x\n1\n0\n1\n2\n0\n0\n3\n0\n0\n";
    std::string arm = "1\n3\n\n1\n2\n1.0\n0\n2\n3\n-1.0\n0\n3\n1\n2.0\n0\n";
    std::string det = "1\n5.0\n2\n0\n";
    std::string dac = "2\nrebuild\n";
};

std::string solveFiles(const TempDir& dir, const Files& f, int& status) {
    for (const auto& [ext, text] : {std::pair{".pvtype", &f.pvtype},
                                    {".var", &f.var},
                                    {".arm", &f.arm},
                                    {".det", &f.det},
                                    {".dac", &f.dac}})
        std::ofstream(dir.path() + "m" + ext) << *text;
    const auto result = run(binary("gen-solve") + " " + dir.path() + "m");
    status = result.status;
    return result.err;
}

TEST(DeterministicSolve, RefusesWhatTheMethodCannotHandleInOneLine) {
    {
        TempDir dir;
        int status = 0;
        solveFiles(dir, Files{}, status);
        EXPECT_EQ(status, 0) << "the valid run";
    }
    const struct {
        const char* name;
        std::string Files::*file;
        std::string text;
        const char* message;
    } cases[] = {
        {"det state beyond the count", &Files::det, "1\n5.0\n4\n0\n", "beyond the .arm count"},
        {"det delay of 0", &Files::det, "1\n0\n2\n0\n", "positive finite number"},
        {"det truncated", &Files::det, "1\n5.0\n2\n", "truncated"},
        {"branch in a state not listed", &Files::det, "1\n5.0\n3\n0\n",
         "state 2 has a deterministic branch to state 3 but the .det file does not list it"},
        {"state under two delays", &Files::det, "2\n5.0\n2\n0\n1.0\n2\n0\n",
         "more than one deterministic activity"},
        {"branches that do not add up to 1", &Files::arm,
         "1\n3\n\n1\n2\n1.0\n0\n2\n1\n-0.5\n3\n0.5\n0\n3\n1\n2.0\n0\n", "cannot be told apart"},
        {"dac naming a state twice", &Files::dac, "2\nrebuild\n2\ninspect\n",
         "has the deterministic activities rebuild and inspect"},
        {"dac without a listed state", &Files::dac, "3\nrebuild\n",
         "state 2 is listed in .det but has no activity here"},
        {"det of no groups, then a group", &Files::det, "0\n5.0\n2\n0\n",
         "text after the last delay group"},
        {"two closed classes", &Files::arm, "1\n3\n\n1\n2\n1.0\n3\n1.0\n0\n2\n2\n-1.0\n0\n3\n0\n",
         "closed classes are reachable"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        Files f;
        f.*c.file = c.text;
        int status = 0;
        const std::string err = solveFiles(dir, f, status);
        EXPECT_EQ(status, 1) << c.name;
        EXPECT_EQ(err.rfind("gen-solve: ", 0), 0u) << c.name << ": " << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << c.name << ": " << err;
        EXPECT_NE(err.find(c.message), std::string::npos) << c.name << ": " << err;
    }
}

// The watchdog model (tests/solver/models/watchdog.san): a unit failing at rate
// l = 1, repaired at rate mu = 3 in experiment 0, where its deterministic restart
// is never enabled, and restarted after exactly D = 0.5 in experiment 1. The first
// run's .det lists no delay, and its chain is solved as a Markov chain: the
// availability at t is mu/(l+mu) + l/(l+mu) e^(-(l+mu) t), 3/4 in the long run. The
// second's long-run availability is the alternating renewal's (1/l) / (1/l + D).
TEST(DeterministicSolve, ARunThatNeverEnablesItsDeterministicActivityIsAMarkovChain) {
    TempDir dir;
    const std::string stem = generate(dir, "tests/gen-det_watchdog", 0);
    EXPECT_EQ(testsupport::readFile(stem + ".det"), "0\n");
    const auto rows = solveCsv(stem, "--steady");
    const double at2 = 0.75 + 0.25 * std::exp(-8.0);
    const Row& transient = rows.at("availability@2");
    EXPECT_LE(std::fabs(transient.value - at2), transient.bound + 1e-15);
    EXPECT_EQ(transient.method, "uniformization");
    const Row& limit = rows.at("longRun@0");
    EXPECT_NEAR(limit.value, 0.75, 1e-14);
    EXPECT_EQ(limit.method.rfind("\"limit, ", 0), 0u) << limit.method;

    TempDir other;
    const auto restarted = solveCsv(generate(other, "tests/gen-det_watchdog", 1));
    const Row& renewal = restarted.at("longRun@0");
    EXPECT_NEAR(renewal.value, 1.0 / 1.5, 1e-12);
    EXPECT_NE(renewal.method.find("regenerative limit"), std::string::npos) << renewal.method;
}

// Impulses of deterministic firings (the .dip file) on the cycle model
// (tests/solver/models/cycle.san): a repair of fixed delay D = 1 after an
// exponential failure (lambda = 1), then a refit in zero time. A repair earns 5
// and a refit 2, so each deterministic firing with its zero-time path earns 7,
// while the state it returns to earns 0 on first entry.
// Closed forms: starting up, the first repair ends at X + D with X ~ Exp(1) and
// a second cannot end before 2D, so over [0, 1.5] the expected repairs are
// P(X <= 0.5) = 1 - e^(-0.5); a cycle lasts 1/lambda + D = 2 on average, so the
// long-run cost rate is 7 / 2. Also gen-solve without the file (values marked
// approximate, without a bound) and the faults of the file it refuses.

const double kRepairs = 1.0 - std::exp(-0.5); // expected repairs over [0, 1.5]

TEST(DeterministicSolve, CycleImpulsesGeneratorWritesEachDeterministicFiringsExpectedImpulse) {
    TempDir dir;
    const std::string stem = generate(dir, "tests/gen-imp_cycle", 0);
    // State 2 (down) enables the repair; its firing and the refit earn 5 + 2.
    EXPECT_EQ(testsupport::readFile(stem + ".dac"), "2\nrepair\n");
    EXPECT_EQ(testsupport::readFile(stem + ".dip"), "fails\ncost\ncostRate\n2\n0.0000000000e+00\n"
                                                    "7.0000000000e+00\n7.0000000000e+00\n");
    // A deterministic firing earns at no rate: the .imp rates are the failure's.
    EXPECT_EQ(testsupport::readFile(stem + ".imp"),
              "fails\ncost\ncostRate\n1\n1.0000000000e+00\n"
              "0.0000000000e+00\n0.0000000000e+00\n2\n"
              "0.0000000000e+00\n0.0000000000e+00\n0.0000000000e+00\n");
}

TEST(DeterministicSolve, ModelWithoutImpulsesWritesNoDipAndRemovesAStaleOne) {
    TempDir dir;
    std::ofstream(dir.path() + "run.dip") << "left by an earlier run\n";
    generate(dir, "gen-diskarray", 0);
    std::ifstream stale(dir.path() + "run.dip");
    EXPECT_FALSE(stale.good());
}

TEST(DeterministicSolve, CycleImpulsesSolvedValuesMatchClosedForms) {
    TempDir dir;
    const std::string stem = generate(dir, "tests/gen-imp_cycle", 0);
    const std::map<std::string, Row> rows = solveCsv(stem);
    ASSERT_EQ(rows.count("cost@1.5"), 1u);
    ASSERT_EQ(rows.count("costRate@0"), 1u);
    ASSERT_EQ(rows.count("fails@1.5"), 1u);
    const Row& cost = rows.at("cost@1.5");
    EXPECT_NEAR(cost.value, 7.0 * kRepairs, std::max(cost.bound, 1e-9)) << cost.method;
    EXPECT_LT(cost.bound, 0.05);
    EXPECT_EQ(cost.method.find("first-entry"), std::string::npos) << cost.method;
    // The failures over [0, 1.5]: the first at X <= 1.5, a second after a repair
    // ending at X + 1 <= 1.5 and X + 1 + Y <= 1.5: 1 - e^-1.5 + P(X + Y <= 0.5).
    const Row& fails = rows.at("fails@1.5");
    const double second = 1.0 - std::exp(-0.5) * 1.5;
    EXPECT_NEAR(fails.value, 1.0 - std::exp(-1.5) + second, std::max(fails.bound, 1e-9));
    const Row& rate = rows.at("costRate@0");
    EXPECT_NEAR(rate.value, 7.0 / 2.0, 1e-6) << rate.method;
}

TEST(DeterministicSolve, CycleImpulsesWithoutTheFileValuesAreApproximateWithoutBound) {
    TempDir dir;
    const std::string stem = generate(dir, "tests/gen-imp_cycle", 0);
    ASSERT_EQ(std::remove((stem + ".dip").c_str()), 0);
    for (const auto& [name, row] : solveCsv(stem)) {
        EXPECT_NE(row.method.find("approximate, no bound"), std::string::npos) << name;
        EXPECT_TRUE(std::isinf(row.bound)) << name;
    }
    const auto table = run(binary("gen-solve") + " " + stem);
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_NE(table.out.find("NOTE: no " + stem + ".dip file"), std::string::npos) << table.out;
}

TEST(DeterministicSolve, CycleImpulsesFaultsOfTheFileAreRefusedNamingFileAndLine) {
    struct Case {
        const char* what;
        const char* text; // the .dip file; null: keep it and remove .dac
        const char* message;
    };
    const Case cases[] = {
        {"wrong state", "fails\ncost\ncostRate\n1\n0\n6.5\n6.5\n",
         ".dip:4: record of state 1 where state 2 was expected"},
        {"truncated", "fails\ncost\ncostRate\n2\n0\n6.5\n",
         "the file ends inside the record of state 2 of 1 (truncated)"},
        {"no records", "fails\ncost\ncostRate\n",
         "the file ends after 0 of 1 records (truncated, or the .dac file"},
        {"extra record", "fails\ncost\ncostRate\n2\n0\n6.5\n6.5\n2\n",
         ".dip:8: more records than the 1 records of the .dac file"},
        {"variable missing", "fails\ncost\n2\n0\n6.5\n", ".dip:3: header names \"2\""},
        {"not a number", "fails\ncost\ncostRate\n2\n0\nsix\n6.5\n",
         ".dip:6: firing impulse of state 2 is not a number"},
        {"not finite", "fails\ncost\ncostRate\n2\n0\ninf\n6.5\n",
         ".dip:6: firing impulse of state 2 is not finite"},
        {"no .dac", nullptr, ".dip: there is no "},
    };
    for (const Case& c : cases) {
        TempDir dir;
        const std::string stem = generate(dir, "tests/gen-imp_cycle", 0);
        if (c.text != nullptr)
            std::ofstream(stem + ".dip", std::ios::trunc) << c.text;
        else
            ASSERT_EQ(std::remove((stem + ".dac").c_str()), 0);
        const auto result = run(binary("gen-solve") + " " + stem);
        EXPECT_NE(result.status, 0) << c.what;
        EXPECT_EQ(result.err.rfind("gen-solve: " + stem + ".dip", 0), 0u)
            << c.what << ": " << result.err;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << c.what << ": " << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << c.what;
        EXPECT_TRUE(result.out.empty()) << c.what;
    }
}

} // namespace
