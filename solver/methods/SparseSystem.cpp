#include "methods/SparseSystem.h"

#include "methods/PackedRates.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace gensolver {

SparseSystem::SparseSystem(const RateMatrix& m, const Components& comps, std::uint32_t c,
                           bool closed, const std::vector<double>& x,
                           std::vector<std::uint32_t>& local, std::uint32_t reference,
                           bool balanced)
    : reference(reference), closed(closed) {
    const std::uint32_t size = comps.size(c);
    member.assign(comps.order.begin() + comps.first[c], comps.order.begin() + comps.first[c + 1]);
    bool sorted = true;
    for (std::uint32_t k = 1; k < size && sorted; ++k)
        sorted = member[k - 1] < member[k];
    if (!sorted)
        std::sort(member.begin(), member.end());
    for (std::uint32_t k = 0; k < size; ++k)
        local[member[k]] = k;
    diagonal.resize(size);
    b.assign(size, 0.0);
    start.resize(std::size_t{size} + 1);
    std::uint64_t entries = 0;
    for (std::uint32_t k = 0; k < size; ++k) {
        const std::uint32_t j = member[k];
        if (closed && k == reference)
            continue;
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            if (comps.component[m.source[e]] == c)
                ++entries;
    }
    column.resize(entries);
    rate.resize(entries);
    std::vector<std::pair<std::uint32_t, double>> row;
    std::uint64_t at = 0;
    for (std::uint32_t k = 0; k < size; ++k) {
        const std::uint32_t j = member[k];
        start[k] = at;
        diagonal[k] = m.exitRate[j];
        if (closed && k == reference) {
            const double scale = balanced && m.exitRate[j] > 0.0 ? m.exitRate[j] : 1.0;
            diagonal[k] = scale;
            b[k] = scale;
            continue;
        }
        if (!closed && j == 0)
            b[k] += 1.0;
        bool ascending = true;
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = m.source[e];
            if (comps.component[i] == c) {
                ascending = ascending && (at == start[k] || column[at - 1] < local[i]);
                column[at] = local[i];
                rate[at] = m.rate[e];
                ++at;
            } else if (!closed) {
                b[k] += x[i] * m.rate[e];
            }
        }
        // The files give each row's columns ascending and distinct; a matrix
        // built from a list may not.
        if (!ascending)
            at = sortRow(start[k], at, column, rate, row);
    }
    start[size] = at;
    column.resize(at);
    rate.resize(at);
}

std::uint64_t sortRow(std::uint64_t from, std::uint64_t to, std::vector<std::uint32_t>& column,
                      std::vector<double>& rate,
                      std::vector<std::pair<std::uint32_t, double>>& scratch) {
    scratch.clear();
    for (std::uint64_t e = from; e < to; ++e)
        scratch.emplace_back(column[e], rate[e]);
    std::sort(scratch.begin(), scratch.end());
    std::uint64_t at = from;
    for (const auto& [col, r] : scratch) {
        if (at > from && column[at - 1] == col) {
            rate[at - 1] += r;
        } else {
            column[at] = col;
            rate[at] = r;
            ++at;
        }
    }
    return at;
}

void SparseSystem::packedProduct(Parallel& pool, const std::uint64_t* rows,
                                 const std::uint32_t* words, const std::vector<double>& x,
                                 std::vector<double>& y) const {
    pool.forEach(size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t k = begin; k < end; ++k) {
            double s = diagonal[k] * x[k];
            const auto row = static_cast<std::uint32_t>(k);
            for (std::uint64_t e = rows[k]; e < rows[k + 1]; ++e)
                s -= near.rate(words[e]) * x[NearRows::column(row, words[e])];
            y[k] = s;
        }
    });
}

void SparseSystem::multiply(Parallel& pool, const std::vector<double>& x,
                            std::vector<double>& y) const {
    if (!near.empty()) {
        packedProduct(pool, start.data(), near.word.data(), x, y);
        return;
    }
    pool.forEach(size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t k = begin; k < end; ++k) {
            double s = diagonal[k] * x[k];
            for (std::uint64_t e = start[k]; e < start[k + 1]; ++e)
                s -= rate[e] * x[column[e]];
            y[k] = s;
        }
    });
}

void SparseSystem::multiplyTransposed(const std::vector<double>& x, std::vector<double>& y) const {
    const std::uint32_t n = size();
    for (std::uint32_t k = 0; k < n; ++k)
        y[k] = diagonal[k] * x[k];
    for (std::uint32_t k = 0; k < n; ++k)
        for (std::uint64_t e = start[k]; e < start[std::size_t{k} + 1]; ++e)
            y[column[e]] -= rate[e] * x[k];
}

void SparseSystem::multiplyTransposed(Parallel& pool, const std::vector<double>& x,
                                      std::vector<double>& y) const {
    if (tStart.empty()) {
        multiplyTransposed(x, y);
        return;
    }
    if (!tNear.empty()) {
        packedProduct(pool, tStart.data(), tNear.data(), x, y);
        return;
    }
    auto rows = [&](const auto* rate) {
        pool.forEach(size(), [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t k = begin; k < end; ++k) {
                double v = diagonal[k] * x[k];
                for (std::uint64_t e = tStart[k]; e < tStart[k + 1]; ++e)
                    v -= static_cast<double>(rate[e]) * x[tColumn[e]];
                y[k] = v;
            }
        });
    };
    if (tSingle.empty())
        rows(tRate.data());
    else
        rows(tSingle.data());
}

