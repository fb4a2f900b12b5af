#pragma once
// The limiting distribution of a chain started in state 1 (index 0): the closed
// classes (bottom components) it can end in, the probability of ending in each,
// and each class's stationary distribution.

#include "methods/RateMatrix.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

struct LimitOptions {
    double tolerance = 1e-12;         // relative change per sweep that ends an iteration
    // A BiCGSTAB solve that misses tolerance is still kept, without the sweeps
    // solving its component afresh, where its bound is at most this (0: none
    // is). The long-run values set it to the bound the user asked, where
    // tolerance is tighter for the sake of steady-state detection: on a cycle
    // of 10,000 states against the state numbering the residual's rounding
    // alone leaves a bound of 2.3e-13, above 1e-12 / 16.
    double acceptable = 0.0;
    std::uint64_t maxSweeps = 100000; // per iterative solve
    std::uint32_t denseLimit = 1000;  // components up to this size are solved directly
    // Components of at least this size are solved by BiCGSTAB+ILU(0) (Gauss-Seidel
    // where it fails), smaller ones by Gauss-Seidel; by default none, as
    // Gauss-Seidel is the faster on the models measured (bench/README.md).
    std::uint32_t krylovFrom = 0xFFFFFFFFu;
    // BiCGSTAB is preconditioned by aggregation multigrid instead of ILU(0).
    bool multigrid = false;
    std::uint32_t multigridCoarsest = 600; // its levels of at most this size are solved densely
    // Its levels of at least this size run on the threads (AggregationMultigrid.h).
    std::uint32_t multigridThreadedFrom = 1u << 14;
    // Gauss-Seidel sweeps a component of at least wavefrontFrom states level by
    // level over the threads when its wavefront levels hold on average at least
    // wavefrontRows states (GaussSeidel.h); smaller ones in state order.
    std::uint32_t wavefrontFrom = 1u << 16;
    std::uint32_t wavefrontRows = 4096;
    // Gauss-Seidel on a component of at least switchFrom states gives way to
    // BiCGSTAB with aggregation multigrid when, from the rate at which its
    // changes shrink, it is expected to need more than switchSweeps further
    // sweeps (0: never, here and below; GaussSeidel.h). On one of more than
    // denseLimit states and fewer than extrapolateFrom (whose iterates are not
    // extrapolated) it gives way to BiCGSTAB+ILU(0) when it is expected to need
    // more sweeps than maxSweeps leaves: the sweeps of a cycle that runs
    // against the state numbering pass the values round it and never settle.
    // Gauss-Seidel finishes the component afresh where BiCGSTAB misses its
    // bound.
    std::uint64_t switchSweeps = 1000;
    std::uint32_t switchFrom = 1u << 17;
    // Gauss-Seidel on a component of at least extrapolateFrom states
    // extrapolates its iterates every 16 sweeps (GaussSeidel.h); on smaller
    // ones a sweep costs too little for the sweeps saved to matter.
    std::uint32_t extrapolateFrom = 1u << 16;
    // Set for the sweeps that solve a component afresh after BiCGSTAB missed its
    // bound, with its answer or the class's elimination in hand: they stop once
    // 1,024 sweeps are done and two checks in a row expect them to need more
    // than maxSweeps leaves, keeping the better answer. Without it the sweeps
    // of a periodic chain run to maxSweeps only to be marked NOT CONVERGED.
    bool stopWhenHopeless = false;
    // The rewards (per state, over the whole chain) whose long-run values are
    // all this limit is asked for, or null. From a transient state 1, the
    // closed classes it can reach are then solved first; where every one of
    // these rewards has the same value on each of them (within tolerance of
    // its largest magnitude), the probabilities of reaching the classes cannot
    // change the values, and the times before a class are not solved. On a
    // reliability model whose failed states absorb, those times are the
    // slowest part of the solve, and on stiff ones they may not converge at
    // all. The distribution then weighs the classes reached equally: it gives
    // these rewards their values, but it is not the chain's limit, and must
    // not serve steady-state detection.
    const std::vector<const std::vector<double>*>* rewardsAsked = nullptr;
};

