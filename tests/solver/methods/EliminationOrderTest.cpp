// The elimination orders: minimum degree and nested dissection, permutations of
// the chain's states that cut the factors' fill, and an empty answer when their
// budget runs out.

#include "methods/EliminationOrder.h"
#include "SolverTestSupport.h"
#include "methods/SparseElimination.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using gensolver::Transition;

// Entries of the factors of -Q restricted to all states but the last (which
// every state leaves to), eliminated in `order`.
std::uint64_t factorEntries(std::uint32_t n, std::vector<Transition> ts,
                            const std::vector<std::uint32_t>& order) {
    for (std::uint32_t i = 0; i < n; ++i)
        ts.push_back({i, n, 1.0});
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n + 1, ts);
    std::vector<std::uint32_t> local(n + 1, UINT32_MAX);
    for (std::uint32_t k = 0; k < n; ++k)
        local[order[k]] = k;
    return gensolver::SparseElimination(m, order, local).entries();
}

TEST(EliminationOrder, IsAPermutationThatCutsTheFillOfAGridAndAStar) {
    // A 30 x 30 grid, both ways between neighbours, numbered row by row.
    const std::uint32_t side = 30, n = side * side;
    std::vector<Transition> grid;
    for (std::uint32_t r = 0; r < side; ++r)
        for (std::uint32_t c = 0; c < side; ++c) {
            const std::uint32_t s = r * side + c;
            if (c + 1 < side) {
                grid.push_back({s, s + 1, 1.0});
                grid.push_back({s + 1, s, 2.0});
            }
            if (r + 1 < side) {
                grid.push_back({s, s + side, 3.0});
                grid.push_back({s + side, s, 0.5});
            }
        }
    std::vector<std::uint32_t> natural(n);
    for (std::uint32_t i = 0; i < n; ++i)
        natural[i] = i;
    const std::vector<std::uint32_t> order =
        gensolver::minimumDegreeOrder(gensolver::buildRateMatrix(n, grid), 1u << 30);
    ASSERT_EQ(order.size(), n);
    std::vector<std::uint32_t> sorted(order);
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, natural);
    // Row by row the fill is about n * side; minimum degree leaves well under half.
    EXPECT_LT(factorEntries(n, grid, order) * 2, factorEntries(n, grid, natural));

    // A star whose hub is state 0: taken first it joins all leaves to one
    // another; minimum degree takes it at the end. A state without transitions and a
    // transition of rate 0 are still placed.
    std::vector<Transition> star;
    for (std::uint32_t leaf = 1; leaf < 40; ++leaf) {
        star.push_back({0, leaf, 1.0});
        star.push_back({leaf, 0, 1.0});
    }
    star.push_back({40, 41, 0.0});
    const std::vector<std::uint32_t> starOrder =
        gensolver::minimumDegreeOrder(gensolver::buildRateMatrix(42, star), 1u << 30);
    ASSERT_EQ(starOrder.size(), 42u);
    // Taken once at most one leaf is left, the hub makes no fill.
    const auto hub = std::find(starOrder.begin(), starOrder.end(), 0u) - starOrder.begin();
    EXPECT_GE(hub, 40);
    sorted = starOrder;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_TRUE(std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end());
    EXPECT_EQ(sorted.back(), 41u);

    // Out of budget: no order.
    EXPECT_TRUE(gensolver::minimumDegreeOrder(gensolver::buildRateMatrix(n, grid), 100).empty());
}

bool isPermutation(std::vector<std::uint32_t> order, std::uint32_t n) {
    std::sort(order.begin(), order.end());
    for (std::uint32_t i = 0; i < n; ++i)
        if (order.size() != n || order[i] != i)
            return false;
    return true;
}

// Two layers of a side x side grid with a fast switch between them, as a
// reliability model's units up in two subsystems under a workload that comes
// and goes; numbered row by row, the two layers of a point next to each other.
std::vector<Transition> layeredGrid(std::uint32_t side, std::uint32_t offset = 0) {
    std::vector<Transition> ts;
    for (std::uint32_t z = 0; z < 2; ++z)
        for (std::uint32_t r = 0; r < side; ++r)
            for (std::uint32_t c = 0; c < side; ++c) {
                const std::uint32_t s = offset + 2 * (r * side + c) + z;
                if (c + 1 < side) {
                    ts.push_back({s, s + 2, 1e-4 * (c + 1)});
                    ts.push_back({s + 2, s, 1.0});
                }
                if (r + 1 < side) {
                    ts.push_back({s, s + 2 * side, 1e-6 * (r + 1)});
                    ts.push_back({s + 2 * side, s, 1.0});
                }
                if (z == 0)
                    ts.push_back({s, s + 1, 1e4});
                else
                    ts.push_back({s, s - 1, 1e3});
            }
    return ts;
}

