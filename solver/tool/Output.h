#pragma once
// What gen-solve prints once a solution is found: the absorption notice, the
// report on standard output and the plot file.

#include "methods/Measures.h"
#include "tool/CommandLine.h"

namespace gensolver {

// Prints `solution` as the command line asks; returns the exit status (0, or 2
// when a value missed its tolerance). Throws std::runtime_error for a failed write.
int printSolution(const CommandLine& cl, const Solution& solution);

} // namespace gensolver
