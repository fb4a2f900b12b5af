#pragma once
// Draws each performance variable over its time points as a plain SVG picture: one
// panel per variable (its own value axis, ticks and labels, the shared time axis), a
// coloured line with markers through its values, long-run values as dashed lines,
// and a legend beside each panel.

#include "methods/Measures.h"

#include <iosfwd>

namespace gensolver {

void writePlot(std::ostream& out, const Solution& solution);

} // namespace gensolver
