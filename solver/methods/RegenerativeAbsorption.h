#pragma once
// Values until absorption of a model with deterministic delays: the probability
// of absorption from state 1, the mean time to absorption and the variables'
// rewards until then. The embedded chain at regeneration points is formed row by
// row (a state without a delay: its exponential rates; a fresh clock in a listed
// state: one uniformization over its delay's list) and written as a Markov chain
// that stays in each state for the expected length of a step from it, whose
// absorption is solved by sparse elimination. Its bounds add what the truncated
// uniformizations can move, times the expected number of regenerations.

#include "methods/Measures.h"
#include "methods/RegenerativeModel.h"

namespace gensolver {

// Appends the rows (every variable when options.absorption is set or the model
// names none until absorption, else the named ones). Throws SolveError naming the
// state whose deterministic activity only ever fires back into it, or when the
// rows would take more uniformization steps than options.transient.maxSteps, or
// when their truncation and rounding cannot be bounded.
void appendRegenerativeAbsorption(const RegenerativeModel& m, const SolveOptions& options,
                                  Solution& solution);

} // namespace gensolver
