#include "methods/IterateExtrapolation.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace gensolver {

IterateExtrapolation::IterateExtrapolation(std::uint32_t size)
    : size_(size), partials_(Parallel::chunks(size)) {
    for (std::vector<double>& v : kept_)
        v.resize(size);
}

bool IterateExtrapolation::weights(Parallel& pool) {
    // G[a][b] = (x_(a+1) - x_a) . (x_(b+1) - x_b), the upper triangle row by row.
    pool.forParts(partials_.size(), [&](std::uint64_t c) {
        const std::uint64_t begin = c * Parallel::kChunk;
        const std::uint64_t end = std::min<std::uint64_t>(begin + Parallel::kChunk, size_);
        std::array<double, kGram> g{};
        for (std::uint64_t k = begin; k < end; ++k) {
            double d[kDifferences];
            for (unsigned a = 0; a < kDifferences; ++a)
                d[a] = kept_[a + 1][k] - kept_[a][k];
            unsigned at = 0;
            for (unsigned a = 0; a < kDifferences; ++a)
                for (unsigned b = a; b < kDifferences; ++b)
                    g[at++] += d[a] * d[b];
        }
        partials_[c] = g;
    });
    long double gram[kDifferences][kDifferences] = {};
    for (const std::array<double, kGram>& g : partials_) {
        unsigned at = 0;
        for (unsigned a = 0; a < kDifferences; ++a)
            for (unsigned b = a; b < kDifferences; ++b)
                gram[a][b] += g[at++];
    }
    for (unsigned a = 0; a < kDifferences; ++a)
        for (unsigned b = 0; b < a; ++b)
            gram[a][b] = gram[b][a];
    // The least-squares weights under sum g = 1 are G^-1 1 / (1^T G^-1 1):
    // Gaussian elimination with partial pivoting. The differences of a slowly
    // converging iteration are nearly parallel, so G is ill-conditioned; a
    // poor solve only makes a poorer starting point for the sweeps.
    long double rhs[kDifferences];
    for (long double& v : rhs)
        v = 1.0L;
    for (unsigned col = 0; col < kDifferences; ++col) {
        unsigned pivot = col;
        for (unsigned row = col + 1; row < kDifferences; ++row)
            if (std::fabs(gram[row][col]) > std::fabs(gram[pivot][col]))
                pivot = row;
        if (!(gram[pivot][col] != 0.0L))
            return false;
        if (pivot != col) {
            for (unsigned k = 0; k < kDifferences; ++k)
                std::swap(gram[col][k], gram[pivot][k]);
            std::swap(rhs[col], rhs[pivot]);
        }
        for (unsigned row = col + 1; row < kDifferences; ++row) {
            const long double f = gram[row][col] / gram[col][col];
            for (unsigned k = col; k < kDifferences; ++k)
                gram[row][k] -= f * gram[col][k];
            rhs[row] -= f * rhs[col];
        }
    }
    for (unsigned col = kDifferences; col-- > 0;) {
        for (unsigned k = col + 1; k < kDifferences; ++k)
            rhs[col] -= gram[col][k] * rhs[k];
        rhs[col] /= gram[col][col];
    }
    long double total = 0.0L;
    for (const long double v : rhs)
        total += v;
    for (unsigned a = 0; a < kDifferences; ++a) {
        const long double w = rhs[a] / total;
        if (!std::isfinite(static_cast<double>(w)))
            return false;
        weight_[a] = static_cast<double>(w);
    }
    return true;
}

} // namespace gensolver
