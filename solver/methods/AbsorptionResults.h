#pragma once
// The values until absorption as rows of a Solution: the probability of being
// absorbed, the mean time to absorption and every variable's reward until then.

#include "methods/Measures.h"

#include <vector>

namespace gensolver {

// earning: per variable, the rate at which it earns reward in each state (its rate
// reward plus the rate of its impulses). The rewards are those of every variable
// when `every` is set or the model names none until absorption, else those of the
// named ones. Adds a notice to solution when the mean time and the rewards are not
// finite or absorption cannot happen.
void appendAbsorptionResults(const Model& model,
                             const std::vector<const std::vector<double>*>& earning,
                             Solution& solution, bool every = true);

} // namespace gensolver
