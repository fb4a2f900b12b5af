// The strongly connected components against mutual reachability found by a
// search from every state: random chains sparse and dense (one component, many,
// unreachable states), a ring numbered against its direction (the quick
// one-component test cannot tell and the full search decides), the quick test
// on one thread and on several, transitions of
// rate 0 (no transitions at all), and the components' topological order; and the
// breadth-first order from state 1 against distances found by relaxation.

#include "methods/Components.h"
#include "methods/Parallel.h"
#include "methods/RateMatrix.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using gensolver::Transition;

// reach[i][j]: j can be reached from i (each state reaches itself).
std::vector<std::vector<char>> reachability(std::uint32_t n, const std::vector<Transition>& ts) {
    std::vector<std::vector<std::uint32_t>> next(n);
    for (const Transition& t : ts)
        if (t.rate != 0.0)
            next[t.from].push_back(t.to);
    std::vector<std::vector<char>> reach(n, std::vector<char>(n, 0));
    for (std::uint32_t s = 0; s < n; ++s) {
        std::vector<std::uint32_t> todo{s};
        reach[s][s] = 1;
        while (!todo.empty()) {
            const std::uint32_t v = todo.back();
            todo.pop_back();
            for (const std::uint32_t w : next[v])
                if (!reach[s][w]) {
                    reach[s][w] = 1;
                    todo.push_back(w);
                }
        }
    }
    return reach;
}

void expectComponents(std::uint32_t n, const std::vector<Transition>& ts, const char* what) {
    SCOPED_TRACE(what);
    const gensolver::Components c = gensolver::findComponents(gensolver::buildRateMatrix(n, ts));
    const auto reach = reachability(n, ts);
    for (std::uint32_t i = 0; i < n; ++i)
        for (std::uint32_t j = 0; j < n; ++j)
            ASSERT_EQ(c.component[i] == c.component[j], reach[i][j] && reach[j][i])
                << i << " and " << j;
    // Every state listed once, under its own component, ascending within it.
    std::vector<char> seen(n, 0);
    for (std::uint32_t k = 0; k < c.count(); ++k)
        for (std::uint32_t at = c.first[k]; at < c.first[k + 1]; ++at) {
            const std::uint32_t s = c.order[at];
            EXPECT_EQ(c.component[s], k);
            EXPECT_FALSE(seen[s]);
            seen[s] = 1;
            if (at > c.first[k]) {
                EXPECT_LT(c.order[at - 1], s);
            }
        }
    EXPECT_EQ(c.first[c.count()], n);
    // Topological order; a class is closed when nothing leaves it.
    std::vector<char> leaves(c.count(), 0);
    for (const Transition& t : ts) {
        if (t.rate != 0.0 && c.component[t.from] != c.component[t.to]) {
            EXPECT_LT(c.component[t.from], c.component[t.to]) << t.from << " -> " << t.to;
            leaves[c.component[t.from]] = 1;
        }
    }
    for (std::uint32_t k = 0; k < c.count(); ++k)
        EXPECT_EQ(c.bottom[k] != 0, leaves[k] == 0) << "component " << k;
}

TEST(Components, MatchMutualReachabilityOnRandomChains) {
    std::mt19937 rng(17);
    for (const std::uint32_t n : {1u, 2u, 30u, 90u})
        for (const double arcsPerState : {0.8, 1.5, 4.0}) {
            std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
            std::vector<Transition> ts;
            for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(arcsPerState * n); ++k)
                ts.push_back({pick(rng), pick(rng), k % 7 == 0 ? 0.0 : 1.0 + k % 3});
            expectComponents(n, ts, "random");
            // The same states joined by a ring: one component.
            for (std::uint32_t s = 0; s < n; ++s)
                ts.push_back({s, (s + 1) % n, 2.0});
            expectComponents(n, ts, "random with a ring");
        }
}

