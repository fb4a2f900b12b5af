#pragma once
// SimCommandLine: the options of gen-sim. The experiment selection takes gen's
// letters (-B, -O, -N, -P); the rest are long options of the simulator.

#include "Simulator.h"

#include <string>

// How gen-sim prints its estimates.
enum class SimFormat { Table, Csv, Json };

struct SimCommandLine {
    SimSettings settings;                // the run's settings
    int experiment = 0;                  // -B: the experiment number
    std::string overrides;               // -O: global-variable overrides, as gen takes them
    bool hasOverrides = false;           // -O was given
    std::string name;                    // -N: the name in the report (default: the executable's)
    SimFormat format = SimFormat::Table; // --format
    bool help = false;                   // --help: print the usage and stop
};

// The usage text.
const char* simUsage();

// Parses argv into `line`; returns the fault of the first bad option, or
// empty when every option was understood.
std::string parseSimCommandLine(int argc, char** argv, SimCommandLine& line);
