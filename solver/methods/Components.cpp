#include "methods/Components.h"

#include "methods/Parallel.h"

#include <algorithm>
#include <atomic>

namespace gensolver {

namespace {

// Sweeps in state order that the quick test below may take each way.
constexpr int kQuickSweeps = 8;

// Whether state 0 reaches every state, by up to kQuickSweeps sweeps in state
// order; false also when they do not tell. A state reached from 0 marks itself
// from a marked predecessor (the matrix lists predecessors): in a chain numbered
// in the order of its exploration from state 0, as the generator numbers it, one
// sweep in ascending order marks them all.
bool reachedFromZero(const RateMatrix& m) {
    const std::uint32_t n = m.states();
    std::vector<char> mark(n, 0);
    mark[0] = 1;
    std::uint32_t marked = 1;
    for (int sweep = 0; sweep < kQuickSweeps && marked < n; ++sweep) {
        const std::uint32_t before = marked;
        for (std::uint32_t j = 1; j < n; ++j) {
            if (mark[j])
                continue;
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (mark[m.source[e]] && m.rate[e] != 0.0) {
                    mark[j] = 1;
                    ++marked;
                    break;
                }
        }
        if (marked == before)
            return false;
    }
    return marked == n;
}

// Whether every state reaches state 0: breadth-first over the predecessors from
// state 0, each row read once, whatever the numbering. On several threads the
// search goes level by level, the threads taking parts of a level and marking
// states by an atomic exchange, so that each state joins the next level once.
bool reachZero(const RateMatrix& m) {
    const std::uint32_t n = m.states();
    std::vector<std::uint8_t> mark(n, 0);
    mark[0] = 1;
    Parallel& pool = sharedPool();
    if (pool.threads() < 2) {
        std::vector<std::uint32_t> queue;
        queue.reserve(n);
        queue.push_back(0);
        for (std::size_t head = 0; head < queue.size(); ++head) {
            const std::uint32_t j = queue[head];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                const std::uint32_t i = m.source[e];
                if (!mark[i] && m.rate[e] != 0.0) {
                    mark[i] = 1;
                    queue.push_back(i);
                }
            }
        }
        return queue.size() == n;
    }
    constexpr std::size_t kPart = 4096;
    std::vector<std::uint32_t> level{0};
    std::vector<std::vector<std::uint32_t>> found;
    std::uint64_t reached = 1;
    while (!level.empty()) {
        const std::size_t parts = (level.size() + kPart - 1) / kPart;
        if (found.size() < parts)
            found.resize(parts);
        pool.forParts(parts, [&](std::uint64_t p) {
            std::vector<std::uint32_t>& out = found[p];
            out.clear();
            const std::size_t last = std::min(level.size(), (p + 1) * kPart);
            for (std::size_t k = p * kPart; k < last; ++k) {
                const std::uint32_t j = level[k];
                for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                    std::atomic_ref<std::uint8_t> seen(mark[m.source[e]]);
                    if (seen.load(std::memory_order_relaxed) == 0 && m.rate[e] != 0.0 &&
                        seen.exchange(1, std::memory_order_relaxed) == 0)
                        out.push_back(m.source[e]);
                }
            }
        });
        level.clear();
        for (std::size_t p = 0; p < parts; ++p)
            level.insert(level.end(), found[p].begin(), found[p].end());
        // In ascending order the next level reads the rows in memory order.
        std::sort(level.begin(), level.end());
        reached += level.size();
    }
    return reached == n;
}

// Whether the chain is one strongly connected component: state 0 reaches every
// state and every state reaches state 0. False also when the quick sweeps do not
// tell the first.
bool oneComponent(const RateMatrix& m) { return reachedFromZero(m) && reachZero(m); }

} // namespace

