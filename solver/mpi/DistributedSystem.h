#pragma once
// The linear system B y = e_r of a chain's stationary vector, its rows shared
// among the processes of an MPI communicator like the states (each process
// holding a contiguous range): B = diag(exit rates) - (rates) transposed, row k
// gathering the rates into state k, with the row of the reference state r
// replaced by the identity. B is a nonsingular M-matrix when r can be reached
// from every state (one closed class, holding r); y is then the stationary
// vector scaled to y_r = 1. Products exchange one partial sum per
// distinct target across the cut (forwards for B, backwards for B^T); sums over
// the processes add their figures in process order, the same on every process.

#include "methods/KrylovOperator.h"
#include "methods/RateMatrix.h"
#include "methods/SparseSystem.h"
#include "mpi/CutExchange.h"

#include <mpi.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace gensolver {

class DistributedSystem : public KrylovOperator {
public:
    // The rows [first, last) of the chain's `states` states, from `local`: the
    // transitions out of the range (numbered from 0, self-loops left out); the
    // reference numbered from 0. Collective over comm.
    DistributedSystem(MPI_Comm comm, std::uint32_t states, std::uint32_t first, std::uint32_t last,
                      const std::vector<Transition>& local, std::uint32_t reference);

    std::uint64_t rows() const override { return block_.size(); }
    void multiply(Parallel& pool, const std::vector<double>& x,
                  std::vector<double>& y) const override;
    void multiplyTransposed(Parallel& pool, const std::vector<double>& x,
                            std::vector<double>& y) const override;
    void residual(Parallel& pool, const std::vector<double>& b, const std::vector<double>& x,
                  std::vector<double>& r) const override;
    double sum(double local) const override;
    double max(double local) const override;

    // The rows' coupling inside the range, for a block preconditioner.
    const SparseSystem& block() const { return block_; }
    // The state (numbered from 0) of the largest entry of y over every process,
    // the first such.
    std::uint32_t likeliest(const std::vector<double>& y) const;
    // This range's slice of e_r.
    const std::vector<double>& rhs() const { return block_.b; }
    // Exit rates of the range's states (that of the reference too).
    const std::vector<double>& exitRates() const { return exit_; }
    // Bytes this process sends in one product.
    std::uint64_t bytesSent() const { return cut_->bytesSent(); }

private:
    MPI_Comm comm_;
    SparseSystem block_;       // the diagonal block: rows and columns of the range
    std::vector<double> exit_; // per local state
    std::uint32_t first_;
    std::unique_ptr<CutExchange> cut_;     // the transitions to other ranges (none into r)
    mutable std::vector<double> send_;     // per slot
    mutable std::vector<double> recv_;     // per received entry
    mutable std::vector<double> send2_;    // per slot, a long double as two doubles
    mutable std::vector<double> recv2_;    // per received entry, the same
    mutable std::vector<double> gathered_; // per process, for the ordered sum
};

} // namespace gensolver
