#include "methods/EliminationOrder.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <utility>

namespace gensolver {

namespace {

// Minimum degree over adjacency lists (sorted, without self-loops), in place:
// the lists are consumed. Appends the order to `order`; false where the work
// exceeds budget.
bool minimumDegree(std::vector<std::vector<std::uint32_t>>& adjacent, std::uint64_t budget,
                   std::vector<std::uint32_t>& order) {
    const auto n = static_cast<std::uint32_t>(adjacent.size());
    // A heap of (degree, state), stale entries skipped when their degree is no
    // longer the state's.
    using Entry = std::pair<std::uint32_t, std::uint32_t>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> heap;
    for (std::uint32_t i = 0; i < n; ++i)
        heap.emplace(static_cast<std::uint32_t>(adjacent[i].size()), i);
    std::vector<char> gone(n, 0);
    std::vector<std::uint32_t> merged;
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
                return false;
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
    return true;
}

// Sorts each row index[start[v] .. start[v + 1]) and drops its repeats, the
// rows compacted in place (start moved with them).
void sortRows(std::vector<std::uint64_t>& start, std::vector<std::uint32_t>& index) {
    const std::size_t n = start.size() - 1;
    std::uint64_t kept = 0;
    for (std::size_t v = 0; v < n; ++v) {
        const std::uint64_t from = start[v], to = start[v + 1];
        std::sort(index.begin() + static_cast<std::ptrdiff_t>(from),
                  index.begin() + static_cast<std::ptrdiff_t>(to));
        start[v] = kept;
        for (std::uint64_t e = from; e < to; ++e)
            if (e == from || index[e] != index[e - 1])
                index[kept++] = index[e];
    }
    start[n] = kept;
    index.resize(kept);
}

// The chain's transitions taken both ways, without self-loops, rates of 0 or
// repeats: the neighbours of v are index[start[v] .. start[v + 1]), sorted.
struct Graph {
    std::vector<std::uint64_t> start;
    std::vector<std::uint32_t> index;

    explicit Graph(const RateMatrix& m) {
        const std::uint32_t n = m.states();
        start.assign(std::size_t{n} + 1, 0);
        for (std::uint32_t j = 0; j < n; ++j)
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (m.source[e] != j && m.rate[e] > 0.0) {
                    ++start[m.source[e] + 1];
                    ++start[std::size_t{j} + 1];
                }
        for (std::uint32_t v = 0; v < n; ++v)
            start[v + 1] += start[v];
        index.resize(start[n]);
        std::vector<std::uint64_t> at(start.begin(), start.end() - 1);
        for (std::uint32_t j = 0; j < n; ++j)
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (m.source[e] != j && m.rate[e] > 0.0) {
                    index[at[m.source[e]]++] = j;
                    index[at[j]++] = m.source[e];
                }
        sortRows(start, index);
    }
};

// Parts of at most this many states are ordered by minimum degree.
constexpr std::uint32_t kLeaf = 256;
// The work a part's minimum degree may take per state before its states are
// taken in order of their degree instead.
constexpr std::uint64_t kLeafWorkPerState = 4096;

class Dissection {
public:
    Dissection(const RateMatrix& m, const EliminationBudget& budget)
        : budget_(budget), graph_(m), states_(m.states()), stamp_(m.states(), 0),
          level_(m.states(), 0), seenBy_(m.states(), 0) {
        for (std::uint32_t v = 0; v < states_.size(); ++v)
            states_[v] = v;
        queue_.reserve(states_.size());
    }

    std::vector<std::uint32_t> order() {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> parts{{0, states()}};
        while (!parts.empty()) {
            const auto [begin, end] = parts.back();
            parts.pop_back();
            if (!split(begin, end, parts))
                return {};
        }
        return std::move(states_);
    }

private:
    std::uint32_t states() const { return static_cast<std::uint32_t>(states_.size()); }

    // Breadth-first from root over the states stamped `stamp`: queue_ receives
    // them in order, level_ their distance; returns the last level.
    std::uint32_t search(std::uint32_t root, std::uint32_t stamp) {
        queue_.clear();
        queue_.push_back(root);
        ++visit_;
        seenBy_[root] = visit_;
        level_[root] = 0;
        for (std::size_t k = 0; k < queue_.size(); ++k) {
            const std::uint32_t v = queue_[k];
            for (std::uint64_t e = graph_.start[v]; e < graph_.start[std::size_t{v} + 1]; ++e) {
                const std::uint32_t u = graph_.index[e];
                if (stamp_[u] == stamp && seenBy_[u] != visit_) {
                    seenBy_[u] = visit_;
                    level_[u] = level_[v] + 1;
                    queue_.push_back(u);
                }
            }
        }
        return level_[queue_.back()];
    }

