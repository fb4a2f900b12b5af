#pragma once
// Draws measures against a parameter as an SVG picture: one panel, one curve per
// measure with markers at the parameter values and whiskers for the intervals the
// values are known to lie in.

#include "report/Plot.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace gensolver {

// One measure over the parameter values: value[i] at Sweep::x[i], known to lie in
// [lower[i], upper[i]]. lower and upper are either empty (no bounds) or as long as value;
// a NaN value is a point left out (a run that gave none).
struct SweepSeries {
    std::string label;
    std::vector<double> value, lower, upper;
};

// The measures of a study against the parameter that varies.
struct Sweep {
    std::string parameter;           // the horizontal axis's title
    std::string title;               // the picture's title
    std::vector<double> x;           // the parameter values
    std::vector<SweepSeries> series; // one curve each
};

// Throws std::invalid_argument when a series's lengths do not match x.
// options.logTime makes the parameter axis logarithmic.
void writeSweepPlot(std::ostream& out, const Sweep& sweep, const PlotOptions& options);

} // namespace gensolver
