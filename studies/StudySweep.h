#pragma once
// The measures of a study against one global variable, for the sweep plot: one series
// per measure (variable, type and time point), one point per experiment.

#include "Study.h"
#include "report/SweepPlot.h"

#include <string>
#include <vector>

namespace genstudies {

// The sweep of `outcomes` over global `parameter`. Each point carries its value and
// the interval value ± error bound; a failed experiment's points are NaN (left out of
// the picture) and the title says the study is incomplete. Throws std::invalid_argument
// when the parameter is not a global of the study, when one of its values is not a
// number, or when another global varies too (the curves would mix two parameters).
gensolver::Sweep buildSweep(const std::vector<ExperimentOutcome>& outcomes,
                            const std::string& parameter, const std::string& model);

} // namespace genstudies
