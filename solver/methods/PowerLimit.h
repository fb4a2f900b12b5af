#pragma once
// The limiting distribution from state 1 by the power iteration of the uniformized
// chain: x = e1 P^k for growing k. The uniformization rate lies above every exit
// rate, so P is aperiodic and the iterates converge to the limit from state 1
// whatever the chain's classes; the rate is that of P's second eigenvalue, which
// makes the method slow on stiff chains (its sweeps are bounded by maxSweeps).
// It needs nothing but the steps, so it runs unchanged on a distributed chain.

#include "methods/LimitSolver.h"
#include "methods/UniformizedSteps.h"

namespace gensolver {

// Stops when the estimated 1-norm distance to the limit, the last step's change
// divided by one minus the observed rate of contraction, is at most
// options.tolerance (or the changes are down to the rounding of a step, which
// bounds what the method can reach); errorEstimate is that estimate plus the
// rounding of the steps, damped by the contraction.
Limit powerLimit(UniformizedSteps& steps, const LimitOptions& options);

} // namespace gensolver
