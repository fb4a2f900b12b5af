#pragma once
// A likely state of a closed class, found by climbing the two-state balances of
// its rates: for a reversible chain pi_j / pi_i = rate(i -> j) / rate(j -> i),
// so moving to the neighbour with the largest such ratio while it exceeds 1
// ends on a local maximum of the stationary distribution. Used to pick the
// reference state of the multigrid solve, whose hitting times weigh the error
// bound: a state that is likely keeps them, and the range of the solution, small.

#include "methods/Components.h"
#include "methods/RateMatrix.h"

#include <cstdint>

namespace gensolver {

// Where a climb ended.
struct Climb {
    std::uint32_t state = 0; // the state reached
    double logGain = 0.0;    // the log of the product of the ratios on the way: for a
                             // reversible chain log(pi_state / pi_from)
};

// The state reached from state from (numbered from 0) by at most as many moves
// as its component has states, each to the neighbour whose balance ratio with
// the current state is the largest and above 1. Parallel transitions count as
// one of their summed rate. Neighbours without a rate back to the current state
// are skipped, so a chain that is far from reversible climbs little or not at
// all.
Climb climbToLikelyState(const RateMatrix& m, const Components& comps, std::uint32_t from);

} // namespace gensolver
