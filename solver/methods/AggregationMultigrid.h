#pragma once
// An algebraic multigrid preconditioner for a SparseSystem built by aggregation:
// each level joins its unknowns into aggregates of up to four (two rounds of
// pairing every unknown with the first free or still unpaired neighbour in its
// row that exchanges rates with it both ways, else with the source that sends it
// the largest rate), the next level's matrix is the sum of the entries between
// aggregates weighted by the members' shares (the Galerkin product, which keeps
// an M-matrix an M-matrix), and the coarsest level is solved densely. One
// application is a W-cycle: forward Gauss-Seidel sweeps, two corrections from the
// level below, backward sweeps; a V-cycle (one correction) where checkCycle()
// finds that the W-cycle grows the residual on B^T z = 1 or needs more work for
// the same accuracy under BiCGSTAB.
// The transposed application is the exact transpose of that operator, for the
// transposed system.
//
// Levels of at least threadedFrom unknowns run on the solver's threads. Their
// sweeps cut the level into kParts fixed parts of about equal entries; each part
// sweeps its own unknowns in order and reads the others' as they were before the
// sweep (Gauss-Seidel inside a part, Jacobi between parts). Those levels also keep
// their matrix transposed, so that the transposed cycle gathers along rows as the
// forward one does; the finest level reads the system's rows, packed one word an
// entry where they pack (SparseSystem's NearRows). The parts do not depend on the
// number of threads, and every value is computed in the same order whatever their
// number: the results are the same on one thread and on several.

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
    // From this many unknowns the levels serve only where a cycle contracts
    // (checkCycle()).
    static constexpr std::uint32_t kContractionNeededFrom = 4096;
    // Gauss-Seidel sweeps before and after the coarse corrections: two rather
    // than one halved the BiCGSTAB iterations on large chains with the pairs
    // of the largest rate in; with the pairs in row order one takes 17
    // iterations against 16 at 3.8 million states, in about the same time
    // (bench/README.md).
    static constexpr std::uint32_t kSweeps = 2;
    // Levels of at least this many unknowns run on the threads. Their sweeps
    // also gather along transposed rows where a level on one thread scatters
    // the transposed cycle's terms. From 16,384 rather than 65,536: on the
    // scaled multiprocessor of 3.8 million states 16 iterations instead of 17,
    // and 0.2 s less in 7 s.
    static constexpr std::uint32_t kThreadedFrom = 1u << 14;
    // Parts of a threaded level's sweeps.
    static constexpr std::uint32_t kParts = 4;

    // Builds the levels down to at most coarsest unknowns; ok() is false when a pivot of the
    // coarsest level's factorisation is not positive and finite (not for an M-matrix, barring
    // rounding), or when the coarsening stalls above kDenseLimit unknowns. The system must
    // outlive this.
    // With transposed false the threaded levels' transposed rows are left out
    // (applyTransposed then needs transposeLevels() first).
    explicit AggregationMultigrid(const SparseSystem& system, std::uint32_t coarsest = kCoarsest,
                                  std::uint32_t threadedFrom = kThreadedFrom,
                                  bool transposed = true);

    bool ok() const { return ok_; }
    // Gives the threaded levels their transposed rows where they lack them: the
    // finest level takes the system's when it has them by now.
    void transposeLevels();
    // Turns the application into a V-cycle where two transposed W-cycles in a row
    // grow the residual on B^T z = 1, or where two V-cycles cut it by more per
    // unit of work (see contraction()); makes ok() false where neither cycle
    // cuts it on a chain of kContractionNeededFrom unknowns or more. Needs the
    // transposed levels. Not part of the constructor: the first cycle that
    // picks the reference is applied forward only, and the system solved (and
    // its w) is the one built with that reference.
    void checkCycle();
    // Whether the applications read the system's plain rows (column and rate):
    // false where the finest level reads its packed rows.
    bool readsPlainRows() const { return levels_[0].packed == nullptr; }
    // Levels including the system's own.
    std::uint32_t levels() const { return static_cast<std::uint32_t>(levels_.size()); }
    // Unknowns of level l.
    std::uint32_t size(std::uint32_t l) const { return levels_[l].size; }

    void apply(Parallel& pool, const std::vector<double>& v, std::vector<double>& z) const override;
    void applyTransposed(Parallel& pool, const std::vector<double>& v,
                         std::vector<double>& z) const override;

