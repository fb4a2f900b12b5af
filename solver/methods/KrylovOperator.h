#pragma once
// The matrix B of a linear system as BiCGSTAB uses it: products with B and B^T
// and the residual b - B x over this process's rows, and the sum and the maximum
// of per-row figures over all rows (every process's, for a system whose rows are
// shared among processes; the sum in an order that does not depend on timing, so
// that every process takes the same decisions).

#include "methods/Parallel.h"

#include <cstdint>
#include <vector>

namespace gensolver {

class KrylovOperator {
public:
    KrylovOperator() = default;
    KrylovOperator(const KrylovOperator&) = delete;
    KrylovOperator& operator=(const KrylovOperator&) = delete;
    virtual ~KrylovOperator() = default;

    // Rows held by this process; every vector passed has this many entries.
    virtual std::uint64_t rows() const = 0;
    // y = B x.
    virtual void multiply(Parallel& pool, const std::vector<double>& x,
                          std::vector<double>& y) const = 0;
    // y = B^T x.
    virtual void multiplyTransposed(Parallel& pool, const std::vector<double>& x,
                                    std::vector<double>& y) const = 0;
    // y = B^T x in double throughout, where multiplyTransposed may round B.
    virtual void multiplyTransposedExactly(Parallel& pool, const std::vector<double>& x,
                                           std::vector<double>& y) const {
        multiplyTransposed(pool, x, y);
    }
    // r = b - B x, each row summed in long double: a restart from it is a step of
    // iterative refinement, which takes the solution below the rounding level of a
    // residual summed in double.
    virtual void residual(Parallel& pool, const std::vector<double>& b,
                          const std::vector<double>& x, std::vector<double>& r) const = 0;
    // The sum and the maximum of the processes' figures.
    virtual double sum(double local) const { return local; }
    virtual double max(double local) const { return local; }
};

} // namespace gensolver