TEST(EliminationOrder, NestedDissectionCutsTheFillOfGridsBeyondMinimumDegreesReach) {
    // 5,000 states: row by row the factors hold 980,394 entries, in nested
    // dissection order 255,186.
    const std::uint32_t side = 50, n = 2 * side * side;
    const std::vector<Transition> grid = layeredGrid(side);
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, grid);
    const std::vector<std::uint32_t> order = gensolver::nestedDissectionOrder(m);
    ASSERT_TRUE(isPermutation(order, n));
    std::vector<std::uint32_t> natural(n);
    for (std::uint32_t i = 0; i < n; ++i)
        natural[i] = i;
    const std::uint64_t dissected = factorEntries(n, grid, order);
    EXPECT_LT(dissected * 3, factorEntries(n, grid, natural));
    // The separators' dense blocks within a budget: the largest one fills
    // between 2,000 and 5,000 entries, and a budget of 2,000 refuses the order.
    gensolver::EliminationBudget small;
    small.fill = 2000;
    EXPECT_TRUE(gensolver::nestedDissectionOrder(m, small).empty());
    // With minimum degree out of its budget the fill-reducing order is
    // dissection's, and with both refused the state order.
    EXPECT_EQ(gensolver::fillReducingOrder(m, small).size(), n);

    // The same solve in either order: the times spent in each state before
    // leaving, from state 1, agree to the elimination's roundings.
    std::vector<Transition> leaving = grid;
    for (std::uint32_t i = 0; i < n; ++i)
        leaving.push_back({i, n, 1e-3});
    const gensolver::RateMatrix a = gensolver::buildRateMatrix(n + 1, leaving);
    std::vector<std::vector<double>> times;
    const std::vector<std::uint32_t>* orders[] = {&order, &natural};
    for (const std::vector<std::uint32_t>* states : orders) {
        std::vector<std::uint32_t> local(n + 1, UINT32_MAX);
        for (std::uint32_t k = 0; k < n; ++k)
            local[(*states)[k]] = k;
        std::vector<double> x(n, 0.0);
        x[local[0]] = 1.0;
        gensolver::SparseElimination(a, *states, local).solveLeft(x);
        std::vector<double> byState(n);
        for (std::uint32_t k = 0; k < n; ++k)
            byState[(*states)[k]] = x[k];
        times.push_back(byState);
    }
    double total = 0.0;
    for (std::uint32_t i = 0; i < n; ++i) {
        ASSERT_NEAR(times[0][i], times[1][i], 1e-9 * times[1][i] + 1e-300) << "state " << i;
        total += times[0][i];
    }
    // Every state leaves at rate 1e-3: the mean time to leave is 1000.
    EXPECT_NEAR(total, 1000.0, 1e-8);
}

TEST(EliminationOrder, NestedDissectionPlacesPiecesStrayStatesAndHubs) {
    // Two grids apart, states without transitions, a rate of 0, and a hub
    // joined to 600 leaves, which no level separates evenly.
    const std::uint32_t side = 30, grid = 2 * side * side;
    std::vector<Transition> ts = layeredGrid(side);
    for (const Transition& t : layeredGrid(side, grid))
        ts.push_back(t);
    const std::uint32_t hub = 2 * grid + 10;
    for (std::uint32_t leaf = 1; leaf <= 600; ++leaf) {
        ts.push_back({hub, hub + leaf, 1.0});
        ts.push_back({hub + leaf, hub, 2.0});
    }
    ts.push_back({2 * grid, 2 * grid + 1, 0.0});
    const std::uint32_t n = hub + 601;
    const std::vector<std::uint32_t> order =
        gensolver::nestedDissectionOrder(gensolver::buildRateMatrix(n, ts));
    ASSERT_TRUE(isPermutation(order, n));
    // Each piece is ordered on its own, in one run of the order.
    auto at = [&](std::uint32_t state) {
        return static_cast<std::uint32_t>(std::find(order.begin(), order.end(), state) -
                                          order.begin());
    };
    std::uint32_t first = n, last = 0;
    for (std::uint32_t s = 0; s < grid; ++s) {
        first = std::min(first, at(s));
        last = std::max(last, at(s));
    }
    EXPECT_EQ(last - first + 1, grid);
    // The hub comes after all its leaves but one: it fills nothing.
    std::uint32_t leavesAfter = 0;
    for (std::uint32_t leaf = 1; leaf <= 600; ++leaf)
        leavesAfter += at(hub + leaf) > at(hub) ? 1 : 0;
    EXPECT_LE(leavesAfter, 1u);

    // Random chains of 300 to 3,000 states, some in several pieces, with
    // self-loops, rates of 0 and repeated arcs: every state placed once.
    std::mt19937 rng(11);
    for (int trial = 0; trial < 40; ++trial) {
        const std::uint32_t size = 300 + rng() % 2701;
        const std::uint32_t pieces = 1 + rng() % 3;
        std::vector<Transition> arcs;
        for (std::uint32_t k = 0; k < size * 3; ++k) {
            const std::uint32_t from = rng() % size;
            // Mostly near neighbours within a piece, sometimes anywhere in it.
            const std::uint32_t piece = from % pieces;
            std::uint32_t to = rng() % 4 == 0 ? rng() % size : from + pieces * (1 + rng() % 3);
            to = to - to % pieces + piece;
            if (to >= size)
                continue;
            arcs.push_back({from, to, rng() % 10 == 0 ? 0.0 : 1.0 + rng() % 5});
        }
        SCOPED_TRACE(trial);
        const std::vector<std::uint32_t> dissected =
            gensolver::nestedDissectionOrder(gensolver::buildRateMatrix(size, arcs));
        ASSERT_TRUE(isPermutation(dissected, size));
    }
}

