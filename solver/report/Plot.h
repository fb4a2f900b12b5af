#pragma once
// Draws each performance variable over its time points as an SVG picture: one panel per
// variable over a shared time axis, each value with its error whisker where the bound
// is wide enough to see, accumulated and time-averaged values at the end of their
// intervals, long-run values as levels that never set the scale of the transient curve.

#include "methods/Measures.h"

#include <iosfwd>

namespace gensolver {

// How a plot is drawn, chosen per run.
struct PlotOptions {
    bool logTime = false;    // logarithmic time axis (the parameter axis of a sweep plot)
    bool logValue = false;   // logarithmic value axis
    bool complement = false; // draw 1 - value (unreliability from reliability), bounds kept
};

void writePlot(std::ostream& out, const Solution& solution, const PlotOptions& options = {});

} // namespace gensolver
