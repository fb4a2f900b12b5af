// The time plot, read back from its SVG text: readable ticks, logarithmic axes, the
// 1 - value view, long-run levels, interval values and error whiskers.

#include "report/Plot.h"

#include "SvgElements.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <sstream>

namespace {

using gensolver::PlotOptions;
using gensolver::Result;
using gensolver::RewardType;
using gensolver::Solution;
using plottest::Element;
using plottest::labelValue;
using plottest::select;

Result value(const std::string& name, RewardType type, double start, double stop, double v,
             double bound) {
    Result r;
    r.variable = name;
    r.type = type;
    r.start = start;
    r.stop = stop;
    r.value = v;
    r.bound = bound;
    return r;
}

Result instant(const std::string& name, double t, double v, double bound = 0.0) {
    return value(name, RewardType::InstantOfTime, t, t, v, bound);
}

Result longRun(const std::string& name, double v) {
    Result r = value(name, RewardType::InstantOfTime, 0, 0, v, 0.0);
    r.longRun = true;
    return r;
}

std::vector<Element> draw(const std::vector<Result>& results, const PlotOptions& options = {}) {
    Solution s;
    s.stem = "out/test";
    s.results = results;
    std::ostringstream out;
    gensolver::writePlot(out, s, options);
    const std::string svg = out.str();
    EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
    EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
    return plottest::parseSvg(svg);
}

// The (data-x, data-value, cx, cy) of every marker.
struct Marker {
    double x, value, cx, cy;
};
std::vector<Marker> markers(const std::vector<Element>& all) {
    std::vector<Marker> out;
    for (const Element& e : select(all, "circle", "point"))
        out.push_back({e.number("data-x"), e.number("data-value"), e.number("cx"), e.number("cy")});
    return out;
}

// A reliability exp(-1e-7 t) at t = 0, 1, ..., 10: every value within 1e-6 of 1.
std::vector<Result> nearOne() {
    std::vector<Result> r;
    for (int t = 0; t <= 10; ++t)
        r.push_back(instant("reliability", t, std::exp(-1e-7 * t), 1e-15));
    return r;
}

TEST(TimePlot, TickLabelsAreDistinctOrderedAndPlaceTheValues) {
    const std::vector<Element> all = draw(nearOne());
    for (const char* cls : {"xlabel", "ylabel"}) {
        const std::vector<Element> labels = select(all, "text", cls);
        ASSERT_GE(labels.size(), 3u) << cls;
        std::set<std::string> seen;
        for (std::size_t i = 0; i < labels.size(); ++i) {
            EXPECT_TRUE(seen.insert(labels[i].content).second) << labels[i].content;
            EXPECT_FALSE(std::isnan(labelValue(labels[i].content))) << labels[i].content;
            if (i > 0) {
                EXPECT_LT(labelValue(labels[i - 1].content), labelValue(labels[i].content));
            }
        }
    }
    // The markers sit where the tick labels say their values are.
    const plottest::AxisMap x = plottest::axisMap(all, "x", false);
    const plottest::AxisMap y = plottest::axisMap(all, "y", false);
    const std::vector<Marker> m = markers(all);
    ASSERT_EQ(m.size(), 11u);
    for (int t = 0; t <= 10; ++t) {
        EXPECT_NEAR(m[t].cx, x.pixel(t), 0.05);
        EXPECT_NEAR(m[t].cy, y.pixel(std::exp(-1e-7 * t)), 0.05);
    }
}

TEST(TimePlot, LogarithmicAxesAndTheComplement) {
    // The unreliability 1 - exp(-1e-6 t) over t = 1 ... 1e5 on log-log axes: about
    // 1e-6 t, a straight line of slope 1 through the decades.
    std::vector<Result> r;
    std::vector<double> times;
    for (double t = 1; t <= 1e5; t *= 10) {
        times.push_back(t);
        r.push_back(instant("reliability", t, std::exp(-1e-6 * t), 1e-12));
    }
    r.push_back(instant("reliability", 0, 1.0)); // 1 - 1 = 0: not on a log axis
    r.push_back(value("uptime", RewardType::IntervalOfTime, 0, 10, 9.5, 0.0));
    PlotOptions options;
    options.logTime = options.logValue = options.complement = true;
    const std::vector<Element> all = draw(r, options);
    const plottest::AxisMap x = plottest::axisMap(all, "x", true);
    const plottest::AxisMap y = plottest::axisMap(all, "y", true);
    const std::vector<Marker> m = markers(all);
    ASSERT_EQ(m.size(), times.size() + 1);
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_EQ(m[i].x, times[i]);
        EXPECT_NEAR(m[i].value, -std::expm1(-1e-6 * times[i]), 1e-15);
        EXPECT_NEAR(m[i].cx, x.pixel(times[i]), 0.05);
        EXPECT_NEAR(m[i].cy, y.pixel(-std::expm1(-1e-6 * times[i])), 0.05);
    }
    if (m.size() > 1) {
        // Slope 1 on log-log: equal steps in both directions, one decade each.
        EXPECT_NEAR((m[1].cy - m[0].cy) / (m[1].cx - m[0].cx), y.scale / x.scale, 1e-3);
    }
    // Accumulated rewards are not complemented.
    EXPECT_EQ(m.back().value, 9.5);
    bool noted = false;
    for (const Element& e : select(all, "text", ""))
        noted |= e.content == "1 value off the log scale, not drawn";
    EXPECT_TRUE(noted);
}

