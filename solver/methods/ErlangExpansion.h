#pragma once
// A Markov chain that approximates a regenerative model: each deterministic
// delay d becomes K exponential phases of rate K/d (an Erlang distribution of
// mean d whose variance d²/K vanishes as K grows). A state listed under a delay
// becomes K states, one per phase; an exponential firing into a state of the same
// delay's list keeps the phase (the clock goes on), any other firing enters its
// target at phase 1, and the last phase fires the deterministic branches.

#include "methods/RateMatrix.h"
#include "methods/RegenerativeModel.h"

#include <cstdint>
#include <vector>

namespace gensolver {

struct ErlangExpansion {
    RateMatrix matrix;
    std::vector<std::uint32_t> first; // per state of the model, its phase 1 (or only) state
    // Per variable, per expanded state: the rate reward, and what accumulated
    // measures integrate (rate reward plus impulse rates, those of the
    // deterministic firings included).
    std::vector<std::vector<double>> rate;
    std::vector<std::vector<double>> earning;
};

ErlangExpansion expandDelays(const RegenerativeModel& m, std::uint32_t phases);

} // namespace gensolver
