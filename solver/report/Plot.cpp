#include "report/Plot.h"

#include "report/PlotPanel.h"
#include "report/Svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

namespace gensolver {

namespace {

const std::string kMinus = "\xe2\x88\x92"; // "−"

// A variable's values as drawn: over time (at the end of each value's interval) and in
// the long run.
struct VariablePlot {
    std::string name;
    RewardType type = RewardType::InstantOfTime;
    std::vector<CurvePoint> points;  // sorted by time
    std::vector<double> starts;      // each point's interval start (its time for type 0)
    std::vector<CurvePoint> longRun; // x unused
};

// Whether the view 1 - value applies: to probabilities and rates, not to rewards
// accumulated over an interval, which are drawn as they are.
bool complementable(RewardType type, bool longRun) {
    return longRun || type != RewardType::IntervalOfTime;
}

// A value with its bound as drawn: 1 - value when asked (exact for values in [0.5, 1],
// and rounded once otherwise), the bound carried over unchanged.
CurvePoint drawnPoint(double x, const Result& r, bool complement) {
    const double v = complement ? 1.0 - r.value : r.value;
    return {x, v, v - r.bound, v + r.bound};
}

// The variables in the order of the results, each with its values to draw.
std::vector<VariablePlot> collect(const Solution& s, bool complement) {
    std::vector<VariablePlot> out;
    for (const Result& r : s.results) {
        if (r.untilAbsorption)
            continue; // no time axis: accumulated until a random time
        auto it = std::find_if(out.begin(), out.end(),
                               [&](const VariablePlot& v) { return v.name == r.variable; });
        if (it == out.end()) {
            out.push_back({r.variable, r.type, {}, {}, {}});
            it = out.end() - 1;
        }
        const bool isLongRun = r.longRun || r.type == RewardType::SteadyState;
        const bool c = complement && complementable(r.type, isLongRun);
        if (isLongRun) {
            it->longRun.push_back(drawnPoint(0.0, r, c));
            continue;
        }
        // Interval values belong to the end of their interval: the reward accumulated, or
        // its average, up to that time.
        const double x = r.type == RewardType::InstantOfTime ? r.start : r.stop;
        const auto at = std::upper_bound(it->points.begin(), it->points.end(), x,
                                         [](double t, const CurvePoint& p) { return t < p.x; });
        it->starts.insert(it->starts.begin() + (at - it->points.begin()), r.start);
        it->points.insert(at, drawnPoint(x, r, c));
    }
    return out;
}

// Whether the intervals ending at the points overlap none of the others, so that each can
// be drawn as a bar without hiding another.
bool disjoint(const VariablePlot& v) {
    for (std::size_t i = 1; i < v.points.size(); ++i)
        if (v.starts[i] < v.points[i - 1].x)
            return false;
    return !v.points.empty();
}

// The name a variable's curve goes by in the legend.
std::string describe(const VariablePlot& v, bool complemented) {
    const std::string name = complemented ? "1 " + kMinus + " " + v.name : v.name;
    switch (v.type) {
    case RewardType::IntervalOfTime:
        return name + ", accumulated to t";
    case RewardType::TimeAveragedInterval:
        return name + ", averaged to t";
    default:
        return name + " at t";
    }
}

// A number for the legend: enough digits to compare with the table.
std::string shown(double x) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.12g", x);
    return buf;
}

// One variable's panel: curve, interval bars, long-run levels, legend.
void drawVariable(Svg& svg, const VariablePlot& v, const Axis& time, double top,
                  const PlotOptions& options, std::size_t index) {
    const std::string colour = curveColour(index);
    const bool c = options.complement && complementable(v.type, false);
    const std::string name = c ? "1 " + kMinus + " " + v.name : v.name;
    // The transient values alone set the value axis; long-run values set it only when
    // there are no others.
    std::vector<double> ys;
    for (const CurvePoint& p : v.points.empty() ? v.longRun : v.points)
        ys.insert(ys.end(), {p.value, p.lower, p.upper});
    const Axis value = Axis::over(ys, options.logValue, top + PlotLayout::height, top);
    svg.text(PlotLayout::left, top - 8, name, "font-weight=\"bold\" fill=\"" + colour + "\"");
    PlotPanel panel(svg, time, value);
    panel.frame("time", name);
    std::vector<LegendEntry> legend;
    if (!v.points.empty()) {
        if (v.type != RewardType::InstantOfTime && disjoint(v))
            panel.spans(v.points, v.starts, colour);
        const CurveDrawn drawn = panel.curve(v.points, colour, name, "t");
        legend.push_back({LegendEntry::Mark::Curve, colour, describe(v, c)});
        if (v.type != RewardType::InstantOfTime)
            legend.push_back({LegendEntry::Mark::Text, "", "each value at its interval's end"});
        if (options.complement && !c)
            legend.push_back({LegendEntry::Mark::Text, "", "accumulated: drawn as it is"});
        for (LegendEntry& note : curveNotes(drawn))
            legend.push_back(std::move(note));
    }
    for (const CurvePoint& p : v.longRun) {
        const std::string text = "long run " + shown(p.value);
        const int side = panel.level(p.value, colour, name + " " + text);
        legend.push_back({side == 0  ? LegendEntry::Mark::Dashed
                          : side > 0 ? LegendEntry::Mark::Above
                                     : LegendEntry::Mark::Below,
                          colour,
                          text + (side > 0   ? " (above)"
                                  : side < 0 ? " (below)"
                                             : "")});
    }
    panel.legend(legend);
}

} // namespace

void writePlot(std::ostream& out, const Solution& s, const PlotOptions& options) {
    const std::vector<VariablePlot> variables = collect(s, options.complement);
    // The shared time axis starts at 0 on a linear scale; a logarithmic one spans the
    // positive time points.
    std::vector<double> times;
    if (!options.logTime)
        times.push_back(0.0);
    for (const VariablePlot& v : variables)
        for (const CurvePoint& p : v.points)
            times.push_back(p.x);
    const Axis time = Axis::over(times, options.logTime, PlotLayout::left,
                                 PlotLayout::left + PlotLayout::plotWidth());
    const double step = PlotLayout::above + PlotLayout::height + PlotLayout::below;
    const double panels = static_cast<double>(std::max<std::size_t>(variables.size(), 1));
    Svg svg(out, PlotLayout::width, PlotLayout::title + panels * step + 10);
    svg.text(PlotLayout::left + PlotLayout::plotWidth() / 2, 28,
             s.stem + ": performance variables" +
                 (options.complement ? " (1 " + kMinus + " value)" : ""),
             "text-anchor=\"middle\" font-size=\"16\"");
    if (variables.empty())
        svg.text(PlotLayout::left, PlotLayout::title + 30, "no values over time to draw");
    for (std::size_t i = 0; i < variables.size(); ++i)
        drawVariable(svg, variables[i], time,
                     PlotLayout::title + PlotLayout::above + static_cast<double>(i) * step, options,
                     i);
    svg.finish();
}

} // namespace gensolver
