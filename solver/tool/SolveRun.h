#pragma once
// Solves the files of one generator run, whichever solver its files call for:
// the regenerative solver where the run's deterministic activities were enabled
// somewhere (its .det file lists delay groups), the Markov chain's otherwise.
// gen-solve and gen-study both solve through this.

#include "methods/Measures.h"

#include <string>

namespace gensolver {

// Throws InputError for the first fault in the files, or where the binary row
// form is asked for a run with deterministic delays (only its text files hold them).
Solution solveRun(const std::string& stem, const SolveOptions& options, bool binaryRows = false);

} // namespace gensolver