TEST(TimePlot, ComplementIsOneMinusTheValueWithTheBoundCarried) {
    // Values whose complements are exact in binary: 0.75, 1 - 2^-30, and 0.5.
    const std::vector<Element> all =
        draw({instant("r", 1, 0.75, 0.125), instant("r", 2, 1 - std::ldexp(1.0, -30), 0.0),
              instant("r", 3, 0.5, 0.0)},
             PlotOptions{false, false, true});
    const std::vector<Marker> m = markers(all);
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[0].value, 0.25);
    EXPECT_EQ(m[1].value, std::ldexp(1.0, -30));
    EXPECT_EQ(m[2].value, 0.5);
    const std::vector<Element> whiskers = select(all, "line", "whisker");
    ASSERT_EQ(whiskers.size(), 1u); // only the first bound is taller than a marker
    const plottest::AxisMap y = plottest::axisMap(all, "y", false);
    EXPECT_NEAR(whiskers[0].number("y1"), y.pixel(0.25 + 0.125), 0.05);
    EXPECT_NEAR(whiskers[0].number("y2"), y.pixel(0.25 - 0.125), 0.05);
    EXPECT_EQ(select(all, "title", "")[0].content,
              "1 \xe2\x88\x92 r at t = 1: 0.25 \xc2\xb1 0.13"); // bound rounded up
}

TEST(TimePlot, LongRunValuesDoNotSetTheTransientScale) {
    const std::vector<Result> transient = nearOne();
    std::vector<Result> withLimits = transient;
    withLimits.push_back(longRun("reliability", 0.0)); // absorbed in the long run
    const std::vector<Element> plain = draw(transient), limited = draw(withLimits);
    auto contents = [](const std::vector<Element>& all) {
        std::vector<std::string> out;
        for (const Element& e : select(all, "text", "ylabel"))
            out.push_back(e.content + "@" + e.attributes.at("y"));
        return out;
    };
    EXPECT_EQ(contents(plain), contents(limited));
    const std::vector<Marker> a = markers(plain), b = markers(limited);
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        EXPECT_EQ(a[i].cy, b[i].cy);
    // Below the panel: a marker at the bottom edge, no line through the panel.
    EXPECT_EQ(select(limited, "polygon", "level-off").size(), 1u);
    EXPECT_TRUE(select(limited, "line", "level").empty());
    // A long-run value inside the transient range is a dashed line at its height.
    std::vector<Result> inside = transient;
    inside.push_back(longRun("reliability", std::exp(-5e-7)));
    const std::vector<Element> level = draw(inside);
    const std::vector<Element> lines = select(level, "line", "level");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NEAR(lines[0].number("y1"), plottest::axisMap(level, "y", false).pixel(std::exp(-5e-7)),
                0.05);
    // A variable with long-run values only is drawn on their scale.
    const std::vector<Element> only = draw({longRun("a", 0.3), longRun("a", 0.6)});
    EXPECT_EQ(select(only, "line", "level").size(), 2u);
}

