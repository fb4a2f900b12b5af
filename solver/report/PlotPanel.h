#pragma once
// One panel of a plot: a frame with a horizontal and a vertical axis (grid, ticks and
// labels), curves with markers and error whiskers, long-run levels and a legend beside
// it. The time plot and the sweep plot draw every panel through it.

#include "report/Axis.h"

#include <cstddef>
#include <string>
#include <vector>

namespace gensolver {

class Svg;

// The geometry every plot shares, in SVG units.
struct PlotLayout {
    static constexpr double width = 860;  // the picture
    static constexpr double left = 112;   // left of a panel: value labels and axis title
    static constexpr double right = 250;  // right of a panel: the legend
    static constexpr double title = 50;   // above the first panel: the picture's title
    static constexpr double height = 190; // a panel's frame
    static constexpr double above = 24;   // above a frame: the panel's name
    static constexpr double below = 56;   // below a frame: tick labels and axis title
    static double plotWidth() { return width - left - right; }
};

// The colour of the i-th curve of a picture.
const char* curveColour(std::size_t i);

// One value of a curve: its position on the horizontal axis, the value and the interval
// [lower, upper] it is known to lie in (lower == upper == value for none).
struct CurvePoint {
    double x = 0.0;
    double value = 0.0;
    double lower = 0.0;
    double upper = 0.0;
};

// What drawing a curve did: points drawn and left out, whiskers drawn, and the widest
// error interval too small to draw beside a marker.
struct CurveDrawn {
    std::size_t points = 0;
    std::size_t missing = 0;    // not finite (no value)
    std::size_t undrawable = 0; // not positive on a logarithmic axis
    std::size_t whiskers = 0;
    double hiddenBound = 0.0; // half the widest interval not drawn as a whisker
};

// A line of the legend: a sample of the curve's style and its text.
struct LegendEntry {
    enum class Mark { Curve, Dashed, Level, Text };
    Mark mark = Mark::Text;
    std::string colour;
    std::string text;
};

// The legend's notes on what a curve's drawing left out: values a logarithmic axis cannot
// show, error bounds too small to see.
std::vector<LegendEntry> curveNotes(const CurveDrawn& drawn);

class PlotPanel {
public:
    // A panel drawn into svg, its frame spanned by the axes' pixel ranges.
    PlotPanel(Svg& svg, const Axis& x, const Axis& y);

    // Grid, ticks, tick labels, frame, and the axes' titles.
    void frame(const std::string& xTitle, const std::string& yTitle);
    // A curve through points (sorted by x) with markers whose tooltips name it, and
    // whiskers for intervals taller than a marker.
    CurveDrawn curve(const std::vector<CurvePoint>& points, const std::string& colour,
                     const std::string& name, const std::string& xName);
    // Horizontal bars over [start, stop] at each value: what an interval value covers.
    void spans(const std::vector<CurvePoint>& stops, const std::vector<double>& starts,
               const std::string& colour);
    // A long-run level: a dashed line across the frame when the value axis holds it,
    // otherwise a triangle on the top or bottom edge at the right pointing at it. Returns
    // where it was drawn: 0 inside, 1 above, -1 below the frame.
    int level(double value, const std::string& colour, const std::string& title);
    // The legend beside the frame, one entry per line.
    void legend(const std::vector<LegendEntry>& entries);

    const Axis& x() const { return x_; }
    const Axis& y() const { return y_; }

private:
    Svg& svg_;                           // not owned: the picture outlives the panel
    Axis x_, y_;                         // copies of the axes
    double left_, right_, top_, bottom_; // the frame in pixels
};

} // namespace gensolver
