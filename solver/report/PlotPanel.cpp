#include "report/PlotPanel.h"

#include "report/Svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace gensolver {

namespace {

const char* const kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#ff7f0e", "#9467bd",
                                "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22", "#17becf"};
constexpr double kMarker = 3.5; // marker radius

// A number for a tooltip or legend: enough digits to compare with the table.
std::string exact(double x) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.15g", x);
    return buf;
}

// An error bound: two digits are enough.
std::string rough(double x) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.2g", x);
    return buf;
}

// Whether a value can be placed on the axis at all.
bool drawable(const Axis& axis, double v) {
    return std::isfinite(v) && (!axis.logarithmic() || v > 0.0);
}

// The lower end of an interval on the axis: its bottom when the interval reaches below
// what a logarithmic axis shows.
double lowerEnd(const Axis& axis, double v) {
    return drawable(axis, v) ? axis.clamp(v) : axis.lo();
}

} // namespace

const char* curveColour(std::size_t i) {
    return kColours[i % (sizeof kColours / sizeof kColours[0])];
}

std::vector<LegendEntry> curveNotes(const CurveDrawn& drawn) {
    std::vector<LegendEntry> notes;
    if (drawn.undrawable > 0)
        notes.push_back({LegendEntry::Mark::Text, "",
                         std::to_string(drawn.undrawable) +
                             (drawn.undrawable == 1 ? " value" : " values") +
                             " off the log scale, not drawn"});
    if (drawn.missing > 0)
        notes.push_back({LegendEntry::Mark::Text, "",
                         std::to_string(drawn.missing) +
                             (drawn.missing == 1 ? " point" : " points") + " without a value"});
    if (drawn.points > drawn.whiskers)
        notes.push_back({LegendEntry::Mark::Text, "",
                         drawn.whiskers == 0 && drawn.hiddenBound == 0.0
                             ? "no error bounds given"
                             : "bounds up to " + rough(drawn.hiddenBound) + ": within markers"});
    return notes;
}

PlotPanel::PlotPanel(Svg& svg, const Axis& x, const Axis& y)
    : svg_(svg), x_(x), y_(y), left_(std::min(x.from(), x.to())),
      right_(std::max(x.from(), x.to())), top_(std::min(y.from(), y.to())),
      bottom_(std::max(y.from(), y.to())) {}

void PlotPanel::frame(const std::string& xTitle, const std::string& yTitle) {
    for (const Tick& t : x_.ticks()) {
        const double px = x_.position(t.value);
        svg_.line(px, top_, px, bottom_, "stroke=\"#e5e5e5\"");
        svg_.line(px, bottom_, px, bottom_ + 6, "stroke=\"black\" class=\"xtick\"");
        svg_.text(px, bottom_ + 20, t.label, "text-anchor=\"middle\" class=\"xlabel\"");
    }
    for (const Tick& t : y_.ticks()) {
        const double py = y_.position(t.value);
        svg_.line(left_, py, right_, py, "stroke=\"#e5e5e5\"");
        svg_.line(left_ - 6, py, left_, py, "stroke=\"black\" class=\"ytick\"");
        svg_.text(left_ - 9, py + 4, t.label, "text-anchor=\"end\" class=\"ylabel\"");
    }
    svg_.rect(left_, top_, right_ - left_, bottom_ - top_, "fill=\"none\" stroke=\"black\"");
    svg_.text((left_ + right_) / 2, bottom_ + 40, xTitle + (x_.logarithmic() ? " (log scale)" : ""),
              "text-anchor=\"middle\"");
    svg_.text(0, 0, yTitle + (y_.logarithmic() ? " (log scale)" : ""),
              "transform=\"translate(16 " + Svg::number((top_ + bottom_) / 2) +
                  ") rotate(-90)\" text-anchor=\"middle\"");
}