TEST(TimePlot, IntervalValuesAreCurvesOverTheirEnds) {
    // Accumulated over [0, 10], [0, 20], [0, 40]: one polyline through (10, 9),
    // (20, 17), (40, 30); the intervals overlap, so no bars.
    const std::vector<Element> nested =
        draw({value("up", RewardType::IntervalOfTime, 0, 20, 17, 0),
              value("up", RewardType::IntervalOfTime, 0, 10, 9, 0),
              value("up", RewardType::IntervalOfTime, 0, 40, 30, 0)});
    const std::vector<Element> curves = select(nested, "polyline", "curve");
    ASSERT_EQ(curves.size(), 1u);
    const plottest::AxisMap x = plottest::axisMap(nested, "x", false);
    const plottest::AxisMap y = plottest::axisMap(nested, "y", false);
    std::istringstream points(curves[0].attributes.at("points"));
    const double expected[][2] = {{10, 9}, {20, 17}, {40, 30}};
    for (const auto& [t, v] : expected) {
        double px = 0, py = 0;
        char comma = 0;
        ASSERT_TRUE(points >> px >> comma >> py);
        EXPECT_NEAR(px, x.pixel(t), 0.05);
        EXPECT_NEAR(py, y.pixel(v), 0.05);
    }
    EXPECT_TRUE(select(nested, "line", "span").empty());
    // Averages over [0, 10] and [10, 30]: side by side, each drawn as a bar over its
    // interval ending at its marker.
    const std::vector<Element> slices =
        draw({value("avg", RewardType::TimeAveragedInterval, 0, 10, 0.9, 0),
              value("avg", RewardType::TimeAveragedInterval, 10, 30, 0.7, 0)});
    const std::vector<Element> bars = select(slices, "line", "span");
    ASSERT_EQ(bars.size(), 2u);
    const plottest::AxisMap sx = plottest::axisMap(slices, "x", false);
    EXPECT_NEAR(bars[1].number("x1"), sx.pixel(10), 0.05);
    EXPECT_NEAR(bars[1].number("x2"), sx.pixel(30), 0.05);
    EXPECT_EQ(markers(slices)[1].x, 30);
}

TEST(TimePlot, WhiskersAreDrawnBeneathTheMarkersOnlyWhereVisible) {
    // Values 0 to 1 over 200 pixels: a bound of 0.1 spans 40 pixels, one of 1e-9 none.
    const std::vector<Element> all =
        draw({instant("v", 1, 0.0, 1e-9), instant("v", 2, 0.5, 0.1), instant("v", 3, 1.0, 0)});
    ASSERT_EQ(select(all, "line", "whisker").size(), 1u);
    std::size_t whisker = 0, marker = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].hasClass("whisker"))
            whisker = i;
        if (all[i].hasClass("point") && all[i].number("data-x") == 2)
            marker = i;
    }
    EXPECT_LT(whisker, marker);
    bool noted = false;
    for (const Element& e : select(all, "text", ""))
        noted |= e.content == "bounds up to 1e-9: within markers";
    EXPECT_TRUE(noted);
    // Two variables share the time axis: the same time ticks in both panels.
    const std::vector<Element> two = draw({instant("a", 5, 1.0), instant("b", 50, 2.0)});
    const std::vector<Element> labels = select(two, "text", "xlabel");
    ASSERT_EQ(labels.size() % 2, 0u);
    for (std::size_t i = 0; i < labels.size() / 2; ++i)
        EXPECT_EQ(labels[i].content, labels[i + labels.size() / 2].content);
}

} // namespace
