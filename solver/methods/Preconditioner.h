#pragma once
// What BiCGSTAB applies to precondition a SparseSystem B: an approximation M of B
// whose inverse, and the inverse of its transpose, can be applied cheaply.

#include "methods/Parallel.h"

#include <vector>

namespace gensolver {

class Preconditioner {
public:
    Preconditioner() = default;
    Preconditioner(const Preconditioner&) = delete;
    Preconditioner& operator=(const Preconditioner&) = delete;
    virtual ~Preconditioner() = default;

    // z = M^-1 v.
    virtual void apply(Parallel& pool, const std::vector<double>& v,
                       std::vector<double>& z) const = 0;
    // z = M^-T v: the preconditioner of the transposed system.
    virtual void applyTransposed(Parallel& pool, const std::vector<double>& v,
                                 std::vector<double>& z) const = 0;
};

} // namespace gensolver
