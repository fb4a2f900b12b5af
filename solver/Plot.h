#pragma once
// Draws each performance variable over its time points as a plain SVG picture:
// axes with ticks and labels, one coloured line with markers per variable, long-run
// values as dashed lines, and a legend.

#include "Measures.h"

#include <iosfwd>

namespace gensolver {

void writePlot(std::ostream& out, const Solution& solution);

} // namespace gensolver
