// Uniformization in the shared pool: the chunks and the order of the partial
// sums do not depend on the number of threads, so one thread and two give the
// same values to the last bit, on a chain with few distinct rates (read through
// rate indexes) and on one with more than an index holds; and each of the three
// ways a step reads the rates (source and index in one word, a 2-byte index
// beside the source, the full rates), with the stay probabilities by index or
// whole, against a closed form.

#include "methods/Parallel.h"
#include "methods/Transient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

// 66,000 states: a pair 0 <-> 1 (rates 2 and 3) that the chain starts in and
// never leaves, and a ring over the other states that it never reaches, its
// rates drawn from `distinct` values. The ring sets how a step reads the rates
// (the number of distinct rates and of states decide it) without changing the
// pair's closed form.
RateMatrix pairBesideRing(unsigned distinct) {
    const std::uint32_t n = 66000;
    std::vector<gensolver::Transition> arcs{{0, 1, 2.0}, {1, 0, 3.0}};
    for (std::uint32_t i = 2; i < n; ++i) {
        const double rate =
            0.5 + 2.0 * static_cast<double>(i % distinct) / static_cast<double>(distinct);
        arcs.push_back({i, i + 1 < n ? i + 1 : 2, rate});
        if (i % 7 == 0)
            arcs.push_back({i, 1, 0.25}); // into the pair, from states of probability 0
    }
    return gensolver::buildRateMatrix(n, arcs);
}

TEST(TransientLayouts, EveryWayOfReadingTheRatesMatchesTheClosedFormOnAnyThreads) {
    // With 3 distinct rates the exit rates are few too, and the stay
    // probabilities go through a one-byte index; with more, each is read whole.
    const struct {
        unsigned distinct;
        unsigned bytes;
        unsigned stateBytes;
    } cases[] = {{3, 4, 5}, {40000, 6, 12}, {66000, 12, 12}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.distinct) + " distinct rates");
        const RateMatrix m = pairBesideRing(c.distinct);
        EXPECT_EQ(gensolver::LocalSteps(m).bytesPerTransition(), c.bytes);
        EXPECT_EQ(gensolver::LocalSteps(m).bytesPerState(), c.stateBytes);
        std::vector<double> inState1(m.states(), 0.0);
        inState1[1] = 1.0;
        std::vector<double> previous;
        for (const unsigned threads : {1u, 2u}) {
            gensolver::setSharedThreads(threads);
            gensolver::TransientSolver s(m, {&inState1}, nullptr, {});
            const double t = 1.0;
            s.advanceTo(t);
            // P(X(t) = 1) and its integral for the pair with rates 2 and 3.
            const double p1 = 0.4 * (1.0 - std::exp(-5.0 * t));
            const double integral = 0.4 * (t - (1.0 - std::exp(-5.0 * t)) / 5.0);
            const std::vector<double>& x = s.distribution();
            EXPECT_NEAR(x[1], p1, 1e-13);
            EXPECT_NEAR(x[0], 1.0 - p1, 1e-13);
            EXPECT_LE(std::fabs(x[1] - p1), s.distributionBound());
            EXPECT_NEAR(s.integral(0), integral, 1e-11);
            EXPECT_LE(std::fabs(s.integral(0) - integral), s.integralBound());
            // The states of the ring are never reached.
            EXPECT_EQ(std::count(x.begin() + 2, x.end(), 0.0),
                      static_cast<std::ptrdiff_t>(m.states()) - 2);
            if (!previous.empty()) {
                EXPECT_EQ(previous, s.distribution()) << "one thread and two differ";
            }
            previous = s.distribution();
        }
    }
    gensolver::setSharedThreads(0);
}

} // namespace
