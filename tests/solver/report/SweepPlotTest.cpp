// The sweep plot, read back from its SVG text: one curve per series with its markers at
// the parameter values, bounds turned over by the 1 - value view, refusals.

#include "report/SweepPlot.h"

#include "SvgElements.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace {

using gensolver::PlotOptions;
using gensolver::Sweep;
using gensolver::SweepSeries;
using plottest::Element;
using plottest::select;

std::vector<Element> draw(const Sweep& sweep, const PlotOptions& options) {
    std::ostringstream out;
    gensolver::writeSweepPlot(out, sweep, options);
    return plottest::parseSvg(out.str());
}

TEST(SweepPlot, OneCurvePerSeriesAtTheParameterValues) {
    // Availability mu / (mu + 1e-3) and its complement against the repair rate mu,
    // given out of order, on a logarithmic parameter axis.
    Sweep sweep;
    sweep.parameter = "mu";
    sweep.title = "availability";
    sweep.x = {10, 0.1, 1000};
    SweepSeries a{"availability", {}, {}, {}}, u{"unavailability", {}, {}, {}};
    for (const double mu : sweep.x) {
        a.value.push_back(mu / (mu + 1e-3));
        u.value.push_back(1e-3 / (mu + 1e-3));
    }
    sweep.series = {a, u};
    PlotOptions options;
    options.logTime = true;
    const std::vector<Element> all = draw(sweep, options);
    EXPECT_EQ(select(all, "polyline", "curve").size(), 2u);
    const std::vector<Element> points = select(all, "circle", "point");
    ASSERT_EQ(points.size(), 6u);
    const plottest::AxisMap x = plottest::axisMap(all, "x", true);
    const plottest::AxisMap y = plottest::axisMap(all, "y", false);
    const double sorted[] = {0.1, 10, 1000};
    for (std::size_t i = 0; i < 6; ++i) {
        const double mu = sorted[i % 3];
        const double v = i < 3 ? mu / (mu + 1e-3) : 1e-3 / (mu + 1e-3);
        EXPECT_EQ(points[i].number("data-x"), mu);
        EXPECT_EQ(points[i].number("data-value"), v);
        EXPECT_NEAR(points[i].number("cx"), x.pixel(mu), 0.05);
        EXPECT_NEAR(points[i].number("cy"), y.pixel(v), 0.05);
    }
    // Equal spacing in log10: 0.1, 10 and 1000 are two decades apart each.
    EXPECT_NEAR(points[1].number("cx") - points[0].number("cx"),
                points[2].number("cx") - points[1].number("cx"), 0.02);
    std::vector<std::string> legend;
    for (const Element& e : select(all, "text", "legend"))
        legend.push_back(e.content);
    EXPECT_EQ(legend, (std::vector<std::string>{"availability", "unavailability"}));
}

TEST(SweepPlot, BoundsAreWhiskersAndTurnOverInTheComplement) {
    // 0.9 in [0.8, 0.95] drawn as 1 - value: 0.1 in [0.05, 0.2].
    Sweep sweep;
    sweep.parameter = "n";
    sweep.x = {1, 2, 3};
    sweep.series = {{"reliability", {0.9, 0.7, NAN}, {0.8, 0.69, NAN}, {0.95, 0.71, NAN}}};
    PlotOptions options;
    options.complement = true;
    const std::vector<Element> all = draw(sweep, options);
    const std::vector<Element> points = select(all, "circle", "point");
    ASSERT_EQ(points.size(), 2u); // the NaN is a point without a value
    EXPECT_NEAR(points[0].number("data-value"), 0.1, 1e-15);
    const std::vector<Element> whiskers = select(all, "line", "whisker");
    ASSERT_EQ(whiskers.size(), 2u);
    const plottest::AxisMap y = plottest::axisMap(all, "y", false);
    EXPECT_NEAR(whiskers[0].number("y1"), y.pixel(0.2), 0.05);
    EXPECT_NEAR(whiskers[0].number("y2"), y.pixel(0.05), 0.05);
    bool noted = false;
    for (const Element& e : select(all, "text", ""))
        noted |= e.content == "1 point without a value";
    EXPECT_TRUE(noted);
}

TEST(SweepPlot, RefusesSeriesThatDoNotMatchTheParameterValues) {
    Sweep sweep;
    sweep.parameter = "n";
    sweep.x = {1, 2};
    const std::vector<SweepSeries> bad = {
        {"short", {1}, {}, {}},
        {"lower only", {1, 2}, {0, 1}, {}},
        {"short bounds", {1, 2}, {0}, {2}},
    };
    for (const SweepSeries& s : bad) {
        sweep.series = {s};
        EXPECT_THROW(draw(sweep, {}), std::invalid_argument) << s.label;
    }
    sweep.series = {};
    EXPECT_NO_THROW(draw(sweep, {})); // an empty frame
}

} // namespace
