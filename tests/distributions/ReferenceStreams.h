#pragma once
// The independently computed reference values of tests/data/distributions/random-streams.txt.

#include "support/TestSupport.h"

#include <cstdint>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

struct ReferenceStreams {
    // seed -> call number (from 1) -> value of LaggedFibonacci::rnd()
    std::map<long, std::map<int, double>> lagged;
    // seed -> call number (from 1) -> Tausworthe state after that call
    std::map<long, std::map<int, std::uint32_t>> tausworthe;
    // ran_u[0] after the routines' self-test
    double selfTest = -1.0;
};

// Parses the reference file; values are read with strtod, so they are the exact
// doubles that their 17 significant digits denote.
inline ReferenceStreams loadReferenceStreams() {
    ReferenceStreams ref;
    std::istringstream in(testsupport::readFile(testsupport::testdata("distributions/random-streams.txt")));
    std::string line;
    std::string kind;
    long seed = 0;
    while (std::getline(in, line)) {
        if (const auto at = line.find("ran_u[0] = "); at != std::string::npos) {
            ref.selfTest = std::strtod(line.c_str() + at + 11, nullptr);
        } else if (line.starts_with("[")) {
            std::istringstream header(line.substr(1));
            std::string word;
            header >> kind >> word >> seed;
        } else if (line.starts_with("rnd #")) {
            std::istringstream entry(line.substr(5));
            int call = 0;
            std::string value;
            entry >> call >> value;
            if (value == "state") {
                unsigned long state = 0;
                entry >> state;
                ref.tausworthe[seed][call] = static_cast<std::uint32_t>(state);
            } else {
                ref.lagged[seed][call] = std::strtod(value.c_str(), nullptr);
            }
        }
    }
    return ref;
}
