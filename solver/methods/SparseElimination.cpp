#include "methods/SparseElimination.h"

#include <cstdint>

namespace gensolver {

namespace {

using Entry = std::pair<std::uint32_t, double>;

// Eliminates the states in order; out gets per state its rates to later states,
// lower the rates into it from later states, exit its exit rate then.
void eliminate(const RateMatrix& m, const std::vector<std::uint32_t>& states,
               const std::vector<std::uint32_t>& local, std::vector<std::vector<Entry>>& out,
               std::vector<std::vector<Entry>>& lower, std::vector<double>& exit) {
    const std::size_t n = states.size();
    // out[k]: rates from k to states of the set not yet eliminated; into[j]: the
    // states that may hold a rate to j (eliminated ones are skipped when read).
    std::vector<std::vector<std::uint32_t>> into(n);
    std::vector<double> leak(n,
                             0.0); // rate of leaving the set, direct or through eliminated states
    for (std::size_t k = 0; k < n; ++k) {
        const std::uint32_t j = states[k];
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = local[m.source[e]];
            if (i == UINT32_MAX)
                continue;
            out[i].push_back({static_cast<std::uint32_t>(k), m.rate[e]});
            into[k].push_back(i);
        }
    }
    // Rates to states outside the set, gathered by target.
    for (std::uint32_t j = 0; j < m.states(); ++j) {
        if (local[j] != UINT32_MAX)
            continue;
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = local[m.source[e]];
            if (i != UINT32_MAX)
                leak[i] += m.rate[e];
        }
    }
    // Parallel transitions become one entry each way.
    std::vector<std::uint32_t> position(n, UINT32_MAX);
    for (std::size_t i = 0; i < n; ++i) {
        std::vector<Entry> merged;
        for (const Entry& a : out[i]) {
            if (position[a.first] == UINT32_MAX) {
                position[a.first] = static_cast<std::uint32_t>(merged.size());
                merged.push_back(a);
            } else {
                merged[position[a.first]].second += a.second;
            }
        }
        for (const Entry& a : merged)
            position[a.first] = UINT32_MAX;
        out[i] = std::move(merged);
    }
    std::vector<char> done(n, 0);
    for (std::size_t k = 0; k < n; ++k) {
        double e = leak[k];
        for (const Entry& a : out[k])
            e += a.second;
        exit[k] = e;
        done[k] = 1;
        // The rates into k from the states that remain; k leaves their rows.
        std::vector<Entry>& in = lower[k];
        for (const std::uint32_t i : into[k]) {
            if (done[i])
                continue;
            std::vector<Entry>& row = out[i];
            for (std::size_t p = 0; p < row.size(); ++p) {
                if (row[p].first != k)
                    continue;
                in.push_back({i, row[p].second});
                row[p] = row.back();
                row.pop_back();
                break;
            }
        }
        into[k].clear();
        into[k].shrink_to_fit();
        // Fold k: i -> k -> j becomes i -> j with rate a(i, k) a(k, j) / e; the
        // loop i -> k -> i only returns to i and is dropped.
        for (const Entry& ik : in) {
            const std::uint32_t i = ik.first;
            const double f = ik.second / e;
            leak[i] += f * leak[k];
            std::vector<Entry>& row = out[i];
            for (std::size_t p = 0; p < row.size(); ++p)
                position[row[p].first] = static_cast<std::uint32_t>(p);
            for (const Entry& kj : out[k]) {
                if (kj.first == i)
                    continue;
                const double add = f * kj.second;
                if (position[kj.first] != UINT32_MAX) {
                    row[position[kj.first]].second += add;
                } else {
                    position[kj.first] = static_cast<std::uint32_t>(row.size());
                    row.push_back({kj.first, add});
                    into[kj.first].push_back(i);
                }
            }
            for (const Entry& a : row)
                position[a.first] = UINT32_MAX;
        }
        out[k].shrink_to_fit();
    }
}

} // namespace

SparseElimination::Rows::Rows(const std::vector<std::vector<Entry>>& rows)
    : start(rows.size() + 1, 0) {
    for (std::size_t k = 0; k < rows.size(); ++k)
        start[k + 1] = start[k] + rows[k].size();
    index.reserve(start.back());
    rate.reserve(start.back());
    for (const auto& row : rows)
        for (const Entry& e : row) {
            index.push_back(e.first);
            rate.push_back(e.second);
        }
}

SparseElimination::SparseElimination(const RateMatrix& m, const std::vector<std::uint32_t>& states,
                                     const std::vector<std::uint32_t>& local)
    : exit_(states.size(), 0.0) {
    std::vector<std::vector<Entry>> upper(states.size()), lower(states.size());
    eliminate(m, states, local, upper, lower, exit_);
    upper_ = Rows(upper);
    lower_ = Rows(lower);
}

void SparseElimination::solveLeft(std::vector<double>& b) const {
    substitute(b, upper_, lower_);
}

void SparseElimination::solveRight(std::vector<double>& c) const {
    substitute(c, lower_, upper_);
}

// Forward: each state's value, divided by its exit rate, is passed along the rates
// of `forward`; backward: each state gathers the later states' values along
// `backward` and divides by its exit rate.
void SparseElimination::substitute(std::vector<double>& v, const Rows& forward,
                                   const Rows& backward) const {
    const std::size_t n = exit_.size();
    for (std::size_t k = 0; k < n; ++k) {
        if (v[k] == 0.0)
            continue;
        const double f = v[k] / exit_[k];
        for (std::uint64_t e = forward.start[k]; e < forward.start[k + 1]; ++e)
            v[forward.index[e]] += forward.rate[e] * f;
    }
    for (std::size_t k = n; k-- > 0;) {
        double s = v[k];
        for (std::uint64_t e = backward.start[k]; e < backward.start[k + 1]; ++e)
            s += v[backward.index[e]] * backward.rate[e];
        v[k] = s / exit_[k];
    }
}

std::uint64_t SparseElimination::entries() const {
    return upper_.index.size() + lower_.index.size();
}

} // namespace gensolver
