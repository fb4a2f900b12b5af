// The plot axes: tick labels distinct, ordered and read back as their values over any
// range, offsets from a round value for ranges close to it, logarithmic positions.

#include "report/Axis.h"

#include "SvgElements.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>

namespace {

using gensolver::Axis;
using gensolver::Tick;
using plottest::labelValue;

// The checks every axis's ticks pass: at least two, increasing, inside the drawn range,
// labels distinct and each read back within a thousandth of the smallest spacing.
// "[lo, hi]" for the messages.
std::string range(double lo, double hi) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "[%.17g, %.17g]", lo, hi);
    return buf;
}

void expectReadableTicks(const Axis& axis, const std::string& what) {
    const std::vector<Tick>& ticks = axis.ticks();
    ASSERT_GE(ticks.size(), 2u) << what;
    double spacing = INFINITY;
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        EXPECT_LT(ticks[i - 1].value, ticks[i].value) << what;
        spacing = std::min(spacing, ticks[i].value - ticks[i - 1].value);
    }
    std::set<std::string> labels;
    for (const Tick& t : ticks) {
        EXPECT_TRUE(labels.insert(t.label).second) << what << ": label " << t.label << " twice";
        EXPECT_NEAR(labelValue(t.label), t.value, spacing * 1e-3) << what << ": " << t.label;
        EXPECT_LE(t.label.size(), 16u) << what << ": " << t.label;
        EXPECT_TRUE(axis.contains(t.value)) << what << ": " << t.label;
    }
}

TEST(PlotAxis, LinearTicksReadCorrectlyOverAnyRange) {
    const std::pair<double, double> ranges[] = {
        {0, 1},
        {0.999999, 0.9999999},             // within 1e-6 of 1
        {1 - 3e-6, 1 - 1e-6},              // an unreliability of a few 1e-6
        {0.99999563638, 0.99999563638059}, // one value and its error bound
        {1e-12, 3e-12},                    // tiny probabilities
        {0, 1e9},                          // huge times
        {12345678.1, 12345678.9},          // narrow and far from zero
        {-5, 5},
        {0.25, 0.25}, // one value
        {0, 0},
    };
    for (const auto& [lo, hi] : ranges) {
        const Axis axis(lo, hi, false, 0, 500);
        const std::string what = range(lo, hi);
        expectReadableTicks(axis, what);
        EXPECT_TRUE(axis.contains(lo) && axis.contains(hi)) << what;
        EXPECT_NEAR(axis.position(lo) + axis.position(hi),
                    axis.position(axis.lo()) + axis.position(axis.hi()), 1e-6)
            << what << ": the data sit in the middle of the axis";
    }
}

TEST(PlotAxis, RangesNearOneAreLabelledAsOffsetsFromOne) {
    // Values 0.9999990 to 0.9999999 are told apart only in their seventh digit: the
    // labels read "1 − 2e-7" and so on, never seven-digit decimals.
    const Axis axis(0.999999, 0.9999999, false, 0, 500);
    for (const Tick& t : axis.ticks())
        EXPECT_EQ(t.label.rfind("1 \xe2\x88\x92 ", 0), 0u) << t.label;
    // A range of ordinary width keeps plain labels.
    const Axis plain(0.98, 1.0, false, 0, 500);
    for (const Tick& t : plain.ticks())
        EXPECT_EQ(t.label.find(' '), std::string::npos) << t.label;
    EXPECT_EQ(gensolver::tickLabels({0.1, 0.2, 0.1 + 0.2}, 1e-9),
              (std::vector<std::string>{"0.1", "0.2", "0.3"}));
    EXPECT_EQ(gensolver::tickLabels({1e5, 2e5, 1e6, 2e-7}, 1e-12),
              (std::vector<std::string>{"100000", "200000", "1e6", "2e-7"}));
}

TEST(PlotAxis, LogarithmicTicksAreDecadesAtEvenSpacing) {
    // Time 1 to 1e5: the range grows by 4% of its five decades each side, 10^-0.2 to
    // 10^5.2, so the ticks are the six powers of ten, one fifth of 1/5.4 of the width apart.
    const Axis axis(1, 1e5, true, 100, 640);
    ASSERT_EQ(axis.ticks().size(), 6u);
    const char* labels[] = {"1", "10", "100", "1000", "10000", "100000"};
    for (int k = 0; k < 6; ++k) {
        EXPECT_EQ(axis.ticks()[k].value, std::pow(10.0, k));
        EXPECT_EQ(axis.ticks()[k].label, labels[k]);
        EXPECT_NEAR(axis.position(std::pow(10.0, k)), 100 + 540 * (k + 0.2) / 5.4, 1e-9);
    }
    const std::pair<double, double> ranges[] = {
        {1e-8, 2e-2}, {2, 3}, {0.5, 40}, {1e-300, 1e300}, {7e-5, 7e-5}};
    for (const auto& [lo, hi] : ranges) {
        const Axis log(lo, hi, true, 0, 500);
        expectReadableTicks(log, "log " + range(lo, hi));
        EXPECT_LE(log.ticks().size(), 12u);
        EXPECT_TRUE(log.contains(lo) && log.contains(hi));
    }
}

TEST(PlotAxis, OverSkipsWhatTheAxisCannotDraw) {
    const Axis log = Axis::over({0.0, -1.0, NAN, 1e-3, 1e-1, INFINITY}, true, 0, 100);
    EXPECT_TRUE(log.contains(1e-3) && log.contains(1e-1));
    EXPECT_GT(log.lo(), 0.0);
    EXPECT_LT(log.hi(), 1.0);
    const Axis none = Axis::over({NAN}, false, 0, 100);
    EXPECT_TRUE(none.contains(0.0) && none.contains(1.0));
}

} // namespace
