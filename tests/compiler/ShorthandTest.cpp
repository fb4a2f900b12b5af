// Helper code, named expressions and stops: the checker's resolution of a named
// expression (its places and the expressions it reaches, its uses written as
// calls), and tests/compiler/models/duplex.san, which uses all three, against
// duplexlong.san, the same model written out longhand, and against its chain
// and its values until absorption derived by hand.
//
// duplex: two units share the load; one fails at rate 2 lambda, a lone unit at
// 1.5 lambda; a failure is covered with probability c (the unit goes to repair,
// rate mu) or crashes the system; the system stops when no unit works or it
// crashed. With (working, failing, repairing, crashed) the chain is
//   1 (2,0,0,0) -> 2 (1,0,1,0) at 2 lambda c,  1 -> 3 (1,0,0,1) at 2 lambda (1 - c),
//   2 -> 1 at mu,  2 -> 4 (0,1,1,0) at 1.5 lambda;  3 and 4 absorbing.
// With a = 1.5 lambda + mu the mean times to absorption T1, T2 solve
//   T1 = 1 / (2 lambda) + c T2,  T2 = 1 / a + (mu / a) T1.
// The time spent degraded (state 2) until absorption is c / (a - c mu), and the
// number of repairs (each earns an impulse of 1, the state after it not being
// degraded) is c mu / (a - c mu). The model asks for two rewards until
// absorption: lifetime (rate 1, the mean time) and repairs (an impulse of 1 per
// repair).

#include "Checker.h"
#include "Parser.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <vector>

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

