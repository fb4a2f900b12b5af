#pragma once
// Gauss-Seidel on one strongly connected component of a chain: the sweeps of the
// long-run solve when no faster method is asked for or one failed.

#include "methods/Components.h"
#include "methods/LimitSolver.h"
#include "methods/RateMatrix.h"

#include <cstdint>
#include <vector>

namespace gensolver {

struct SweepResult {
    std::uint64_t sweeps = 0;
    double change = 0.0; // estimated relative 1-norm distance to the solution
    bool converged = false;
    std::uint32_t levels = 0; // wavefront levels a sweep took, 0 when swept in order
    std::uint64_t extrapolations = 0; // iterates extrapolated
    // Set when the sweeps stopped because two checks in a row expected them to
    // need more than options.switchSweeps more (on a component below
    // options.switchFrom and extrapolateFrom, more than maxSweeps leaves);
    // expected: the further sweeps the last check expected (0 when the changes
    // did not shrink). With options.stopWhenHopeless, also set when two checks
    // in a row, from sweep 1,024 on, expect more than the sweeps left of
    // options.maxSweeps; on an extrapolated closed component below
    // options.switchFrom, more than a hundred times as many.
    bool gaveUp = false;
    std::uint64_t expected = 0;
};

// The order in which a sweep may take a component's states over several threads
// and still compute what the sweep in state order computes. A state's new value
// reads the new values of the states before it and the old values of those after
// it, so a state must come after every neighbour (by a transition either way)
// numbered below it. Level l holds the states whose longest chain of such
// neighbours, each numbered below the next, has l links; a level's states are
// no neighbours of each other, so they may be swept side by side.
struct Wavefront {
    std::vector<std::uint32_t> state; // the component's states, level by level
    // Level l is state[level[l] .. level[l + 1]).
    std::vector<std::uint32_t> level;
};

// The wavefront of component c; m.states() entries of scratch are used.
Wavefront findWavefront(const RateMatrix& m, const Components& comps, std::uint32_t c);

// Sweeps component c until the estimated relative distance to the solution is at
// most options.tolerance, or options.maxSweeps: x[j] = (b[j] + sum over i -> j of x[i] rate) /
// exit[j], where b is 1 for state 0 (when open) and the inflow from components
// solved before, which x already holds. A closed component (closed = true) starts
// uniform and is normalised to sum 1 after every sweep. A large component whose
// wavefront has few levels (options.wavefrontFrom, wavefrontRows) is swept level
// by level over the solver's threads, renumbered so that each level's rows and
// values lie together; the values are the same whatever the number of threads.
// A component of at least options.extrapolateFrom states has its iterate replaced,
// after sweep 32 and every 16 sweeps from there, by the reduced-rank
// extrapolation of the last five (IterateExtrapolation.h); the estimate then
// takes the rate at which the changes shrink no smaller than the rate they had
// settled to before, and whether it has converged is still decided from plain
// sweeps.
// A component of at least options.switchFrom states stops early (gaveUp) when,
// from the rate at which the changes shrink, the sweeps are expected to need more
// than options.switchSweeps more at two checks in a row (every 32 sweeps); a
// smaller one that is not extrapolated, with switchSweeps set, when two checks
// in a row expect more than the sweeps left of options.maxSweeps (expected 0
// where the changes did not shrink); an extrapolated one below switchFrom when,
// from sweep 1,024 on, two checks in a row expect more than a hundred times the
// sweeps left (an open one: more than the sweeps left). With options.stopWhenHopeless, any
// component stops when, from sweep 1,024 on, two checks in a row expect more than the sweeps left;
// so does an open one (the times before a closed class) with switchSweeps set.
SweepResult gaussSeidel(const RateMatrix& m, const Components& comps, std::uint32_t c, bool closed,
                        const LimitOptions& options, std::vector<double>& x);

} // namespace gensolver
