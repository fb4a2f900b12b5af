#pragma once
// Reads the files of a run with deterministic activities (.pvtype, .var, .imp,
// .dac, .dip and .abs when present, .det and .arm) and checks that the process is one the
// regenerative solver handles: each state listed under at most one delay, once;
// negative .arm entries only in listed states; in each listed state the negative
// entries, the deterministic firing's branch probabilities, adding up to 1.

#include "methods/RegenerativeModel.h"

#include <string>

namespace gensolver {

// True when the run wrote a .det file that is not just the "0" of a run in which
// no deterministic activity was enabled: its chain has deterministic delays. A
// .det of no delay groups leaves a Markov chain, solved as one.
bool hasDeterministicDelays(const std::string& stem);

// Throws InputError naming the file, line or state at fault.
RegenerativeModel readRegenerativeModel(const std::string& stem);

} // namespace gensolver
