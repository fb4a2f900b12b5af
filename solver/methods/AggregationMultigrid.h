#pragma once
// An algebraic multigrid preconditioner for a SparseSystem built by aggregation:
// each level joins its unknowns into aggregates of up to four (two rounds of
// pairing every unknown with the free or still unpaired source that sends it the
// largest rate), the next
// level's matrix is the sum of the entries between aggregates (the Galerkin
// product with piecewise constant interpolation, which keeps an M-matrix an
// M-matrix), and the coarsest level is solved densely. One application is a
// W-cycle: forward Gauss-Seidel sweeps, two corrections from the level below,
// backward sweeps; a V-cycle (one correction) where checkCycle() finds that two
// transposed W-cycles in a row grow the residual on B^T z = 1. The transposed application is the
// exact transpose of that operator, for the transposed system. Both run on one thread, so the
// results do not depend on the number of threads.

#include "methods/Preconditioner.h"
#include "methods/SparseSystem.h"

#include <cstdint>
#include <vector>

namespace gensolver {

class AggregationMultigrid : public Preconditioner {
public:
    // A level of at most this many unknowns is solved densely.
    static constexpr std::uint32_t kCoarsest = 600;
    // Where the pairing stalls above this many unknowns, the level is not solved
    // densely (its factors would take size^2 numbers) and ok() is false.
    static constexpr std::uint32_t kDenseLimit = 4096;
    // Gauss-Seidel sweeps before and after the coarse corrections: two rather
    // than one halve the BiCGSTAB iterations on large chains (bench/README.md).
    static constexpr std::uint32_t kSweeps = 2;

    // Builds the levels down to at most coarsest unknowns; ok() is false when a pivot of the
    // coarsest level's factorisation is not positive and finite (not for an M-matrix, barring
    // rounding), or when the coarsening stalls above kDenseLimit unknowns. The system must
    // outlive this.
    explicit AggregationMultigrid(const SparseSystem& system, std::uint32_t coarsest = kCoarsest);

    bool ok() const { return ok_; }
    // Turns the application into a V-cycle where two transposed W-cycles in a row
    // grow the residual on B^T z = 1 (see grows()). Not part of the constructor:
    // the first cycle that picks the reference is applied forward only, and the
    // system solved (and its w) is the one built with that reference.
    void checkCycle();
    // Levels including the system's own.
    std::uint32_t levels() const { return static_cast<std::uint32_t>(levels_.size()); }
    // Unknowns of level l.
    std::uint32_t size(std::uint32_t l) const { return levels_[l].size; }

    void apply(Parallel& pool, const std::vector<double>& v, std::vector<double>& z) const override;
    void applyTransposed(Parallel& pool, const std::vector<double>& v,
                         std::vector<double>& z) const override;

private:
    // One level: the matrix as in SparseSystem (off-diagonal entries are minus
    // the rates), the map to the next level and the cycle's vectors.
    struct Level {
        std::uint32_t size = 0;
        // Owned storage of the coarse levels; the finest level uses the system's.
        std::vector<std::uint64_t> ownStart;
        std::vector<std::uint32_t> ownColumn;
        std::vector<double> ownRate, ownDiagonal;
        const std::uint64_t* start = nullptr; // row starts, size + 1 of them
        const std::uint32_t* column = nullptr;
        const double* rate = nullptr;
        const double* diagonal = nullptr;
        std::vector<std::uint32_t> aggregate; // per unknown, its unknown on the next level
        std::vector<double> weight;           // per unknown, its share of its aggregate's value
        mutable std::vector<double> x, b, r;  // solution, right-hand side, scratch
    };

    // Pairs the unknowns of fine (keep, unless kNone, stays alone), fills each
    // one's pair number and share, and returns the level of the pairs.
    static Level pair(const Level& fine, std::uint32_t keep, std::vector<std::uint32_t>& map,
                      std::vector<double>& weight);
    // The level of the groups given by map (count of them): R A P, R summing over
    // a group, P giving each member its share (weight) of the group's value.
    static Level galerkin(const Level& fine, const std::vector<std::uint32_t>& map,
                          const std::vector<double>& weight, std::uint32_t count);
    void factorCoarsest();
    // Improves levels_[l].x for levels_[l].b (from x = 0 when zero is set).
    void cycle(std::uint32_t l, bool transposed, bool zero) const;
    void smooth(const Level& level, bool transposed, bool forward, bool zero) const;
    void residual(const Level& level, bool transposed) const;
    void solveCoarsest(bool transposed) const;
    // Whether a second transposed W-cycle on B^T z = 1, from the first one's
    // residual, leaves a larger residual than the first (or one that is not a
    // number): a coarse correction that overshoots, repeated on every level,
    // grows the iterate with the depth of the levels.
    bool grows() const;

    std::vector<Level> levels_;
    std::vector<double> lu_; // the coarsest level's LU factors, row-major
    bool ok_ = true;
    bool wCycle_ = true; // two corrections from each level below, else one
};

} // namespace gensolver