private:
    // Gives z the finest level's x after a cycle from zero.
    void handOver(std::vector<double>& z) const;
    // Rows of a matrix without its diagonal: entries [start[i], start[i + 1])
    // hold the columns and the rates (the matrix's entries are their negatives).
    template <class Rate> struct RowsOf {
        const std::uint64_t* start = nullptr;
        const std::uint32_t* column = nullptr;
        const Rate* rate = nullptr;
        std::uint32_t columnAt(std::uint32_t, std::uint64_t e) const { return column[e]; }
        double rateAt(std::uint64_t e) const { return static_cast<double>(rate[e]); }
    };
    // The system's packed rows (NearRows), for the finest level.
    struct NearEntries {
        const std::uint64_t* start = nullptr;
        const std::uint32_t* word = nullptr;
        const NearRows* near = nullptr;
        std::uint32_t columnAt(std::uint32_t row, std::uint64_t e) const {
            return NearRows::column(row, word[e]);
        }
        double rateAt(std::uint64_t e) const { return near->rate(word[e]); }
    };
    using Rows = RowsOf<double>;
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
        std::vector<double> inverse; // 1 / diagonal, for the sweeps
        std::vector<std::uint32_t> aggregate; // per unknown, its unknown on the next level
        // The unknowns of each aggregate, ascending: those of next-level unknown g
        // are members[memberStart[g] .. memberStart[g + 1]).
        std::vector<std::uint32_t> memberStart, members;
        std::vector<double> weight;           // per unknown, its share of its aggregate's value
        mutable std::vector<double> x, b, r;  // solution, right-hand side, scratch
        // The right-hand side the cycles read: b, or (rhs set) on the finest
        // level the vector an application was given, read where it lies.
        mutable const std::vector<double>* rhs = nullptr;
        const std::vector<double>& rightHandSide() const { return rhs != nullptr ? *rhs : b; }
        // A threaded level: its matrix transposed (the rows of the transposed
        // system), the first unknown of each sweep part and one past the last
        // (kParts + 1 of them), the unknowns that parts read from others, and
        // their values before the current sweep. The finest level's transposed
        // rows are the system's when it has them.
        bool threaded = false;
        Rows t;
        std::vector<std::uint64_t> ownTStart;
        std::vector<std::uint32_t> ownTColumn;
        std::vector<double> ownTRate;
        std::vector<std::uint32_t> partStart;
        std::vector<std::uint32_t> border;
        mutable std::vector<double> before;
        // Once transposed, a threaded level's sweeps and residuals read its
        // rates in single precision (a preconditioner needs no more, and it
        // passes over 8 bytes per entry instead of 12), unless a rate lies
        // outside float's normal range; a coarse level then drops its doubles.
        // The finest level's transposed ones are the system's when it has them.
        const float* single = nullptr;
        const float* tSingle = nullptr;
        std::vector<float> ownSingle, ownTSingle;
        // The finest level reads the system's packed rows instead, where it has
        // them both ways (4 bytes per entry, the rates exact).
        const SparseSystem* packed = nullptr;

        Rows rows(bool transposed) const {
            if (transposed && threaded)
                return t;
            return {start, column, rate};
        }
        NearEntries nearRows(bool transposed) const {
            if (transposed)
                return {t.start, packed->tNear.data(), &packed->near};
            return {start, packed->near.word.data(), &packed->near};
        }
        RowsOf<float> singleRows(bool transposed) const {
            if (transposed)
                return {t.start, t.column, tSingle};
            return {start, column, single};
        }
    };

    // Pairs the unknowns of fine (keep, unless kNone, stays alone), fills each
    // one's pair number and share, and returns the level of the pairs.
    static Level pair(const Level& fine, std::uint32_t keep, std::vector<std::uint32_t>& map,
                      std::vector<double>& weight);
    // The level of the groups given by map (count of them): R A P, R summing over
    // a group, P giving each member its share (weight) of the group's value.
    static Level galerkin(const Level& fine, const std::vector<std::uint32_t>& map,
                          const std::vector<double>& weight, std::uint32_t count);
    // Makes level a threaded one: its sweep parts and the values they read.
    static void thread(Level& level);
    void factorCoarsest();
    // Improves levels_[l].x for levels_[l].b (from x = 0 when zero is set).
    void cycle(std::uint32_t l, bool transposed, bool zero) const;
    void smooth(const Level& level, bool transposed, bool forward, bool zero) const;
    // One sweep of a threaded level, part by part on the threads.
    void smoothParts(const Level& level, bool transposed, bool forward, bool zero) const;
    template <class Entries>
    static void sweepParts(const Level& level, const Entries& m, bool forward);
    template <class Entries> static void residualRows(const Level& level, const Entries& m);
    // The single-precision rates of a threaded level whose rates fit them (none
    // where they do not), the transposed ones taken from transposed when given;
    // ownRates: the level's doubles are its own and are let go.
    static void makeSingle(Level& level, bool ownRates, const float* transposed);
    void residual(const Level& level, bool transposed) const;
    void solveCoarsest(bool transposed) const;
    // The factor by which a transposed cycle (W or V) cuts the residual on
    // B^T z = 1, from two cycles: above 1 or not a number where it grows.
    double contraction(bool wCycle);
    // The entries and unknowns one cycle passes over.
    double work(bool wCycle) const;

    const SparseSystem* system_;
    std::vector<Level> levels_;
    std::vector<double> lu_; // the coarsest level's LU factors, row-major
    bool ok_ = true;
    bool wCycle_ = true; // two corrections from each level below, else one
};

} // namespace gensolver
