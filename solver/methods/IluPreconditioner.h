#pragma once
// An incomplete LU factorization without fill-in (ILU(0)) of a SparseSystem, per
// block of consecutive rows: couplings between blocks are left out, so the blocks
// are factorized and applied independently, in parallel. The blocks depend on the
// system's size only, never on the number of threads, so results do not either.

#include "methods/Parallel.h"
#include "methods/Preconditioner.h"
#include "methods/SparseSystem.h"

#include <cstdint>
#include <vector>

namespace gensolver {

class IluPreconditioner : public Preconditioner {
public:
    // Rows per block at least; the blocks are at most kMaxBlocks.
    static constexpr std::uint32_t kMinBlock = 1u << 16;
    static constexpr std::uint32_t kMaxBlocks = 16;

    // Factorizes; ok() is false when a pivot is not positive and finite (which
    // does not happen for an M-matrix, barring rounding).
    IluPreconditioner(Parallel& pool, const SparseSystem& system);
    IluPreconditioner(const IluPreconditioner&) = delete;
    IluPreconditioner& operator=(const IluPreconditioner&) = delete;

    bool ok() const { return ok_; }
    std::uint32_t blocks() const { return static_cast<std::uint32_t>(blockStart_.size() - 1); }

    // z = (L U)^-1 v.
    void apply(Parallel& pool, const std::vector<double>& v, std::vector<double>& z) const override;
    // z = ((L U)^T)^-1 v: the preconditioner of the transposed system.
    void applyTransposed(Parallel& pool, const std::vector<double>& v,
                         std::vector<double>& z) const override;

private:
    const SparseSystem& system_;            // not owned: outlives this
    std::vector<std::uint32_t> blockStart_; // first row of each block, then the size
    std::vector<double> factor_;        // per entry of the system: L below, U above the diagonal
    std::vector<double> pivot_;         // per row, the diagonal of U
    std::vector<std::uint64_t> middle_; // per row, its first entry right of the diagonal
    bool ok_ = true;
};

} // namespace gensolver
