// The sweep plot's data, on outcomes built by hand: one series per measure, a point
// per experiment at its parameter value with the interval value ± bound, a failed
// experiment's points left out, and the refusals that keep two parameters off one axis.

#include "StudySweep.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace genstudies;

gensolver::Result result(const std::string& variable, gensolver::RewardType type, double start,
                         double stop, double value, double bound) {
    gensolver::Result r;
    r.variable = variable;
    r.type = type;
    r.start = start;
    r.stop = stop;
    r.value = value;
    r.bound = bound;
    return r;
}

ExperimentOutcome outcome(int number, const std::string& mu, const std::string& lambda) {
    ExperimentOutcome o;
    o.number = number;
    o.heading = {true, "", {{"lambda", "double", lambda}, {"mu", "double", mu}}};
    const double m = std::stod(mu);
    o.solution.results = {result("up", gensolver::RewardType::InstantOfTime, 2, 2, m, 0.25),
                          result("cost", gensolver::RewardType::IntervalOfTime, 0, 10, 10 * m, 1)};
    return o;
}

TEST(StudySweep, OneSeriesPerMeasureWithEachExperimentsValueAndInterval) {
    ExperimentOutcome failed = outcome(1, "3", "0.5");
    failed.failed = true;
    failed.solution = {};
    const gensolver::Sweep sweep =
        buildSweep({outcome(0, "4", "0.5"), failed, outcome(2, "2", "0.5")}, "mu", "gen-x");
    EXPECT_EQ(sweep.parameter, "mu");
    EXPECT_EQ(sweep.title, "gen-x: measures against mu (incomplete: experiment(s) 1 failed)");
    EXPECT_EQ(sweep.x, (std::vector<double>{4, 3, 2}));
    ASSERT_EQ(sweep.series.size(), 2u);
    EXPECT_EQ(sweep.series[0].label, "up, t=2");
    EXPECT_EQ(sweep.series[1].label, "cost, [0, 10]");
    const gensolver::SweepSeries& up = sweep.series[0];
    ASSERT_EQ(up.value.size(), 3u);
    EXPECT_EQ(up.value[0], 4);
    EXPECT_EQ(up.lower[0], 3.75);
    EXPECT_EQ(up.upper[0], 4.25);
    EXPECT_TRUE(std::isnan(up.value[1]));
    EXPECT_EQ(up.value[2], 2);
    EXPECT_EQ(sweep.series[1].upper[2], 21);
}

TEST(StudySweep, AMeasureMissingFromAnExperimentHasNoPointThere) {
    ExperimentOutcome first = outcome(0, "1", "0.5");
    first.solution.results.pop_back();
    const gensolver::Sweep sweep = buildSweep({first, outcome(1, "2", "0.5")}, "mu", "m");
    ASSERT_EQ(sweep.series.size(), 2u);
    EXPECT_EQ(sweep.series[1].label, "cost, [0, 10]");
    ASSERT_EQ(sweep.series[1].value.size(), 2u);
    EXPECT_TRUE(std::isnan(sweep.series[1].value[0]));
    EXPECT_EQ(sweep.series[1].value[1], 20);
}

TEST(StudySweep, RefusesAnAxisThatIsNotOneNumericParameter) {
    ExperimentOutcome letter = outcome(1, "2", "0.5");
    letter.heading.globals[1].value = std::string(1, 'x');
    const std::vector<std::pair<std::vector<ExperimentOutcome>, std::string>> cases = {
        {{outcome(0, "1", "0.5"), outcome(1, "2", "0.5")}, "nu"},
        {{outcome(0, "1", "0.5"), outcome(1, "2", "0.25")}, "mu"},
        {{outcome(0, "1", "0.5"), letter}, "mu"},
    };
    const std::vector<std::string> messages = {
        "--sweep nu: no such global variable (lambda, mu)",
        "--sweep mu: experiments 0 and 1 differ in lambda as well; choose experiments (-e) in "
        "which only mu varies",
        "--sweep mu: its value \"x\" in experiment 1 is not a number",
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        try {
            buildSweep(cases[i].first, cases[i].second, "m");
            ADD_FAILURE() << messages[i];
        } catch (const std::invalid_argument& e) {
            EXPECT_EQ(e.what(), messages[i]);
        }
    }
}

} // namespace
