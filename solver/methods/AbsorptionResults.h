#pragma once
// The values until absorption as rows of a Solution: the probability of being
// absorbed, the mean time to absorption and every variable's reward until then.

#include "methods/Measures.h"

#include <string>
#include <vector>

namespace gensolver {

class Absorption;

// What a caller that solved an approximation of the chain adds to the rows: per
// row, a further error bound, and a note on the method.
struct AbsorptionMargins {
    double probability = 0.0;
    double time = 0.0;
    std::vector<double> variable; // per variable
    std::string note;             // appended to every method but the certain probability's
};

// earning: per variable, the rate at which it earns reward in each state (its rate
// reward plus the rate of its impulses). The rewards are those of every variable
// when `every` is set or the model names none until absorption, else those of the
// named ones. Adds a notice to solution when the mean time and the rewards are not
// finite or absorption cannot happen. method: how the times are solved.
void appendAbsorptionResults(const Model& model,
                             const std::vector<const std::vector<double>*>& earning,
                             Solution& solution, bool every = true,
                             AbsorptionMethod method = AbsorptionMethod::Auto);

// The same rows from the absorption `a` already solved on model.matrix, with the
// margins added.
void appendAbsorptionResults(const Absorption& a, const Model& model,
                             const std::vector<const std::vector<double>*>& earning,
                             const AbsorptionMargins& margins, Solution& solution, bool every);

} // namespace gensolver