TEST(Components, ARingAgainstItsNumberingIsOneComponentAndARateOfZeroCutsIt) {
    // 0 -> 49 -> 48 -> ... -> 1 -> 0: sweeps in state order advance one state each.
    const std::uint32_t n = 50;
    std::vector<Transition> ring;
    for (std::uint32_t s = 0; s < n; ++s)
        ring.push_back({s, (s + n - 1) % n, 1.0});
    expectComponents(n, ring, "ring against its numbering");
    EXPECT_EQ(gensolver::findComponents(gensolver::buildRateMatrix(n, ring)).count(), 1u);
    ring[10].rate = 0.0;
    expectComponents(n, ring, "ring cut by a rate of 0");
    EXPECT_EQ(gensolver::findComponents(gensolver::buildRateMatrix(n, ring)).count(), n);
}

TEST(Components, OneComponentIsToldAlikeOnOneThreadAndOnSeveral) {
    // A ring in the numbering's direction (the quick sweeps mark every state
    // from 0 at once) with random shortcuts, wide enough that the search back to
    // 0 spreads over levels of many parts; then with one state's exits at rate 0,
    // so that it reaches nothing and the chain is not one component.
    const std::uint32_t n = 60000;
    std::mt19937 rng(5);
    std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
    std::vector<Transition> ts;
    for (std::uint32_t s = 0; s < n; ++s) {
        ts.push_back({s, (s + 1) % n, 1.0});
        ts.push_back({s, pick(rng), 2.0});
        ts.push_back({s, pick(rng), 3.0});
    }
    const std::uint32_t stuck = 41234;
    std::vector<Transition> cut = ts;
    for (Transition& t : cut)
        if (t.from == stuck)
            t.rate = 0.0;
    for (const unsigned threads : {1u, 2u, 3u}) {
        SCOPED_TRACE(threads);
        gensolver::setSharedThreads(threads);
        EXPECT_EQ(gensolver::findComponents(gensolver::buildRateMatrix(n, ts)).count(), 1u);
        const gensolver::Components c = gensolver::findComponents(gensolver::buildRateMatrix(n, cut));
        ASSERT_EQ(c.count(), 2u);
        EXPECT_EQ(c.size(c.component[stuck]), 1u);
        EXPECT_TRUE(c.bottom[c.component[stuck]]);
    }
    gensolver::setSharedThreads(0);
}

TEST(BreadthFirstOrderTest, FollowsDistanceAndSkipsWhatCannotBeReached) {
    for (const unsigned seed : {4u, 5u, 6u}) {
        const std::uint32_t n = 200;
        std::mt19937 rng(seed);
        std::uniform_int_distribution<std::uint32_t> state(0, n - 1);
        std::vector<Transition> ts;
        for (std::uint32_t k = 0; k < 220; ++k) {
            const std::uint32_t a = state(rng), b = state(rng);
            if (a != b)
                ts.push_back({a, b, k % 5 == 0 ? 0.0 : 1.0});
        }
        // Distances by relaxation over the arcs of positive rate.
        std::vector<std::uint32_t> distance(n, UINT32_MAX);
        distance[0] = 0;
        for (bool changed = true; changed;) {
            changed = false;
            for (const Transition& t : ts)
                if (t.rate > 0.0 && distance[t.from] != UINT32_MAX &&
                    distance[t.from] + 1 < distance[t.to]) {
                    distance[t.to] = distance[t.from] + 1;
                    changed = true;
                }
        }
        const std::vector<std::uint32_t> order =
            gensolver::breadthFirstOrder(gensolver::buildRateMatrix(n, ts));
        std::size_t reachable = 0;
        for (const std::uint32_t d : distance)
            reachable += d != UINT32_MAX;
        ASSERT_EQ(order.size(), reachable) << "seed " << seed;
        EXPECT_EQ(order[0], 0u);
        for (std::size_t k = 1; k < order.size(); ++k)
            EXPECT_LE(distance[order[k - 1]], distance[order[k]]) << "seed " << seed;
    }
}

} // namespace
