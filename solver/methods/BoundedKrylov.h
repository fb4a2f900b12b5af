#pragma once
// BiCGSTAB on B y = b with a proven bound on the 1-norm error of y, for B a
// nonsingular M-matrix (B^-1 >= 0): the bound rests on w = B^-T 1, solved first
// to delta = max |1 - B^T w| <= 1/2, so that ||y - y*||_1 <= w*^T |r| <= w^T |r| /
// (1 - delta). Where B is singular with a nonnegative null vector v (a chain
// with a second closed class), v^T (1 - B^T w) = v^T 1 for every w, so delta >= 1
// and no bound is claimed. Runs on a system held by one process or shared among
// processes alike.

#include "methods/KrylovOperator.h"
#include "methods/LimitSolver.h"
#include "methods/Parallel.h"
#include "methods/Preconditioner.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace gensolver {

struct BoundedSolve {
    std::uint64_t iterations = 0; // of both solves
    // On ||y - y*||_1 relative to share * sum y; infinite when no bound was found.
    double bound = std::numeric_limits<double>::infinity();
    double total = 0.0;     // sum y, over every process
    bool converged = false; // bound <= tolerance
};

// Solves B y = b until the bound is at most options.tolerance relative to share *
// sum y (share 1/2 for a stationary vector, whose normalization y / sum y can
// double the error), within options.maxSweeps iterations per solve. y gets the
// solution, negative entries cut to 0, whatever the outcome.
BoundedSolve boundedBicgstab(Parallel& pool, const KrylovOperator& system,
                             const Preconditioner& preconditioner, const std::vector<double>& b,
                             double share, const LimitOptions& options, std::vector<double>& y);

} // namespace gensolver