namespace {

CheckedModel checked(const std::string& text) {
    Diagnostics d("t.san", text);
    Parser parser(text, d);
    ModelFile file = parser.parse();
    CheckedModel model = checkModel(file, "t.san", d);
    EXPECT_FALSE(d.hasErrors()) << text;
    return model;
}

TEST(ShorthandTest, NamedExpressionsReachTheirPlacesThroughOneAnother) {
    // load is declared before the condition it uses; a member named `load`
    // (after '.') is not a use.
    const CheckedModel m = checked("model m\n"
                                   "place a, b, c, d\n"
                                   "define load = both ? c : 0\n"
                                   "condition both = a > 0 && b > 0\n"
                                   "stop when d > 2\n"
                                   "exponential e {\n"
                                   "    rate x.load + load * 2\n"
                                   "    input a\n"
                                   "    when both\n"
                                   "}\n");
    ASSERT_EQ(m.defines.size(), 2u);
    EXPECT_EQ(m.defines[0].name, "load");
    EXPECT_FALSE(m.defines[0].condition);
    EXPECT_EQ(m.defines[0].body.code.text, "both() ? c : 0");
    EXPECT_EQ(m.defines[0].body.places, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(m.defines[0].body.defines, (std::vector<int>{1}));
    EXPECT_TRUE(m.defines[1].condition);
    EXPECT_EQ(m.defines[1].body.places, (std::vector<int>{0, 1}));
    EXPECT_TRUE(m.defines[1].body.defines.empty());

    ASSERT_EQ(m.activities.size(), 1u);
    const CheckedActivity& e = m.activities[0];
    EXPECT_EQ(e.rate.code.text, "x.load + load() * 2");
    EXPECT_EQ(e.rate.places, (std::vector<int>{0, 1, 2}));
    // both before load, which calls it.
    EXPECT_EQ(e.rate.defines, (std::vector<int>{1, 0}));
    EXPECT_EQ(e.when.code.text, "both()");
    // The input, `when` through both, then the stop.
    EXPECT_EQ(e.enablingPlaces, (std::vector<int>{0, 1, 3}));
    EXPECT_EQ(e.enablingDefines, (std::vector<int>{1}));
    EXPECT_TRUE(e.firingDefines.empty());
    ASSERT_EQ(m.stops.size(), 1u);
    EXPECT_EQ(m.stops[0].places, (std::vector<int>{3}));
}

// A stop may hold in the initial state, which is then stable whatever the
// instantaneous activities: the compiler does not refuse what it cannot judge.
TEST(ShorthandTest, AStopLeavesTheInitialStateToTheGenerator) {
    const CheckedModel m = checked("model m\nplace p = 1\nplace q\nstop when q == 0\n"
                                   "instantaneous i {\n    input p\n    output q\n}\n");
    EXPECT_EQ(m.stops.size(), 1u);
}

TEST(ShorthandTest, GivesTheChainOfTheModelWrittenLonghand) {
    TempDir shortDir, longDir;
    const auto shorthand = testsupport::runModel("tests/gen-lang_duplex", shortDir, "d", 0);
    const auto longhand = testsupport::runModel("tests/gen-lang_duplexlong", longDir, "d", 0);
    ASSERT_EQ(shorthand.result.status, 0) << shorthand.result.err;
    ASSERT_EQ(longhand.result.status, 0) << longhand.result.err;
    EXPECT_EQ(shorthand.arm, longhand.arm);
    EXPECT_EQ(shorthand.var, longhand.var);
    EXPECT_EQ(shorthand.pvtype, longhand.pvtype);
    for (const char* extension : {".imp", ".abs"})
        EXPECT_EQ(testsupport::readFile(shortDir.path() + "d" + extension),
                  testsupport::readFile(longDir.path() + "d" + extension))
            << extension;
    // lambda = 0.01, mu = 1, c = 0.9: the chain of the header comment.
    const std::vector<std::string> rows = {"1",
                                           "2",
                                           "1.8000000000e-02",
                                           "3",
                                           "2.0000000000e-03",
                                           "0",
                                           "2",
                                           "1",
                                           "1.0000000000e+00",
                                           "4",
                                           "1.5000000000e-02",
                                           "0",
                                           "3",
                                           "0",
                                           "4",
                                           "0"};
    EXPECT_EQ(shorthand.arm, testsupport::armHeader(4) + testsupport::joinLines(rows));
}

// gen-solve's rows "variable,type,start,stop,value,..." by variable and stop.
std::map<std::string, double> solvedRows(const std::string& options) {
    TempDir dir;
    const auto generated = run(binary("tests/gen-lang_duplex") + " -P" + dir.path() + " -Nd -B0");
    EXPECT_EQ(generated.status, 0) << generated.err;
    EXPECT_EQ(testsupport::readFile(dir.path() + "d.abs"),
              "Version:1\nNumPV:2\nName:lifetime\nName:repairs\n");
    const auto solved =
        run(binary("gen-solve") + " -P" + dir.path() + " -Nd --format csv" + options);
    EXPECT_EQ(solved.status, 0) << solved.err;
    // Each line after the heading: the value (5th field) under "variable@stop".
    std::map<std::string, double> rows;
    const std::string& out = solved.out;
    for (std::size_t at = out.find('\n') + 1; at != 0 && at < out.size();) {
        const std::size_t end = std::min(out.find('\n', at), out.size());
        std::size_t comma[5];
        std::size_t from = at;
        for (std::size_t& c : comma)
            from = (c = std::min(out.find(',', from), end)) + 1;
        if (comma[4] < end)
            rows[out.substr(at, comma[0] - at) + "@" +
                 out.substr(comma[2] + 1, comma[3] - comma[2] - 1)] =
                std::stod(out.substr(comma[3] + 1, comma[4] - comma[3] - 1));
        at = end + 1;
    }
    return rows;
}

const double lambda = 0.01, mu = 1.0, c = 0.9, a = 1.5 * lambda + mu;
const double meanTime = (1.0 / (2.0 * lambda) + c / a) / (1.0 - c * mu / a);
const double degradedTime = c / (a - c * mu), repairs = c * mu / (a - c * mu);

void expectRelative(const std::map<std::string, double>& rows, const std::string& key,
                    double expected) {
    ASSERT_EQ(rows.count(key), 1u) << key;
    EXPECT_NEAR(rows.at(key), expected, 1e-9 * expected) << key;
}

TEST(ShorthandTest, StopsGiveTheMeanTimeToAbsorptionOfTheDuplex) {
    const auto rows = solvedRows(" --absorption");
    expectRelative(rows, "time to absorption@absorption", meanTime);
    // `available` is 1 in every state before absorption: its reward is the time.
    expectRelative(rows, "available@absorption", meanTime);
    expectRelative(rows, "degradedTime@absorption", degradedTime + repairs);
    expectRelative(rows, "lifetime@absorption", meanTime);
    expectRelative(rows, "repairs@absorption", repairs);
}

TEST(ShorthandTest, RewardsUntilAbsorptionAreReportedWithoutTheOption) {
    const auto rows = solvedRows("");
    expectRelative(rows, "absorption probability@inf", 1.0);
    expectRelative(rows, "time to absorption@absorption", meanTime);
    expectRelative(rows, "lifetime@absorption", meanTime);
    expectRelative(rows, "repairs@absorption", repairs);
    // The other variables at their time points only; the named ones not at [0, 0].
    EXPECT_EQ(rows.count("available@absorption"), 0u);
    EXPECT_EQ(rows.count("degradedTime@absorption"), 0u);
    EXPECT_EQ(rows.count("available@100"), 1u);
    EXPECT_EQ(rows.count("lifetime@0"), 0u);
    EXPECT_EQ(rows.size(), 7u);
}

// A stale .abs file would make gen-solve report the variables it names until
// absorption: a run of a model that names none removes it.
TEST(ShorthandTest, ARunWithoutRewardsUntilAbsorptionRemovesAStaleAbsFile) {
    TempDir dir;
    std::ofstream(dir.path() + "d.abs") << "Version:1\nNumPV:1\nName:reliability\n";
    const auto generated = run(binary("gen") + " -P" + dir.path() + " -Nd -B0");
    ASSERT_EQ(generated.status, 0) << generated.err;
    EXPECT_FALSE(testsupport::fileExists(dir.path() + "d.abs"));
    EXPECT_TRUE(testsupport::fileExists(dir.path() + "d.pvtype"));
}

} // namespace
