#include "methods/EliminationOrder.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <utility>

namespace gensolver {

std::vector<std::uint32_t> minimumDegreeOrder(const RateMatrix& m, std::uint64_t budget) {
    const std::uint32_t n = m.states();
    std::vector<std::vector<std::uint32_t>> adjacent(n);
    for (std::uint32_t j = 0; j < n; ++j)
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = m.source[e];
            if (i != j && m.rate[e] > 0.0) {
                adjacent[i].push_back(j);
                adjacent[j].push_back(i);
            }
        }
    for (auto& a : adjacent) {
        std::sort(a.begin(), a.end());
        a.erase(std::unique(a.begin(), a.end()), a.end());
    }
    // A heap of (degree, state), stale entries skipped when their degree is no
    // longer the state's.
    using Entry = std::pair<std::uint32_t, std::uint32_t>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> heap;
    for (std::uint32_t i = 0; i < n; ++i)
        heap.emplace(static_cast<std::uint32_t>(adjacent[i].size()), i);
    std::vector<char> gone(n, 0);
    std::vector<std::uint32_t> order, merged;
    order.reserve(n);
    std::uint64_t work = 0;
    while (!heap.empty()) {
        const auto [degree, i] = heap.top();
        heap.pop();
        if (gone[i] || degree != adjacent[i].size())
            continue;
        gone[i] = 1;
        order.push_back(i);
        const std::vector<std::uint32_t>& around = adjacent[i];
        // Every remaining neighbour u now neighbours the others: its list becomes
        // the union of both lists, less u and i. The lists hold remaining states
        // only, since each state leaves its neighbours' lists here.
        for (const std::uint32_t u : around) {
            std::vector<std::uint32_t>& own = adjacent[u];
            work += own.size() + around.size();
            if (work > budget)
                return {};
            merged.clear();
            auto a = own.cbegin();
            auto b = around.cbegin();
            while (a != own.cend() || b != around.cend()) {
                std::uint32_t next;
                if (b == around.cend() || (a != own.cend() && *a < *b))
                    next = *a++;
                else if (a == own.cend() || *b < *a)
                    next = *b++;
                else {
                    next = *a++;
                    ++b;
                }
                if (next != u && next != i)
                    merged.push_back(next);
            }
            own.swap(merged);
            heap.emplace(static_cast<std::uint32_t>(own.size()), u);
        }
        std::vector<std::uint32_t>().swap(adjacent[i]);
    }
    return order;
}

} // namespace gensolver
