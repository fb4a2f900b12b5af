#pragma once
// Reduced-rank extrapolation of the iterates of a linear fixed-point iteration
// (Gauss-Seidel sweeps): from kKept consecutive iterates x_0 .. x_d, the
// combination sum_a g_a x_(a+1) with sum_a g_a = 1 whose differences
// sum_a g_a (x_(a+1) - x_a) have the least 2-norm. Where a few slow modes
// dominate the error, as the cyclic flow of polling and kanban chains makes
// them, the combination removes most of them at once: the sweeps that follow
// start far closer to the solution. It only moves the iterate; whether the
// sweeps have converged is still decided from the sweeps themselves.
//
// The sums run over the pool's fixed chunks and are added in chunk order, so
// the result does not depend on the number of threads.

#include "methods/Parallel.h"

#include <array>
#include <cstdint>
#include <vector>

namespace gensolver {

class IterateExtrapolation {
public:
    // Iterates kept: four differences, which measured best on polling N = 16
    // and kanban N = 5 (bench/README.md).
    static constexpr unsigned kKept = 5;

    explicit IterateExtrapolation(std::uint32_t size);

    // Keeps iterate slot (0 .. kKept - 1): value(k) * scale for k in [0, size).
    template <class Value>
    void keep(Parallel& pool, unsigned slot, double scale, Value value) {
        double* to = kept_[slot].data();
        pool.forEach(size_, [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t k = begin; k < end; ++k)
                to[k] = value(k) * scale;
        });
    }

    // The extrapolated iterate, negative entries cut to 0, handed to
    // put(k, value) for every k; false (and nothing handed) where the
    // differences leave no well-posed least-squares problem.
    template <class Put> bool extrapolate(Parallel& pool, Put put) {
        if (!weights(pool))
            return false;
        pool.forEach(size_, [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t k = begin; k < end; ++k) {
                double v = 0.0;
                for (unsigned a = 0; a + 1 < kKept; ++a)
                    v += weight_[a] * kept_[a + 1][k];
                put(k, v > 0.0 ? v : 0.0);
            }
        });
        return true;
    }

    // The last iterate kept, handed to put(k, value) for every k.
    template <class Put> void handBackLast(Parallel& pool, Put put) {
        const double* last = kept_[kKept - 1].data();
        pool.forEach(size_, [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t k = begin; k < end; ++k)
                put(k, last[k]);
        });
    }

private:
    static constexpr unsigned kDifferences = kKept - 1;
    static constexpr unsigned kGram = kDifferences * (kDifferences + 1) / 2;
    // Solves for weight_ from the Gram matrix of the differences.
    bool weights(Parallel& pool);

    std::uint32_t size_;
    std::array<std::vector<double>, kKept> kept_;
    std::vector<std::array<double, kGram>> partials_; // per chunk
    std::array<double, kDifferences> weight_{};
};

} // namespace gensolver
