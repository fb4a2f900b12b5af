#pragma once
// The command line of gen-solve.

#include "methods/Measures.h"
#include "report/Plot.h"
#include "report/Report.h"

#include <string>
#include <vector>

namespace gensolver {

struct CommandLine {
    std::string stem; // <path><name>, the files' common prefix
    Format format = Format::Table;
    std::string plot;        // SVG file to write, empty for none
    PlotOptions plotOptions; // how the plot is drawn
    SolveOptions solve;
    unsigned threads = 0;    // worker threads of the solver, 0 for one per core
    bool binaryRows = false; // rows and rewards from the binary parts, not .arm and .var
    bool help = false;
};

// Throws std::invalid_argument with a one-line message for a bad command line.
CommandLine parseCommandLine(const std::vector<std::string>& args);

// The usage text.
const char* usage();

} // namespace gensolver
