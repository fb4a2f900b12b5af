#pragma once
// Reads what a model executable (gen, gen-<model>) prints: the number of experiments
// from the refusal of an out-of-range experiment number, an experiment's name and
// global-variable values from its "The Global Variable values for experiment <name>
// are:" block, and the message of a failed run.

#include <string>
#include <vector>

namespace genstudies {

// One global variable as the run printed it: name, declared type and value text
// (the stream's default format, six significant digits for floating values).
struct GlobalValue {
    std::string name;
    std::string type;
    std::string value;
};

// What a run says about its experiment.
struct ExperimentHeading {
    bool found = false;               // the block (or "There are no global variables.") was seen
    std::string name;                 // the experiment's name, empty without globals
    std::vector<GlobalValue> globals; // in the study's order
};

// The number of experiments that "ERROR: experiment number <n> (option -B) is out of
// range 0..<last>" on `err` gives (last + 1), or -1 when no such line is there.
int experimentCountFromRefusal(const std::string& err);

// The heading block of a run's standard output.
ExperimentHeading readHeading(const std::string& out);

// A run's message: its standard-error lines joined by blanks, else the last line of
// its standard output that is not a progress marker; empty when there is none.
std::string runMessage(const std::string& out, const std::string& err);

} // namespace genstudies
