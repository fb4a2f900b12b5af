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
using testsupport::readFile;
using testsupport::run;
using testsupport::TempDir;

struct Row {
    double value = 0.0;
    double bound = 0.0;
    std::string method;
};

// gen-solve's CSV results by variable name (each has one value here).
std::map<std::string, Row> solveCsv(const std::string& stem) {
    const auto result = run(binary("gen-solve") + " " + stem + " --format csv");
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
        rows[f[0]] = Row{std::stod(f[4]), std::stod(f[5]), line.substr(at)};
    }
    return rows;
}

std::string generate(const TempDir& dir) {
    const auto result = run(binary("tests/gen-imp_cycle") + " -P" + dir.path() + " -Nrun -B0");
    EXPECT_EQ(result.status, 0) << result.err;
    return dir.path() + "run";
}

const double kRepairs = 1.0 - std::exp(-0.5); // expected repairs over [0, 1.5]

TEST(FiringImpulses, GeneratorWritesEachDeterministicFiringsExpectedImpulse) {
    TempDir dir;
    const std::string stem = generate(dir);
    // State 2 (down) enables the repair; its firing and the refit earn 5 + 2.
    EXPECT_EQ(readFile(stem + ".dac"), "2\nrepair\n");
    EXPECT_EQ(readFile(stem + ".dip"), "fails\ncost\ncostRate\n2\n0.0000000000e+00\n"
                                       "7.0000000000e+00\n7.0000000000e+00\n");
    // A deterministic firing earns at no rate: the .imp rates are the failure's.
    EXPECT_EQ(readFile(stem + ".imp"), "fails\ncost\ncostRate\n1\n1.0000000000e+00\n"
                                       "0.0000000000e+00\n0.0000000000e+00\n2\n"
                                       "0.0000000000e+00\n0.0000000000e+00\n0.0000000000e+00\n");
}

TEST(FiringImpulses, SolvedValuesMatchClosedForms) {
    TempDir dir;
    const std::string stem = generate(dir);
    const std::map<std::string, Row> rows = solveCsv(stem);
    ASSERT_EQ(rows.count("cost"), 1u);
    ASSERT_EQ(rows.count("costRate"), 1u);
    ASSERT_EQ(rows.count("fails"), 1u);
    const Row& cost = rows.at("cost");
    EXPECT_NEAR(cost.value, 7.0 * kRepairs, std::max(cost.bound, 1e-9)) << cost.method;
    EXPECT_LT(cost.bound, 0.05);
    EXPECT_EQ(cost.method.find("first-entry"), std::string::npos) << cost.method;
    // The failures over [0, 1.5]: the first at X <= 1.5, a second after a repair
    // ending at X + 1 <= 1.5 and X + 1 + Y <= 1.5: 1 - e^-1.5 + P(X + Y <= 0.5).
    const Row& fails = rows.at("fails");
    const double second = 1.0 - std::exp(-0.5) * 1.5;
    EXPECT_NEAR(fails.value, 1.0 - std::exp(-1.5) + second, std::max(fails.bound, 1e-9));
    const Row& rate = rows.at("costRate");
    EXPECT_NEAR(rate.value, 7.0 / 2.0, 1e-6) << rate.method;
}

TEST(FiringImpulses, WithoutTheFileValuesAreApproximateWithoutBound) {
    TempDir dir;
    const std::string stem = generate(dir);
    ASSERT_EQ(std::remove((stem + ".dip").c_str()), 0);
    for (const auto& [name, row] : solveCsv(stem)) {
        EXPECT_NE(row.method.find("approximate, no bound"), std::string::npos) << name;
        EXPECT_TRUE(std::isinf(row.bound)) << name;
    }
    const auto table = run(binary("gen-solve") + " " + stem);
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_NE(table.out.find("NOTE: no " + stem + ".dip file"), std::string::npos) << table.out;
}

TEST(FiringImpulses, FaultsOfTheFileAreRefusedNamingFileAndLine) {
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
        {"no records", "fails\ncost\ncostRate\n", "the file ends after 0 of 1 records (truncated, or the .dac file"},
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
        const std::string stem = generate(dir);
        if (c.text != nullptr)
            std::ofstream(stem + ".dip", std::ios::trunc) << c.text;
        else
            ASSERT_EQ(std::remove((stem + ".dac").c_str()), 0);
        const auto result = run(binary("gen-solve") + " " + stem);
        EXPECT_NE(result.status, 0) << c.what;
        EXPECT_EQ(result.err.rfind("gen-solve: " + stem + ".dip", 0), 0u) << c.what << ": " << result.err;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << c.what << ": " << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << c.what;
        EXPECT_TRUE(result.out.empty()) << c.what;
    }
}

} // namespace
