// Uniformization in the shared pool: the chunks and the order of the partial
// sums do not depend on the number of threads, so one thread and two give the
// same values to the last bit, on a chain with few distinct rates (read through
// 2-byte indexes) and on one with more than an index holds.

#include "methods/Parallel.h"
#include "methods/Transient.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using gensolver::RateMatrix;

// n states on a ring with random chords; rates drawn from `distinct` values
// (0: every rate its own value).
RateMatrix chain(std::uint32_t n, unsigned distinct, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> rate(0.5, 3.0);
    std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
    std::vector<double> values;
    for (unsigned i = 0; i < distinct; ++i)
        values.push_back(rate(gen));
    std::uniform_int_distribution<unsigned> which(0, distinct > 0 ? distinct - 1 : 0);
    auto next = [&] { return distinct > 0 ? values[which(gen)] : rate(gen); };
    std::vector<gensolver::Transition> arcs;
    for (std::uint32_t i = 0; i < n; ++i) {
        arcs.push_back({i, (i + 1) % n, next()});
        arcs.push_back({i, pick(gen), next()});
        arcs.push_back({i, pick(gen), next()});
        arcs.push_back({i, pick(gen), next()});
    }
    return gensolver::buildRateMatrix(n, arcs);
}

struct Outcome {
    std::vector<double> distribution;
    double integral;
};

Outcome solveWith(unsigned threads, const RateMatrix& m, const std::vector<double>& reward) {
    gensolver::setSharedThreads(threads);
    gensolver::TransientSolver s(m, {&reward}, nullptr, {});
    s.advanceTo(0.5);
    s.advanceTo(2.0);
    return {s.distribution(), s.integral(0)};
}

TEST(TransientThreads, OneThreadAndTwoGiveTheSameValuesBitForBit) {
    // 20000 states: three chunks of the pool, so two threads really split a step.
    for (const unsigned distinct : {3u, 0u}) {
        SCOPED_TRACE(distinct == 0 ? "every rate distinct" : "three distinct rates");
        const RateMatrix m = chain(20000, distinct, 11);
        std::vector<double> reward(m.states());
        for (std::uint32_t j = 0; j < m.states(); ++j)
            reward[j] = static_cast<double>(j % 7) - 2.0;
        const Outcome one = solveWith(1, m, reward);
        const Outcome two = solveWith(2, m, reward);
        EXPECT_EQ(one.distribution, two.distribution);
        EXPECT_EQ(one.integral, two.integral);
        double total = 0.0;
        for (const double x : one.distribution)
            total += x;
        EXPECT_NEAR(total, 1.0, 1e-12);
    }
    gensolver::setSharedThreads(0);
}

} // namespace