Components findComponents(const RateMatrix& m) {
    const std::uint32_t n = m.states();
    constexpr std::uint32_t kUnvisited = 0xFFFFFFFFu;
    Components c;
    if (n > 0 && oneComponent(m)) {
        // Tarjan's search below costs several times as much, in random accesses.
        c.component.assign(n, 0);
        c.order.resize(n);
        for (std::uint32_t j = 0; j < n; ++j)
            c.order[j] = j;
        c.first = {0, n};
        c.bottom = {1};
        c.leaving.assign(n, 0.0);
        return c;
    }
    c.component.assign(n, 0);
    c.order.reserve(n);
    c.first.push_back(0);

    // The search runs over the reversed graph (the matrix lists predecessors);
    // it has the same components, and it finishes a component after all of the
    // components that reach it in the reversed graph, which are the ones with a
    // transition into it: so components come out in forward topological order.
    std::vector<std::uint32_t> index(n, kUnvisited);
    std::vector<std::uint32_t> low(n, 0);
    std::vector<char> onStack(n, 0);
    std::vector<std::uint32_t> stack;
    struct Frame {
        std::uint32_t state;
        std::uint64_t edge;
    };
    std::vector<Frame> calls;
    std::uint32_t counter = 0;

    auto visit = [&](std::uint32_t v) {
        index[v] = low[v] = counter++;
        stack.push_back(v);
        onStack[v] = 1;
        calls.push_back({v, m.start[v]});
    };
    for (std::uint32_t root = 0; root < n; ++root) {
        if (index[root] != kUnvisited)
            continue;
        visit(root);
        while (!calls.empty()) {
            const std::uint32_t v = calls.back().state;
            const std::uint64_t edge = calls.back().edge;
            if (edge < m.start[std::size_t{v} + 1]) {
                ++calls.back().edge;
                if (m.rate[edge] == 0.0)
                    continue; // a rate of 0 is no transition
                const std::uint32_t w = m.source[edge];
                if (index[w] == kUnvisited)
                    visit(w);
                else if (onStack[w])
                    low[v] = std::min(low[v], index[w]);
                continue;
            }
            calls.pop_back();
            if (!calls.empty()) {
                const std::uint32_t u = calls.back().state;
                low[u] = std::min(low[u], low[v]);
            }
            if (low[v] == index[v]) {
                const std::uint32_t id = static_cast<std::uint32_t>(c.first.size() - 1);
                std::uint32_t w;
                do {
                    w = stack.back();
                    stack.pop_back();
                    onStack[w] = 0;
                    c.component[w] = id;
                    c.order.push_back(w);
                } while (w != v);
                c.first.push_back(static_cast<std::uint32_t>(c.order.size()));
            }
        }
    }
    // Within a component the states go in ascending order, so that sweeps over a
    // component walk the matrix in memory order.
    for (std::size_t k = 0; k + 1 < c.first.size(); ++k)
        std::sort(c.order.begin() + c.first[k], c.order.begin() + c.first[k + 1]);
    std::vector<std::uint32_t>().swap(index);
    std::vector<std::uint32_t>().swap(low);
    std::vector<char>().swap(onStack);

    c.bottom.assign(c.first.size() - 1, 1);
    c.leaving.assign(n, 0.0);
    for (std::uint32_t j = 0; j < n; ++j)
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = m.source[e];
            if (c.component[i] != c.component[j] && m.rate[e] != 0.0) {
                c.bottom[c.component[i]] = 0;
                c.leaving[i] += m.rate[e];
            }
        }
    return c;
}

std::vector<std::uint32_t> breadthFirstOrder(const RateMatrix& m) {
    const std::uint32_t n = m.states();
    std::vector<std::uint32_t> order;
    if (n == 0)
        return order;
    // The rows hold the transitions into each state; the search follows them out
    // of each state, so they are turned around first (targets per source).
    std::vector<std::uint64_t> out(std::size_t{n} + 1, 0);
    for (std::uint32_t j = 0; j < n; ++j)
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            if (m.rate[e] > 0.0)
                ++out[std::size_t{m.source[e]} + 1];
    for (std::uint32_t i = 0; i < n; ++i)
        out[std::size_t{i} + 1] += out[i];
    std::vector<std::uint32_t> target(out[n]);
    {
        std::vector<std::uint64_t> fill(out.begin(), out.end() - 1);
        for (std::uint32_t j = 0; j < n; ++j)
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (m.rate[e] > 0.0)
                    target[fill[m.source[e]]++] = j;
    }
    std::vector<bool> seen(n, false);
    order.push_back(0);
    seen[0] = true;
    for (std::size_t head = 0; head < order.size(); ++head) {
        const std::uint32_t i = order[head];
        // A state's targets were filled in increasing order: new ones join in it.
        for (std::uint64_t e = out[i]; e < out[std::size_t{i} + 1]; ++e)
            if (!seen[target[e]]) {
                seen[target[e]] = true;
                order.push_back(target[e]);
            }
    }
    return order;
}

} // namespace gensolver
