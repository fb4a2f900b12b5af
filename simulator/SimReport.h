#pragma once
// SimReport: prints a simulation's estimates as a table for people, as CSV or
// as JSON, with the field names of gen-solve's report where they mean the same.

#include "SimCommandLine.h"

#include <iosfwd>
#include <string>

// What the report says about the run besides the estimates.
struct SimRunInfo {
    std::string model;                     // the model's name
    int experiment = 0;                    // the experiment simulated
    const SimSettings* settings = nullptr; // not owned
    double seconds = 0.0;                  // wall-clock time of the run
};

void writeSimReport(std::ostream& out, const SimResult& result, const SimRunInfo& info,
                    SimFormat format);

// The warnings of a run, one line each: values without spread, a likelihood
// ratio off 1, batches still correlated, activities never completed in the long
// run, widths not reached. The table ends with them; CSV and JSON, which have
// no room for them, leave them to standard error.
void writeSimWarnings(std::ostream& out, const SimResult& result, const SimRunInfo& info);