// How the limit was reached; printed with every value that uses it.
struct Limit {
    std::vector<double> distribution;   // per state
    std::uint32_t classesReached = 0;   // closed classes reached with positive probability
    std::uint32_t classes = 0;          // closed classes in the chain
    std::uint32_t components = 0;       // strongly connected components
    std::uint64_t sweeps = 0;           // Gauss-Seidel sweeps over all solves
    std::uint64_t krylovIterations = 0; // BiCGSTAB iterations over all solves
    // Gauss-Seidel sweeps given up for the multigrid (switchSweeps), and the
    // most further sweeps such a solve was expected to need (0: its changes
    // did not shrink).
    std::uint64_t sweepsGivenUp = 0;
    std::uint64_t sweepsExpected = 0;
    // Sweeps afresh that stopped as hopeless (LimitOptions::stopWhenHopeless),
    // and the most further sweeps one was expected to need (0: its changes did
    // not shrink).
    bool sweepsStopped = false;
    std::uint64_t sweepsStoppedExpected = 0;
    // The probabilities of reaching the closed classes came from the sparse
    // elimination of the times before one, where the iterative solves of those
    // times missed their bound.
    bool transientEliminated = false;
    // A closed class's distribution came from its sparse elimination, where
    // the iterative methods missed their bound.
    bool classEliminated = false;
    // The rewards asked have the same value on every closed class reached, so
    // the probabilities of reaching them were not solved
    // (LimitOptions::rewardsAsked): the distribution weighs the classes equally.
    bool reachNotNeeded = false;
    // Where LimitOptions::rewardsAsked was given and several closed classes
    // are reached: per reward asked, in its order, an estimate of the error of
    // its long-run value (the distribution times the reward) from the classes'
    // own errors, how far the probabilities of reaching them may be off (or,
    // where they were not needed, the weights' roundings), and how far apart
    // the reward's values on the classes lie: a reward that is the same on
    // every class reached is not touched by the probabilities' error. Empty
    // otherwise.
    std::vector<double> rewardErrors;
    bool iterative = false;             // some part was solved by Gauss-Seidel
    bool krylov = false;                // some part was solved by BiCGSTAB
    bool multigrid = false;             // ... preconditioned by aggregation multigrid
    bool power = false;                 // the power iteration of the uniformized chain
                                        // (sweeps counts its steps; no class figures)
    bool distributed = false;           // BiCGSTAB over processes, each preconditioned by the
                                        // ILU(0) of its own rows' block; one closed class,
                                        // holding state 1 (no component figures)
    std::uint64_t extrapolations = 0;   // Gauss-Seidel iterates extrapolated, over all solves
    std::uint32_t wavefrontLevels = 0;  // most levels of a Gauss-Seidel solve swept by
                                        // wavefront over the threads, 0 for none
    bool converged = true;              // every iterative solve met the tolerance
    // Some solve (BiCGSTAB, or an elimination tried where the iterations
    // missed) missed the tolerance but met options.acceptable: the values
    // stand, but the limit is not close enough for steady-state detection.
    bool accepted = false;
    double residual = 0.0; // largest relative residual |pi Q| / |pi diag(Q)| of a class
    // Estimated 1-norm error of the distribution: the largest over the solves of
    // the residual bound of a BiCGSTAB solve or the estimated distance of a
    // Gauss-Seidel one (rounding for direct ones), plus how far the class
    // probabilities miss a sum of 1.
    double errorEstimate = 0.0;
    std::string fallback; // how a distributed solve came to this limit, when not
                          // by its own method; printed in the summary
    // Why BiCGSTAB was not run where it was chosen (its preconditioner failed
    // its checks), the sweeps solving the component instead.
    enum class Refusal : std::uint8_t {
        None,
        NoLevels,       // the multigrid's levels could not be built or factored
        NotContracting, // neither of the multigrid's cycles contracts
        IluPivot,       // a pivot of ILU(0) is not positive
    };
    Refusal krylovRefused = Refusal::None;
    // e.g. "BiCGSTAB+ILU(0), 23 iterations" or "BiCGSTAB+aggregation multigrid, 9
    // iterations"
    std::string method() const { return method(converged); }
    // The same, marked NOT CONVERGED only where settled is false (a value whose
    // own error is within the bound asked though the limit's is not).
    std::string method(bool settled) const;
};

Limit solveLimit(const RateMatrix& m, const LimitOptions& options);

} // namespace gensolver