    // Orders states_[begin, end): separated parts first, each ordered in its
    // turn (pushed onto parts), the separator last. False where the separator
    // alone, which the elimination fills to a dense block, would exceed the
    // budget.
    bool split(std::uint32_t begin, std::uint32_t end,
               std::vector<std::pair<std::uint32_t, std::uint32_t>>& parts) {
        const std::uint32_t size = end - begin;
        const std::uint32_t stamp = ++stamps_;
        for (std::uint32_t k = begin; k < end; ++k)
            stamp_[states_[k]] = stamp;
        if (size <= kLeaf) {
            leaf(begin, end, stamp);
            return true;
        }
        // Connected pieces apart: each is ordered on its own, without fill
        // between them.
        std::uint32_t last = search(states_[begin], stamp);
        if (queue_.size() < size) {
            const std::vector<std::uint32_t> members(states_.begin() + begin,
                                                     states_.begin() + end);
            std::uint32_t at = begin;
            for (const std::uint32_t v : members) {
                if (stamp_[v] != stamp)
                    continue; // in a piece already
                search(v, stamp);
                const std::uint32_t from = at;
                for (const std::uint32_t u : queue_) {
                    stamp_[u] = 0;
                    states_[at++] = u;
                }
                parts.emplace_back(from, at);
            }
            return true;
        }
        // A pseudo-peripheral root: the far end of a search, while that lengthens
        // the search.
        for (int round = 0; round < 2; ++round) {
            const std::uint32_t far = queue_.back();
            const std::uint32_t further = search(far, stamp);
            if (further <= last)
                break;
            last = further;
        }
        if (last < 2) {
            leaf(begin, end, stamp);
            return true;
        }
        // The level that separates with the fewest states, each side holding at
        // least a fifth of the rest (nearest the middle among equals).
        std::vector<std::uint32_t> count(std::size_t{last} + 1, 0);
        for (const std::uint32_t v : queue_)
            ++count[level_[v]];
        std::uint32_t best = 0;
        std::uint64_t before = count[0];
        std::uint64_t bestSize = UINT64_MAX, bestSkew = UINT64_MAX;
        for (std::uint32_t l = 1; l < last; ++l) {
            const std::uint64_t after = size - before - count[l];
            const std::uint64_t rest = size - count[l];
            const std::uint64_t skew = before > after ? before - after : after - before;
            if (std::min(before, after) * 5 >= rest &&
                (count[l] < bestSize || (count[l] == bestSize && skew < bestSkew))) {
                best = l;
                bestSize = count[l];
                bestSkew = skew;
            }
            before += count[l];
        }
        if (best == 0) {
            // No balanced level: the middle one.
            before = 0;
            for (best = 0; best < last && before + count[best] <= size / 2; ++best)
                before += count[best];
            best = std::clamp<std::uint32_t>(best, 1, last - 1);
        }
        // Only the separator's states with a neighbour beyond it separate; the
        // others join the near side.
        std::uint32_t a = begin;
        std::vector<std::uint32_t> far, separator;
        for (const std::uint32_t v : queue_) {
            const std::uint32_t l = level_[v];
            bool cut = false;
            if (l == best)
                for (std::uint64_t e = graph_.start[v];
                     e < graph_.start[std::size_t{v} + 1] && !cut; ++e) {
                    const std::uint32_t u = graph_.index[e];
                    cut = stamp_[u] == stamp && level_[u] == best + 1;
                }
            if (l < best || (l == best && !cut))
                states_[a++] = v;
            else if (l > best)
                far.push_back(v);
            else
                separator.push_back(v);
        }
        const std::uint32_t near = a;
        for (const std::uint32_t v : far)
            states_[a++] = v;
        for (const std::uint32_t v : separator)
            states_[a++] = v;
        parts.emplace_back(begin, near);
        parts.emplace_back(near, near + static_cast<std::uint32_t>(far.size()));
        const auto cut = static_cast<double>(separator.size());
        return cut * (cut - 1.0) / 2.0 <= static_cast<double>(budget_.fill) &&
               cut * (cut - 1.0) * (cut - 2.0) / 6.0 <= static_cast<double>(budget_.folds);
    }

    // A small part, or one no level separates: minimum degree within it, or
    // where that takes long, the states by their degree within it.
    void leaf(std::uint32_t begin, std::uint32_t end, std::uint32_t stamp) {
        const std::uint32_t size = end - begin;
        std::vector<std::uint32_t> members(states_.begin() + begin, states_.begin() + end);
        for (std::uint32_t k = 0; k < size; ++k)
            level_[members[k]] = k;
        std::vector<std::vector<std::uint32_t>> adjacent(size);
        for (std::uint32_t k = 0; k < size; ++k) {
            const std::uint32_t v = members[k];
            for (std::uint64_t e = graph_.start[v]; e < graph_.start[std::size_t{v} + 1]; ++e)
                if (stamp_[graph_.index[e]] == stamp)
                    adjacent[k].push_back(level_[graph_.index[e]]);
            std::sort(adjacent[k].begin(), adjacent[k].end());
        }
        std::vector<std::uint32_t> degree(size);
        for (std::uint32_t k = 0; k < size; ++k)
            degree[k] = static_cast<std::uint32_t>(adjacent[k].size());
        std::vector<std::uint32_t> local;
        local.reserve(size);
        if (!minimumDegree(adjacent, kLeafWorkPerState * size + 100000, local)) {
            local.resize(size);
            for (std::uint32_t k = 0; k < size; ++k)
                local[k] = k;
            std::stable_sort(local.begin(), local.end(), [&](std::uint32_t x, std::uint32_t y) {
                return degree[x] < degree[y];
            });
        }
        for (std::uint32_t k = 0; k < size; ++k)
            states_[begin + k] = members[local[k]];
    }

