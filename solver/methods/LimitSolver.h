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
    std::uint64_t maxSweeps = 100000; // per iterative solve
    std::uint32_t denseLimit = 1000;  // components up to this size are solved directly
};

// How the limit was reached; printed with every value that uses it.
struct Limit {
    std::vector<double> distribution; // per state
    std::uint32_t classesReached = 0; // closed classes reached with positive probability
    std::uint32_t classes = 0;        // closed classes in the chain
    std::uint32_t components = 0;     // strongly connected components
    std::uint64_t sweeps = 0;         // iterative sweeps over all solves
    bool iterative = false;           // some part was solved by Gauss-Seidel
    bool converged = true;            // every iterative solve met the tolerance
    double residual = 0.0;            // largest relative residual |pi Q| / |pi diag(Q)| of a class
    // Estimated 1-norm error of the distribution: the last relative change of the
    // iterative solves (0 for direct ones), plus how far the class probabilities
    // miss a sum of 1, plus rounding.
    double errorEstimate = 0.0;
    std::string method() const; // e.g. "direct elimination" or "Gauss-Seidel, 412 sweeps"
};

Limit solveLimit(const RateMatrix& m, const LimitOptions& options);

} // namespace gensolver
