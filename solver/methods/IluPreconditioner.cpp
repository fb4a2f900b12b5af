#include "methods/IluPreconditioner.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

IluPreconditioner::IluPreconditioner(Parallel& pool, const SparseSystem& system)
    : system_(system), factor_(system.rate.size()), pivot_(system.size()), middle_(system.size()) {
    const std::uint32_t n = system.size();
    const std::uint32_t blocks =
        std::max<std::uint32_t>(1, std::min<std::uint32_t>(kMaxBlocks, n / kMinBlock));
    for (std::uint32_t k = 0; k <= blocks; ++k)
        blockStart_.push_back(static_cast<std::uint32_t>(std::uint64_t{n} * k / blocks));
    // B's off-diagonal entries are minus the rates.
    for (std::uint64_t e = 0; e < factor_.size(); ++e)
        factor_[e] = -system.rate[e];
    std::vector<char> good(blocks, 1);
    pool.forParts(blocks, [&](std::uint64_t block) {
        const std::uint32_t lo = blockStart_[block], hi = blockStart_[block + 1];
        // Per column of the block, the entry of the current row in it (+1), 0 for none.
        std::vector<std::uint64_t> where(hi - lo, 0);
        for (std::uint32_t i = lo; i < hi; ++i) {
            const std::uint64_t first = system.start[i], last = system.start[i + 1];
            std::uint64_t mid = first;
            while (mid < last && system.column[mid] < i)
                ++mid;
            middle_[i] = mid;
            for (std::uint64_t e = first; e < last; ++e)
                if (system.column[e] >= lo && system.column[e] < hi)
                    where[system.column[e] - lo] = e + 1;
            double d = system.diagonal[i];
            for (std::uint64_t e = first; e < mid; ++e) {
                const std::uint32_t k = system.column[e];
                if (k < lo)
                    continue;
                const double l = factor_[e] / pivot_[k];
                factor_[e] = l;
                for (std::uint64_t f = middle_[k]; f < system.start[k + 1]; ++f) {
                    const std::uint32_t j = system.column[f];
                    if (j >= hi)
                        break;
                    if (j == i)
                        d -= l * factor_[f];
                    else if (where[j - lo] != 0)
                        factor_[where[j - lo] - 1] -= l * factor_[f];
                }
            }
            for (std::uint64_t e = first; e < last; ++e)
                if (system.column[e] >= lo && system.column[e] < hi)
                    where[system.column[e] - lo] = 0;
            pivot_[i] = d;
            if (!(d > 0.0) || !std::isfinite(d))
                good[block] = 0;
        }
    });
    for (const char g : good)
        ok_ = ok_ && g;
}

void IluPreconditioner::apply(Parallel& pool, const std::vector<double>& v,
                              std::vector<double>& z) const {
    const SparseSystem& s = system_;
    pool.forParts(blocks(), [&](std::uint64_t block) {
        const std::uint32_t lo = blockStart_[block], hi = blockStart_[block + 1];
        for (std::uint32_t i = lo; i < hi; ++i) {
            double t = v[i];
            for (std::uint64_t e = s.start[i]; e < middle_[i]; ++e)
                if (s.column[e] >= lo)
                    t -= factor_[e] * z[s.column[e]];
            z[i] = t;
        }
        for (std::uint32_t i = hi; i-- > lo;) {
            double t = z[i];
            for (std::uint64_t e = middle_[i]; e < s.start[i + 1]; ++e) {
                if (s.column[e] >= hi)
                    break;
                t -= factor_[e] * z[s.column[e]];
            }
            z[i] = t / pivot_[i];
        }
    });
}

void IluPreconditioner::applyTransposed(Parallel& pool, const std::vector<double>& v,
                                        std::vector<double>& z) const {
    const SparseSystem& s = system_;
    pool.forParts(blocks(), [&](std::uint64_t block) {
        const std::uint32_t lo = blockStart_[block], hi = blockStart_[block + 1];
        for (std::uint32_t i = lo; i < hi; ++i)
            z[i] = v[i];
        // U^T t = v: column by column of U, forwards.
        for (std::uint32_t i = lo; i < hi; ++i) {
            const double t = z[i] / pivot_[i];
            z[i] = t;
            for (std::uint64_t e = middle_[i]; e < s.start[i + 1]; ++e) {
                if (s.column[e] >= hi)
                    break;
                z[s.column[e]] -= factor_[e] * t;
            }
        }
        // L^T u = t: column by column of L, backwards.
        for (std::uint32_t i = hi; i-- > lo;) {
            const double u = z[i];
            for (std::uint64_t e = s.start[i]; e < middle_[i]; ++e)
                if (s.column[e] >= lo)
                    z[s.column[e]] -= factor_[e] * u;
        }
    });
}

} // namespace gensolver
