#include "methods/SparseElimination.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace gensolver {

namespace {

using Entry = std::pair<std::uint32_t, double>;

constexpr double kUnit = std::numeric_limits<double>::epsilon() / 2;
constexpr double kNormal = std::numeric_limits<double>::min();
constexpr std::uint32_t kUnbounded = UINT32_MAX;
// The smallest positive double: twice the largest error of a result rounded
// below the normal range.
constexpr double kTiny = 0x1p-1074;

std::uint32_t plus(std::uint64_t a, std::uint64_t b) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(a + b, kUnbounded));
}

// A product or quotient r of nonzero a and b below the normal range has no
// relative error bound.
bool underflows(double r, double a, double b) {
    return r < kNormal && a != 0.0 && b != 0.0;
}

// The count of a product or quotient r of a and b, whose operands' larger count is
// count: one rounding more, or none that means anything when r underflows.
std::uint32_t productCount(std::uint32_t count, double r, double a, double b) {
    return underflows(r, a, b) ? kUnbounded : plus(count, 1);
}

// Eliminates the states in order; out gets per state its rates to later states,
// lower the rates into it from later states, exit its exit rate then, weight the
// exponents of the rounding factors in units of u (see the header): 2 for every
// rounding of a state's rates, as the inverse's entries see it, and 1 more for
// each rounding of the exit rate that the stored rates do not carry.
void eliminate(const RateMatrix& m, const std::vector<std::uint32_t>& states,
               const std::vector<std::uint32_t>& local, std::vector<std::vector<Entry>>& out,
               std::vector<std::vector<Entry>>& lower, std::vector<double>& exit, double& weight,
               std::vector<double>& slack, EliminationBudget budget) {
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
            if (i == UINT32_MAX)
                continue;
            // Sums of two rates are rounded: the state's rates move by a factor.
            if (leak[i] != 0.0)
                weight += 2.0;
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
                weight += 2.0;
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
        // The exit rate is the exact sum of k's rates each moved by at most d
        // roundings, d the terms of the sum.
        const double d = static_cast<double>(out[k].size() + 1);
        weight += 3.0 * d;
        // The rates into k from the states that remain; k leaves their rows.
        std::vector<Entry>& in = lower[k];
        for (const std::uint32_t i : into[k]) {
            if (done[i])
                continue;
            std::vector<Entry>& row = out[i];
            if (row.size() > budget.scans)
                throw EliminationOverBudget{};
            budget.scans -= row.size();
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
        if (out[k].size() * in.size() > budget.folds)
            throw EliminationOverBudget{};
        budget.folds -= out[k].size() * in.size();
        for (const Entry& ik : in) {
            const std::uint32_t i = ik.first;
            const double f = ik.second / e;
            // i's rates: a product, a quotient and a sum on k's rates moved as above.
            weight += 2.0 * (d + 3.0);
            // A quotient or product below the normal range is off by at most
            // 2^-1075, absolutely: as a perturbation of i's rates (a rounded f
            // moves all of k's rates folded into i, e in all), kept in slack.
            if (underflows(f, ik.second, e))
                slack[i] += kTiny * std::max(e, 1.0);
            if (underflows(f * leak[k], f, leak[k]))
                slack[i] += kTiny;
            leak[i] += f * leak[k];
            std::vector<Entry>& row = out[i];
            if (2 * row.size() + out[k].size() > budget.scans)
                throw EliminationOverBudget{};
            budget.scans -= 2 * row.size() + out[k].size();
            for (std::size_t p = 0; p < row.size(); ++p)
                position[row[p].first] = static_cast<std::uint32_t>(p);
            for (const Entry& kj : out[k]) {
                if (kj.first == i)
                    continue;
                const double add = f * kj.second;
                if (underflows(add, f, kj.second))
                    slack[i] += kTiny;
                if (position[kj.first] != UINT32_MAX) {
                    row[position[kj.first]].second += add;
                } else {
                    if (budget.fill-- == 0)
                        throw EliminationOverBudget{};
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
                                     const std::vector<std::uint32_t>& local,
                                     EliminationBudget budget)
    : exit_(states.size(), 0.0), slack_(states.size(), 0.0) {
    std::vector<std::vector<Entry>> upper(states.size()), lower(states.size());
    eliminate(m, states, local, upper, lower, exit_, roundingWeight_, slack_, budget);
    for (const double a : slack_)
        underflowed_ = underflowed_ || a > 0.0;
    upper_ = Rows(upper);
    lower_ = Rows(lower);
}

void SparseElimination::solveLeft(std::vector<double>& b) const {
    substitute<Mode::Plain>(b, nullptr, nullptr, upper_, lower_);
}

void SparseElimination::solveRight(std::vector<double>& c) const {
    substitute<Mode::Plain>(c, nullptr, nullptr, lower_, upper_);
}

void SparseElimination::solveLeft(std::vector<double>& b,
                                  std::vector<std::uint32_t>& counts) const {
    substitute<Mode::Counted>(b, counts.data(), nullptr, upper_, lower_);
}

void SparseElimination::solveRight(std::vector<double>& c,
                                   std::vector<std::uint32_t>& counts) const {
    substitute<Mode::Counted>(c, counts.data(), nullptr, lower_, upper_);
}

void SparseElimination::solveLeft(std::vector<double>& b, std::vector<std::uint32_t>& counts,
                                  std::vector<double>& absolute) const {
    absolute.assign(b.size(), 0.0);
    substitute<Mode::Tracked>(b, counts.data(), absolute.data(), upper_, lower_);
}

void SparseElimination::solveRight(std::vector<double>& c, std::vector<std::uint32_t>& counts,
                                   std::vector<double>& absolute) const {
    absolute.assign(c.size(), 0.0);
    substitute<Mode::Tracked>(c, counts.data(), absolute.data(), lower_, upper_);
}

double SparseElimination::relativeError(std::uint32_t count) const {
    return underflowed_ ? std::numeric_limits<double>::infinity() : relativeErrorBesideSlack(count);
}

double SparseElimination::relativeErrorBesideSlack(std::uint32_t count) const {
    // e^phi - 1 with phi the sum of the exponents; 1.02 u per rounding covers
    // -log(1 - gamma) while each factor's count times u stays below 1e-2.
    const double phi = 1.02 * kUnit * (roundingWeight_ + count);
    if (count == kUnbounded || !(phi < 1e-2))
        return std::numeric_limits<double>::infinity();
    return std::expm1(phi) * (1.0 + 4.0 * kUnit);
}

// Forward: each state's value, divided by its exit rate, is passed along the rates
// of `forward`; backward: each state gathers the later states' values along
// `backward` and divides by its exit rate. Counted, each entry's count is the
// largest count of the terms summed into it, plus one for each rounding of the sum
// and of its products and quotient. Tracked, a result below the normal range
// counts one rounding too, and its error, at most 2^-1075, goes with what is
// computed from it into absolute: |x^ - x| <= (relative error of the count) x +
// absolute, each operation rounding the absolute part up.
template <SparseElimination::Mode M>
void SparseElimination::substitute(std::vector<double>& v, std::uint32_t* counts, double* absolute,
                                   const Rows& forward, const Rows& backward) const {
    // The count of a product or quotient r of a and b with count c.
    auto count = [](std::uint32_t c, double r, double a, double b) {
        return M == Mode::Tracked ? plus(c, 1) : productCount(c, r, a, b);
    };
    // The absolute part of r = a b (or a / b'), a's being of a, f the factor.
    auto carried = [](double aAbsolute, double factor, double r, double a, double b) {
        double out = aAbsolute > 0.0 ? aAbsolute * factor * (1.0 + 4.0 * kUnit) + kTiny : 0.0;
        if (underflows(r, a, b))
            out += kTiny;
        return out;
    };
    const std::size_t n = exit_.size();
    for (std::size_t k = 0; k < n; ++k) {
        if (v[k] == 0.0 && (M != Mode::Tracked || absolute[k] == 0.0))
            continue;
        const double f = v[k] / exit_[k];
        if constexpr (M == Mode::Plain) {
            for (std::uint64_t e = forward.start[k]; e < forward.start[k + 1]; ++e)
                v[forward.index[e]] += forward.rate[e] * f;
        } else {
            const std::uint32_t fCount = count(counts[k], f, v[k], exit_[k]);
            double fAbsolute = 0.0;
            if constexpr (M == Mode::Tracked)
                fAbsolute = carried(absolute[k], 1.0 / exit_[k], f, v[k], exit_[k]);
            for (std::uint64_t e = forward.start[k]; e < forward.start[k + 1]; ++e) {
                const std::uint32_t j = forward.index[e];
                const double add = forward.rate[e] * f;
                const std::uint32_t addCount = count(fCount, add, forward.rate[e], f);
                counts[j] = v[j] != 0.0 ? plus(std::max(counts[j], addCount), 1) : addCount;
                v[j] += add;
                if constexpr (M == Mode::Tracked)
                    absolute[j] = (absolute[j] +
                                   carried(fAbsolute, forward.rate[e], add, forward.rate[e], f)) *
                                  (1.0 + 2.0 * kUnit);
            }
        }
    }
    for (std::size_t k = n; k-- > 0;) {
        double s = v[k];
        if constexpr (M == Mode::Plain) {
            for (std::uint64_t e = backward.start[k]; e < backward.start[k + 1]; ++e)
                s += v[backward.index[e]] * backward.rate[e];
            v[k] = s / exit_[k];
        } else {
            std::uint32_t largest = counts[k];
            double sAbsolute = M == Mode::Tracked ? absolute[k] : 0.0;
            for (std::uint64_t e = backward.start[k]; e < backward.start[k + 1]; ++e) {
                const std::uint32_t i = backward.index[e];
                const double add = v[i] * backward.rate[e];
                largest = std::max(largest, count(counts[i], add, v[i], backward.rate[e]));
                s += add;
                if constexpr (M == Mode::Tracked)
                    sAbsolute = (sAbsolute + carried(absolute[i], backward.rate[e], add, v[i],
                                                     backward.rate[e])) *
                                (1.0 + 2.0 * kUnit);
            }
            const std::uint32_t sCount = plus(largest, backward.start[k + 1] - backward.start[k]);
            v[k] = s / exit_[k];
            counts[k] = count(sCount, v[k], s, exit_[k]);
            if constexpr (M == Mode::Tracked)
                absolute[k] = carried(sAbsolute, 1.0 / exit_[k], v[k], s, exit_[k]);
        }
    }
}

std::uint64_t SparseElimination::entries() const {
    return upper_.index.size() + lower_.index.size();
}

} // namespace gensolver