// Whether SparseElimination of the states in `order` stays
// within `budget`.
bool fits(const gensolver::RateMatrix& m, const std::vector<std::uint32_t>& order,
          const std::vector<std::uint32_t>& local, gensolver::EliminationBudget budget) {
    try {
        gensolver::SparseElimination(m, order, local, budget);
        return true;
    } catch (const gensolver::EliminationOverBudget&) {
        return false;
    }
}

TEST(EliminationOrder, TheSymmetricCountBoundsTheEliminationsFillAndFolds) {
    // Random chains of 50 to 800 states that all leave to a sink outside the
    // set, in minimum degree, state and random orders, with rates both ways or
    // one way, self-loops, rates of 0 and repeated arcs: the elimination fits
    // in the count's fill and folds; with every rate both ways its folds are
    // the count's exactly (one fold less runs over). A cap stops the count
    // past it.
    std::mt19937 rng(5);
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const std::uint32_t n = 50 + rng() % 751;
        const bool bothWays = trial % 3 == 0;
        std::vector<Transition> ts;
        for (std::uint32_t k = 0; k < 2 * n; ++k) {
            const std::uint32_t from = rng() % n;
            const std::uint32_t to = rng() % 5 == 0 ? rng() % n : (from + 1 + rng() % 4) % n;
            const double rate = !bothWays && rng() % 10 == 0 ? 0.0 : 1.0 + rng() % 5;
            ts.push_back({from, to, rate});
            if (bothWays && from != to)
                ts.push_back({to, from, 2.0});
        }
        for (std::uint32_t i = 0; i < n; ++i)
            ts.push_back({i, n, 0.5});
        const gensolver::RateMatrix m = gensolver::buildRateMatrix(n + 1, ts);
        std::vector<std::uint32_t> order;
        if (trial % 2 == 0) {
            for (const std::uint32_t j : gensolver::minimumDegreeOrder(m, 1u << 30))
                if (j != n)
                    order.push_back(j);
        } else {
            for (std::uint32_t i = 0; i < n; ++i)
                order.push_back(i);
            if (trial % 4 == 1)
                std::shuffle(order.begin(), order.end(), rng);
        }
        ASSERT_EQ(order.size(), n);
        std::vector<std::uint32_t> local(n + 1, UINT32_MAX);
        for (std::uint32_t k = 0; k < n; ++k)
            local[order[k]] = k;
        const gensolver::EliminationCost cost =
            gensolver::symmetricEliminationCost(m, order, local);
        ASSERT_GE(cost.fill, 0.0);
        gensolver::EliminationBudget budget;
        budget.fill = static_cast<std::uint64_t>(cost.fill);
        budget.folds = static_cast<std::uint64_t>(cost.folds);
        EXPECT_TRUE(fits(m, order, local, budget)) << cost.fill << " " << cost.folds;
        if (bothWays && cost.folds >= 1.0) {
            budget = {};
            budget.folds = static_cast<std::uint64_t>(cost.folds) - 1;
            EXPECT_FALSE(fits(m, order, local, budget)) << cost.folds;
        }
        gensolver::EliminationBudget cap;
        cap.folds = static_cast<std::uint64_t>(cost.folds / 3);
        const gensolver::EliminationCost capped =
            gensolver::symmetricEliminationCost(m, order, local, cap);
        EXPECT_GT(capped.folds, static_cast<double>(cap.folds));
        EXPECT_LE(capped.folds, cost.folds);
    }
}

} // namespace