CurveDrawn PlotPanel::curve(const std::vector<CurvePoint>& points, const std::string& colour,
                            const std::string& name, const std::string& xName) {
    CurveDrawn drawn;
    std::vector<const CurvePoint*> shown;
    for (const CurvePoint& p : points) {
        if (drawable(x_, p.x) && drawable(y_, p.value))
            shown.push_back(&p);
        else if (!std::isfinite(p.x) || !std::isfinite(p.value))
            ++drawn.missing;
        else
            ++drawn.undrawable;
    }
    drawn.points = shown.size();
    // Whiskers first, so that the line and the markers lie on top of them.
    for (const CurvePoint* p : shown) {
        const double px = x_.position(x_.clamp(p->x));
        const double top = y_.position(y_.clamp(p->upper));
        const double bottom = y_.position(lowerEnd(y_, p->lower));
        if (std::fabs(bottom - top) > 2 * kMarker + 2) {
            svg_.line(px, top, px, bottom,
                      "stroke=\"" + colour + "\" stroke-opacity=\"0.5\" class=\"whisker\"");
            svg_.line(px - 4, top, px + 4, top, "stroke=\"" + colour + "\" stroke-opacity=\"0.5\"");
            svg_.line(px - 4, bottom, px + 4, bottom,
                      "stroke=\"" + colour + "\" stroke-opacity=\"0.5\"");
            ++drawn.whiskers;
        } else {
            drawn.hiddenBound = std::max(drawn.hiddenBound, (p->upper - p->lower) / 2);
        }
    }
    if (shown.size() > 1) {
        std::vector<std::pair<double, double>> line;
        for (const CurvePoint* p : shown)
            line.emplace_back(x_.position(x_.clamp(p->x)), y_.position(y_.clamp(p->value)));
        svg_.polyline(line, "fill=\"none\" stroke=\"" + colour +
                                "\" stroke-width=\"2\" class=\"curve\" data-name=\"" +
                                Svg::escape(name) + "\"");
    }
    for (const CurvePoint* p : shown) {
        std::string title = name + " at " + xName + " = " + exact(p->x) + ": " + exact(p->value);
        if (p->lower != p->value || p->upper != p->value)
            title += p->upper - p->value == p->value - p->lower
                         ? " \xc2\xb1 " + rough(p->upper - p->value)
                         : " in [" + exact(p->lower) + ", " + exact(p->upper) + "]";
        svg_.circle(x_.position(x_.clamp(p->x)), y_.position(y_.clamp(p->value)), kMarker,
                    "fill=\"" + colour + "\" class=\"point\" data-x=\"" + exact(p->x) +
                        "\" data-value=\"" + exact(p->value) + "\"",
                    title);
    }
    return drawn;
}

void PlotPanel::spans(const std::vector<CurvePoint>& stops, const std::vector<double>& starts,
                      const std::string& colour) {
    for (std::size_t i = 0; i < stops.size() && i < starts.size(); ++i) {
        const CurvePoint& p = stops[i];
        if (!drawable(x_, p.x) || !drawable(y_, p.value))
            continue;
        const double py = y_.position(y_.clamp(p.value));
        svg_.line(x_.position(lowerEnd(x_, starts[i])), py, x_.position(x_.clamp(p.x)), py,
                  "stroke=\"" + colour + "\" stroke-width=\"5\" stroke-opacity=\"0.3\" " +
                      "class=\"span\"");
    }
}

int PlotPanel::level(double value, const std::string& colour, const std::string& title) {
    if (drawable(y_, value) && y_.contains(value)) {
        const double py = y_.position(value);
        svg_.line(left_, py, right_, py,
                  "stroke=\"" + colour +
                      "\" stroke-width=\"1.5\" stroke-dasharray=\"6 4\" class=\"level\"");
        return 0;
    }
    // Off the axis: a triangle on the edge it lies beyond, pointing out of the frame.
    const int side = drawable(y_, value) && value > y_.hi() ? 1 : -1;
    const double edge = side > 0 ? top_ : bottom_, tip = edge - side * 9.0;
    svg_.polygon({{right_ - 14, edge}, {right_ - 4, edge}, {right_ - 9, tip}},
                 "fill=\"" + colour + "\" class=\"level-off\"", title);
    return side;
}

void PlotPanel::legend(const std::vector<LegendEntry>& entries) {
    const double x = right_ + 16;
    double y = top_ + 10;
    for (const LegendEntry& e : entries) {
        const std::string stroke = "stroke=\"" + e.colour + "\"";
        switch (e.mark) {
        case LegendEntry::Mark::Curve:
            svg_.line(x, y, x + 24, y, stroke + " stroke-width=\"2\"");
            svg_.circle(x + 12, y, kMarker, "fill=\"" + e.colour + "\"");
            break;
        case LegendEntry::Mark::Dashed:
            svg_.line(x, y, x + 24, y, stroke + " stroke-width=\"1.5\" stroke-dasharray=\"6 4\"");
            break;
        case LegendEntry::Mark::Level:
            svg_.polygon({{x + 7, y + 4}, {x + 17, y + 4}, {x + 12, y - 5}},
                         "fill=\"" + e.colour + "\"");
            break;
        case LegendEntry::Mark::Text:
            break;
        }
        svg_.text(e.mark == LegendEntry::Mark::Text ? x : x + 32, y + 4, e.text,
                  e.mark == LegendEntry::Mark::Text ? "fill=\"#555555\" font-size=\"11\""
                                                    : "class=\"legend\"");
        y += e.mark == LegendEntry::Mark::Text ? 16 : 20;
    }
}

} // namespace gensolver
