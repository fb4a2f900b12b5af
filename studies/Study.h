#pragma once
// A study: the experiments of one model executable (gen, gen-<model>), each generated
// by a run of the executable into a work folder and solved in this process by the
// solver library, several at a time.

#include "RunOutput.h"
#include "methods/Measures.h"

#include <functional>
#include <string>
#include <vector>

namespace genstudies {

class WorkFolder;

// One experiment's outcome: its heading, and its solution or why it failed.
struct ExperimentOutcome {
    int number = 0;
    ExperimentHeading heading;
    bool failed = false;
    std::string message; // when failed: which tool refused and its message
    std::string notice;  // the solver's note on values until absorption, empty if none
    gensolver::Solution solution;
};

// Called with the experiments done and their total, after each one ends.
using Progress = std::function<void(std::size_t done, std::size_t total)>;

// The number of experiments of `executable`, from its refusal of experiment -1 (a
// run that writes nothing). Throws std::runtime_error when the executable cannot be
// run or does not answer as a model executable does.
int probeExperimentCount(const std::string& executable, const WorkFolder& folder);

// Runs and solves one experiment, its files named e<number> in the folder (removed
// afterwards unless the folder keeps them). Never throws: a failure is in the outcome.
ExperimentOutcome runExperiment(const std::string& executable, const WorkFolder& folder, int number,
                                const gensolver::SolveOptions& solve);

// Runs every experiment of `numbers` on up to `jobs` threads (at least 1); the outcomes
// are in the order of `numbers`, whatever the order in which they end.
std::vector<ExperimentOutcome> runExperiments(const std::string& executable,
                                              const WorkFolder& folder,
                                              const std::vector<int>& numbers,
                                              const gensolver::SolveOptions& solve, unsigned jobs,
                                              const Progress& progress);

} // namespace genstudies
