// The minimum-degree elimination order: a permutation of the chain's states that
// cuts the factors' fill, and an empty answer when its budget runs out.

#include "methods/EliminationOrder.h"
#include "SolverTestSupport.h"
#include "methods/SparseElimination.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
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

} // namespace
