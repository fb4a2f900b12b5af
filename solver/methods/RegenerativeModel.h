#pragma once
// A model with deterministic delays as the solver reads it (.pvtype, .var, .imp,
// .arm with its negative entries, .det): a Markov regenerative process. In a state
// listed under a delay, one deterministic activity with that delay runs; its clock
// keeps running across exponential firings into states listed under the same
// delay and stops on any other firing. When it expires the state moves by the
// deterministic branches. States are numbered from 0 (state 1 of the files is 0).

#include "methods/Model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

// Transitions by source in compressed sparse rows: entries [start[i], start[i + 1])
// of target and value leave state i.
struct SparseRows {
    std::vector<std::uint64_t> start;
    std::vector<std::uint32_t> target;
    std::vector<double> value;
};

struct RegenerativeModel {
    static constexpr std::int32_t kNoDelay = -1;

    std::string stem;
    std::vector<Variable> variables;
    // Per variable: rate rewards, and the rate of the impulses of exponential
    // firings (impulseRate, empty when 0 everywhere).
    std::vector<Rewards> rewards;
    // Per variable, per state: the impulse of the firing that first reached the
    // state (.var). Empty for a variable whose .var impulses are all 0.
    std::vector<std::vector<double>> entryImpulse;
    bool exactImpulses = false; // the exponential impulse rates come from .imp
    // Per variable, per state: the expected impulse that the deterministic
    // firing from the state earns (0 in a state not listed). From the .dip
    // file when there is one; otherwise each branch is taken to earn the
    // first-entry impulse of its target. Empty for a variable that earns none.
    std::vector<std::vector<double>> firingImpulse;
    bool exactFiringImpulses = false; // firingImpulse comes from .dip
    // Per variable: reported until absorption instead of at its time points (the
    // .abs file names it); empty when there is no .abs file.
    std::vector<bool> untilAbsorption;

    std::vector<double> delays;      // per delay group, in .det order
    std::vector<std::int32_t> group; // per state, its delay group or kNoDelay
    SparseRows exponential;          // rates between distinct states
    std::vector<double> exitRate;    // per state, the sum of its exponential rates
    SparseRows deterministic;        // per listed state, branch probabilities (sum 1)

    std::uint32_t states() const { return static_cast<std::uint32_t>(group.size()); }
};

} // namespace gensolver
