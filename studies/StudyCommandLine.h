#pragma once
// The command line of gen-study.

#include "methods/Measures.h"
#include "report/Report.h"

#include <string>
#include <vector>

namespace genstudies {

struct StudyCommandLine {
    std::string executable;  // the model executable: gen or a gen-<model>
    std::string experiments; // the list given with -e, empty for every experiment
    unsigned jobs = 0;       // experiments run at once; 0 until read: the number of cores
    std::string workFolder;  // empty: a temporary folder
    bool keepFiles = false;  // keep each run's files (and a temporary folder)
    gensolver::Format format = gensolver::Format::Table;
    gensolver::SolveOptions solve;
    double epsilon = 1e-12; // the error bound asked of each transient solution
    std::string plot;       // SVG file of the sweep plot, empty for none
    std::string sweep;      // the global variable on the plot's horizontal axis
    bool logX = false;      // the plot's axes on log scales
    bool logY = false;
    bool complement = false; // the plot shows 1 - value
    bool help = false;
};

// Throws std::invalid_argument with a one-line message for a bad command line. The
// solver's options are read by gen-solve's own parser, so they mean and check the same.
StudyCommandLine parseStudyCommandLine(const std::vector<std::string>& args);

// The usage text.
const char* studyUsage();

} // namespace genstudies
