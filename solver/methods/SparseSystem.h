#pragma once
// The linear system B y = b of one strongly connected component of a chain, for
// an iterative solver: B = diag(exit rates) - (rates inside the component)
// transposed, so that row k of B gathers the rates into the component's k-th
// state. B is a nonsingular M-matrix for a component that the chain can leave.
// For a closed class B is singular; one state, the reference, then has its row
// replaced by the identity and its value fixed at 1 (the class's stationary
// vector up to its scale), which leaves a nonsingular M-matrix.

#include "methods/Components.h"
#include "methods/KrylovOperator.h"
#include "methods/Parallel.h"
#include "methods/RateMatrix.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace gensolver {

// Rows packed one 32-bit word per entry, for the products and sweeps that pass
// over them many times: the column's offset from its row (signed) in the high 16
// bits, the index of the rate in `table` in the low 16. Models have few distinct
// rates, and a chain numbered breadth-first keeps most transitions between nearby
// states; where some column lies 32,768 or more from its row, or the rates
// take more than 65,536 values, the rows are not packed (word empty). The table
// holds the rates' doubles, so the packed rows are exact.
struct NearRows {
    std::vector<std::uint32_t> word;
    std::vector<double> table;
    bool empty() const { return word.empty(); }
    static std::uint32_t column(std::uint32_t row, std::uint32_t word) {
        return row + static_cast<std::uint32_t>(static_cast<std::int32_t>(word) >> 16);
    }
    double rate(std::uint32_t word) const { return table[word & 0xFFFFu]; }
};

class SparseSystem : public KrylovOperator {
public:
    // An empty system, whose members the caller fills (a distributed solve builds
    // the block of its own rows this way).
    SparseSystem() = default;
    // The system of component c, its states in ascending state order. With
    // closed = true the reference-th of them is the reference; otherwise b gets 1 for
    // state 0 and the inflow sum x[i] * rate from states outside c (solved
    // before). local must have a slot per state; it is overwritten. With
    // balanced, the reference's row is its exit rate times the identity (and b
    // too) instead of the identity: every column of B then sums to 0 or more,
    // which aggregation needs to keep its coarse levels M-matrices.
    SparseSystem(const RateMatrix& m, const Components& comps, std::uint32_t c, bool closed,
                 const std::vector<double>& x, std::vector<std::uint32_t>& local,
                 std::uint32_t reference = 0, bool balanced = false);
    SparseSystem(const SparseSystem&) = delete;
    SparseSystem& operator=(const SparseSystem&) = delete;

    std::uint32_t size() const { return static_cast<std::uint32_t>(diagonal.size()); }
    std::uint64_t rows() const override { return size(); }

    // y = B x, in parallel over rows.
    void multiply(Parallel& pool, const std::vector<double>& x,
                  std::vector<double>& y) const override;
    // y = B^T x, one thread (a scatter over the rows).
    void multiplyTransposed(const std::vector<double>& x, std::vector<double>& y) const;
    // y = B^T x: in parallel along the transposed rows once transpose() built
    // them, else the scatter above.
    void multiplyTransposed(Parallel& pool, const std::vector<double>& x,
                            std::vector<double>& y) const override;
    // y = B^T x with the rates in double: along the transposed rows where they
    // hold doubles, else the scatter above.
    void multiplyTransposedExactly(Parallel& pool, const std::vector<double>& x,
                                   std::vector<double>& y) const override;
    // Builds the transposed rows below: where the rows pack (NearRows), the rows
    // and the transposed rows packed, 8 bytes per entry and 8 per row more;
    // otherwise (or with pack false) the plain transposed rows, 8 bytes per
    // entry and 8 per row more where every rate fits float's normal range, 12
    // per entry otherwise.
    void transpose(bool pack = true);
    // r = b - B x, in parallel over rows, each row in long double.
    void residual(Parallel& pool, const std::vector<double>& b, const std::vector<double>& x,
                  std::vector<double>& r) const override;
    // Frees column and rate where the packed rows and transposed rows serve every
    // product and residual (otherwise nothing). For after whatever reads the
    // plain rows (a preconditioner's construction) is done with them.
    void dropPlainRows();

    // Rows of B without the diagonal: entries [start[k], start[k + 1]) hold the
    // columns (ascending) and the rates (B's entries are their negatives).
    std::vector<std::uint64_t> start;
    std::vector<std::uint32_t> column;
    std::vector<double> rate;
    // The rows of B^T without the diagonal (B's columns, their rows ascending),
    // empty until transpose(). Their rates are in single precision (tSingle)
    // where every rate fits float's normal range, else in double (tRate): the
    // transposed products serve the solve for the bound's w, which only has to
    // come within 1/2 of its right-hand side, and the check of w takes the
    // doubles (multiplyTransposedExactly).
    std::vector<std::uint64_t> tStart;
    std::vector<std::uint32_t> tColumn;
    std::vector<double> tRate;
    std::vector<float> tSingle;
    // The rows and the transposed rows packed, empty where they do not fit (and
    // until transpose()); the products use them where they are there, and the
    // plain transposed rows above are then not built (tStart is). tNear has
    // near's table.
    NearRows near;
    std::vector<std::uint32_t> tNear;
    std::vector<double> diagonal;      // exit rates; 1 for the reference unless balanced
    std::vector<double> b;             // right-hand side
    std::vector<std::uint32_t> member; // state of each row
    std::uint32_t reference = 0;       // row of the reference (closed classes)
    bool closed = false;

private:
    // y = (diagonal - the packed rows [rows, words]) x, in parallel over rows.
    void packedProduct(Parallel& pool, const std::uint64_t* rows, const std::uint32_t* words,
                       const std::vector<double>& x, std::vector<double>& y) const;
};

// Sorts the entries [from, to) of column and rate by column and adds those of
// the same column into one (the preconditioner needs each row's columns
// ascending and distinct; a matrix built from a list may give them otherwise).
// Returns the row's new end. scratch is working space.
std::uint64_t sortRow(std::uint64_t from, std::uint64_t to, std::vector<std::uint32_t>& column,
                      std::vector<double>& rate,
                      std::vector<std::pair<std::uint32_t, double>>& scratch);

// Whether each of the n values is 0 or of a size that float holds in its normal
// range.
bool fitsSingle(const double* values, std::uint64_t n);

// Packs the n rows [start, column, rate] into near; false, near left empty, where
// they do not fit.
bool packNear(std::uint32_t n, const std::uint64_t* start, const std::uint32_t* column,
              const double* rate, NearRows& near);

// The row starts of the transpose of the n rows [start, column].
void transposedStarts(std::uint32_t n, const std::uint64_t* start, const std::uint32_t* column,
                      std::vector<std::uint64_t>& tStart);

// The rows of the transpose of the n rows [start, column, rate]: entry (k, j)
// becomes entry (j, k), each new row's columns ascending.
void transposeRows(std::uint32_t n, const std::uint64_t* start, const std::uint32_t* column,
                   const double* rate, std::vector<std::uint64_t>& tStart,
                   std::vector<std::uint32_t>& tColumn, std::vector<double>& tRate);

} // namespace gensolver
