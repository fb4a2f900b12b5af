#pragma once
// The stabilized biconjugate gradient method (BiCGSTAB) with right
// preconditioning (ILU(0) or aggregation multigrid), for a system B (a SparseSystem, or the
// rows of a system shared among processes) or its transpose: the residual it tracks is that of
// the system itself. Products, preconditioner and sums run on the thread pool with fixed chunks,
// and the system adds the processes' sums in a fixed order, so the iterates do not depend on the
// number of threads (the transposed product of a SparseSystem runs on one thread).

#include "methods/KrylovOperator.h"
#include "methods/Parallel.h"
#include "methods/Preconditioner.h"

#include <cstdint>
#include <vector>

namespace gensolver {

// What to solve: B x = rhs or, with transposed, B^T x = rhs. The iteration stops
// once sum_i |r_i| weight_i <= relativeTarget * sum_i x_i (weight 1 when weight
// is empty), r = rhs - B x, or with absolute once max_i |r_i| <= relativeTarget;
// checked on the residual recomputed from x.
struct KrylovProblem {
    const KrylovOperator* system = nullptr;         // not owned
    const Preconditioner* preconditioner = nullptr; // not owned
    bool transposed = false;
    const std::vector<double>* rhs = nullptr;    // not owned
    const std::vector<double>* weight = nullptr; // not owned, may be empty
    double relativeTarget = 0.0;
    bool absolute = false; // the target is on max_i |r_i| instead (weights unused)
    std::uint64_t maxIterations = 0;
    // Iterations without a smaller residual after which the method counts as
    // stagnated. A right-hand side that is one state's spike needs more: the
    // residual does not shrink while the Krylov space is still spreading over
    // the chain, one transition per iteration.
    std::uint64_t patience = 30;
};

struct KrylovResult {
    std::uint64_t iterations = 0;
    double weighted = 0.0;  // sum |r_i| weight_i (max |r_i|) of the final x, recomputed
    double total = 0.0;     // sum x_i of the final x
    bool converged = false; // the target is met
};

// Improves x (the start) until the target is met, the iteration stagnates (no
// smaller residual in `patience` iterations), breaks down, or maxIterations pass (x is
// then the iterate of the smallest residual the recurrence saw). The method is
// restarted from the residual recomputed from x (in long double for B x = rhs)
// while that halves, at most eight times.
KrylovResult bicgstab(Parallel& pool, const KrylovProblem& problem, std::vector<double>& x);

} // namespace gensolver