    EliminationBudget budget_;
    Graph graph_;
    std::vector<std::uint32_t> states_; // the order being formed
    std::vector<std::uint32_t> stamp_;  // per state, the part being split that holds it
    std::vector<std::uint32_t> level_;  // per state, its distance in the last search
    std::vector<std::uint32_t> seenBy_; // per state, the last search that reached it
    std::vector<std::uint32_t> queue_;
    std::uint32_t stamps_ = 0;
    std::uint32_t visit_ = 0;
};

} // namespace

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
    std::vector<std::uint32_t> order;
    order.reserve(n);
    if (!minimumDegree(adjacent, budget, order))
        return {};
    return order;
}

std::vector<std::uint32_t> nestedDissectionOrder(const RateMatrix& m,
                                                 const EliminationBudget& budget) {
    return Dissection(m, budget).order();
}

std::vector<std::uint32_t> fillReducingOrder(const RateMatrix& m, const EliminationBudget& budget) {
    std::vector<std::uint32_t> order = minimumDegreeOrder(m, kMinimumDegreeBudget);
    if (order.empty())
        order = nestedDissectionOrder(m, budget);
    if (order.empty()) {
        order.resize(m.states());
        for (std::uint32_t j = 0; j < m.states(); ++j)
            order[j] = j;
    }
    return order;
}

EliminationBudget stateOrderBudget(std::uint64_t transitions, std::uint64_t states) {
    EliminationBudget b;
    b.fill = transitions;
    b.folds = 4 * (transitions + states);
    b.scans = 16 * (transitions + states);
    return b;
}

EliminationCost symmetricEliminationCost(const RateMatrix& m,
                                         const std::vector<std::uint32_t>& states,
                                         const std::vector<std::uint32_t>& local,
                                         const EliminationBudget& cap) {
    const auto n = static_cast<std::uint32_t>(states.size());
    constexpr std::uint32_t kNone = UINT32_MAX;
    // Each position's neighbours at earlier positions (the symmetric lower
    // triangle), sorted and without repeats.
    std::vector<std::uint64_t> start(std::size_t{n} + 1, 0);
    auto eachTransition = [&](auto&& f) {
        for (std::uint32_t p = 0; p < n; ++p) {
            const std::uint32_t j = states[p];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                const std::uint32_t q = local[m.source[e]];
                if (q != kNone && q != p && m.rate[e] > 0.0)
                    f(std::max(p, q), std::min(p, q));
            }
        }
    };
    eachTransition([&](std::uint32_t later, std::uint32_t) { ++start[std::size_t{later} + 1]; });
    for (std::uint32_t p = 0; p < n; ++p)
        start[p + 1] += start[p];
    std::vector<std::uint32_t> earlier(start[n]);
    {
        std::vector<std::uint64_t> at(start.begin(), start.end() - 1);
        eachTransition([&](std::uint32_t later, std::uint32_t q) { earlier[at[later]++] = q; });
    }
    sortRows(start, earlier);

    // The elimination tree: a position's parent is the first later position
    // its column of the factor reaches (ancestors compressed as they are met).
    std::vector<std::uint32_t> parent(n, kNone), ancestor(n, kNone);
    for (std::uint32_t p = 0; p < n; ++p)
        for (std::uint64_t e = start[p]; e < start[p + 1]; ++e) {
            std::uint32_t r = earlier[e];
            while (ancestor[r] != kNone && ancestor[r] != p) {
                const std::uint32_t next = ancestor[r];
                ancestor[r] = p;
                r = next;
            }
            if (ancestor[r] == kNone) {
                ancestor[r] = p;
                parent[r] = p;
            }
        }
    // Row p of the factor holds the positions on the tree's paths from its
    // earlier neighbours up to p; each one found adds to its column's count.
    std::vector<std::uint32_t>& mark = ancestor;
    std::fill(mark.begin(), mark.end(), kNone);
    std::vector<std::uint32_t> count(n, 0);
    EliminationCost cost;
    for (std::uint32_t p = 0; p < n; ++p) {
        mark[p] = p;
        for (std::uint64_t e = start[p]; e < start[p + 1]; ++e)
            for (std::uint32_t r = earlier[e]; mark[r] != p; r = parent[r]) {
                mark[r] = p;
                // (c + 1)^2 - c^2 more folds for r's column, and one entry: room
                // for two rates, fill but where a transition already holds one
                // (counted off below).
                cost.folds += 2.0 * count[r] + 1.0;
                ++count[r];
                cost.fill += 2.0;
            }
        cost.fill -= static_cast<double>(start[p + 1] - start[p]);
        if (cost.fill > static_cast<double>(cap.fill) ||
            cost.folds > static_cast<double>(cap.folds))
            break;
    }
    return cost;
}

} // namespace gensolver
