#pragma once
// Writes a study's outcomes as one result in gen-solve's formats (table, CSV, JSON):
// each row of a result carries its experiment's number, name and global-variable
// values beside the measure. Rows are in the order of the outcomes; a failed
// experiment is marked where its rows would be, and the result says it is incomplete.

#include "Study.h"
#include "report/Report.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace genstudies {

// What the report says about the study as a whole.
struct StudyHeading {
    std::string executable;
    double epsilon = 0.0; // the error bound asked of each transient solution
};

void writeStudyReport(std::ostream& out, const StudyHeading& heading,
                      const std::vector<ExperimentOutcome>& outcomes, gensolver::Format format);

// The names of the global variables of all outcomes, in the order first met.
std::vector<std::string> globalNames(const std::vector<ExperimentOutcome>& outcomes);

// The value text of global `name` in `outcome`, empty when the run did not print it.
std::string globalValue(const ExperimentOutcome& outcome, const std::string& name);

} // namespace genstudies