void SparseSystem::multiplyTransposedExactly(Parallel& pool, const std::vector<double>& x,
                                             std::vector<double>& y) const {
    // The packed rows hold the doubles.
    if (!tNear.empty() || tSingle.empty())
        multiplyTransposed(pool, x, y);
    else
        multiplyTransposed(x, y);
}

bool fitsSingle(const double* values, std::uint64_t n) {
    for (std::uint64_t e = 0; e < n; ++e) {
        const double v = std::fabs(values[e]);
        if (v != 0.0 &&
            !(v >= std::numeric_limits<float>::min() && v <= std::numeric_limits<float>::max()))
            return false;
    }
    return true;
}

void transposedStarts(std::uint32_t n, const std::uint64_t* start, const std::uint32_t* column,
                      std::vector<std::uint64_t>& tStart) {
    tStart.assign(std::size_t{n} + 1, 0);
    for (std::uint64_t e = 0; e < start[n]; ++e)
        ++tStart[std::size_t{column[e]} + 1];
    for (std::uint32_t j = 0; j < n; ++j)
        tStart[j + 1] += tStart[j];
}

void transposeRows(std::uint32_t n, const std::uint64_t* start, const std::uint32_t* column,
                   const double* rate, std::vector<std::uint64_t>& tStart,
                   std::vector<std::uint32_t>& tColumn, std::vector<double>& tRate) {
    const std::uint64_t entries = start[n];
    transposedStarts(n, start, column, tStart);
    tColumn.resize(entries);
    tRate.resize(entries);
    std::vector<std::uint64_t> at(tStart.begin(), tStart.end() - 1);
    for (std::uint32_t k = 0; k < n; ++k)
        for (std::uint64_t e = start[k]; e < start[std::size_t{k} + 1]; ++e) {
            const std::uint64_t to = at[column[e]]++;
            tColumn[to] = k;
            tRate[to] = rate[e];
        }
}

bool packNear(std::uint32_t n, const std::uint64_t* start, const std::uint32_t* column,
              const double* rate, NearRows& near) {
    RateTable table;
    near.word.resize(start[n]);
    for (std::uint32_t k = 0; k < n; ++k)
        for (std::uint64_t e = start[k]; e < start[std::size_t{k} + 1]; ++e) {
            const std::int64_t offset = std::int64_t{column[e]} - k;
            const int index = table.indexOf(rate[e]);
            if (offset < -32767 || offset > 32767 || index < 0) {
                near = NearRows();
                return false;
            }
            near.word[e] =
                static_cast<std::uint32_t>(offset) << 16 | static_cast<std::uint32_t>(index);
        }
    near.table = table.rates();
    return true;
}

void SparseSystem::transpose(bool pack) {
    const std::uint32_t n = size();
    if (pack && packNear(n, start.data(), column.data(), rate.data(), near)) {
        // Entry (k, j) of row k becomes entry (j, k) of transposed row j, with the
        // offset negated; the rows are met in ascending order, so each transposed
        // row lists its columns ascending. The plain transposed rows are not built.
        transposedStarts(n, start.data(), column.data(), tStart);
        tNear.resize(near.word.size());
        std::vector<std::uint64_t> at(tStart.begin(), tStart.end() - 1);
        for (std::uint32_t k = 0; k < n; ++k)
            for (std::uint64_t e = start[k]; e < start[std::size_t{k} + 1]; ++e) {
                const std::uint32_t w = near.word[e];
                const std::uint32_t offset = (0u - (w >> 16)) & 0xFFFFu;
                tNear[at[column[e]]++] = offset << 16 | (w & 0xFFFFu);
            }
        return;
    }
    transposeRows(n, start.data(), column.data(), rate.data(), tStart, tColumn, tRate);
    if (!fitsSingle(tRate.data(), tRate.size()))
        return;
    tSingle.assign(tRate.begin(), tRate.end());
    tRate = std::vector<double>();
}

void SparseSystem::residual(Parallel& pool, const std::vector<double>& b,
                            const std::vector<double>& x, std::vector<double>& r) const {
    // entry(row, e): the rate and column of entry e, from the packed words where
    // there are any (the same rates, in the same order) or the plain rows.
    auto rows = [&](auto entry) {
        pool.forEach(size(), [&](std::uint64_t begin, std::uint64_t end) {
            for (std::uint64_t k = begin; k < end; ++k) {
                long double v =
                    static_cast<long double>(b[k]) - static_cast<long double>(diagonal[k]) * x[k];
                const auto row = static_cast<std::uint32_t>(k);
                for (std::uint64_t e = start[k]; e < start[k + 1]; ++e) {
                    const auto [rateOf, columnOf] = entry(row, e);
                    v += static_cast<long double>(rateOf) * x[columnOf];
                }
                r[k] = static_cast<double>(v);
            }
        });
    };
    if (!near.empty())
        rows([&](std::uint32_t row, std::uint64_t e) {
            const std::uint32_t w = near.word[e];
            return std::pair{near.rate(w), NearRows::column(row, w)};
        });
    else
        rows([&](std::uint32_t, std::uint64_t e) { return std::pair{rate[e], column[e]}; });
}

void SparseSystem::dropPlainRows() {
    if (near.empty() || tNear.empty())
        return;
    column = std::vector<std::uint32_t>();
    rate = std::vector<double>();
}

} // namespace gensolver
