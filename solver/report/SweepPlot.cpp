#include "report/SweepPlot.h"

#include "report/PlotPanel.h"
#include "report/Svg.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace gensolver {

namespace {

constexpr double kHeight = 300; // the sweep's panel

// The points of one series, complemented when asked (1 - value; the interval turns over).
std::vector<CurvePoint> points(const Sweep& sweep, const SweepSeries& s, bool complement) {
    const std::size_t n = sweep.x.size();
    if (s.value.size() != n || (!s.lower.empty() && s.lower.size() != n) ||
        (!s.upper.empty() && s.upper.size() != n) || s.lower.empty() != s.upper.empty())
        throw std::invalid_argument("sweep plot: series '" + s.label + "' has " +
                                    std::to_string(s.value.size()) + " values and " +
                                    std::to_string(s.lower.size()) + " lower and " +
                                    std::to_string(s.upper.size()) + " upper bounds for " +
                                    std::to_string(n) + " parameter values");
    std::vector<CurvePoint> out;
    for (std::size_t i = 0; i < n; ++i) {
        CurvePoint p{sweep.x[i], s.value[i], s.value[i], s.value[i]};
        if (!s.lower.empty()) {
            p.lower = s.lower[i];
            p.upper = s.upper[i];
        }
        if (complement)
            p = {p.x, 1.0 - p.value, 1.0 - p.upper, 1.0 - p.lower};
        out.push_back(p);
    }
    std::stable_sort(out.begin(), out.end(),
                     [](const CurvePoint& a, const CurvePoint& b) { return a.x < b.x; });
    return out;
}

} // namespace

void writeSweepPlot(std::ostream& out, const Sweep& sweep, const PlotOptions& options) {
    std::vector<std::vector<CurvePoint>> curves;
    std::vector<double> xs = sweep.x, ys;
    for (const SweepSeries& s : sweep.series) {
        curves.push_back(points(sweep, s, options.complement));
        for (const CurvePoint& p : curves.back())
            if (std::isfinite(p.value))
                ys.insert(ys.end(), {p.value, p.lower, p.upper});
    }
    const double top = PlotLayout::title + PlotLayout::above;
    const Axis x = Axis::over(xs, options.logTime, PlotLayout::left,
                              PlotLayout::left + PlotLayout::plotWidth());
    const Axis y = Axis::over(ys, options.logValue, top + kHeight, top);
    const double height = top + kHeight + PlotLayout::below;
    Svg svg(out, PlotLayout::width, height);
    svg.text(PlotLayout::left + PlotLayout::plotWidth() / 2, 28,
             sweep.title.empty() ? "measures against " + sweep.parameter : sweep.title,
             "text-anchor=\"middle\" font-size=\"16\"");
    PlotPanel panel(svg, x, y);
    const std::string valueTitle = options.complement ? "1 \xe2\x88\x92 value" : "value";
    panel.frame(sweep.parameter, valueTitle);
    std::vector<LegendEntry> legend;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const std::string colour = curveColour(i);
        const std::string name =
            (options.complement ? "1 \xe2\x88\x92 " : "") + sweep.series[i].label;
        const CurveDrawn drawn = panel.curve(curves[i], colour, name, sweep.parameter);
        legend.push_back({LegendEntry::Mark::Curve, colour, name});
        for (LegendEntry& note : curveNotes(drawn))
            legend.push_back(std::move(note));
    }
    panel.legend(legend);
    svg.finish();
}

} // namespace gensolver
