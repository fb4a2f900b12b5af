#pragma once
// Runs the generator in-process over a test model and collects what it wrote.

#include "support/TestSupport.h"

#include <string>

class PVModel;

namespace testmodel {

struct GeneratorOutput {
    std::string out;      // standard output, without the processor-time line
    std::string timeLine; // the processor-time line
    std::string arm, var, det, pvtype;
};

struct GeneratorOptions {
    int traceLevel = 0;
    short absorb = 0;
    double hashValue = 0.5;
    const char* traceFile = nullptr; // name in the scratch folder, or standard output
};

// Constructs the generator over `model`, sets the trace level, initializes the
// trace and runs GenStateSpace with the files named <dir>run.*.
GeneratorOutput runGenerator(PVModel* model, const testsupport::TempDir& dir,
                             const GeneratorOptions& options = {});

// The .arm header for `count` states: the type, the count, and the rest of the
// placeholder line (63 blanks, or 8 on the deterministic path) left blank.
std::string armHeader(int count, int placeholder = 63);

} // namespace testmodel
