#include "methods/AggregationMultigrid.h"

#include "methods/Parallel.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace gensolver {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

// body(begin, end) over the rows [0, n): on the solver's threads for a threaded
// level. Each row is computed alone, so the values do not depend on the number
// of threads.
template <class Body> void forRows(bool threaded, std::uint32_t n, Body&& body) {
    if (threaded)
        sharedPool().forEach(n, body);
    else
        body(0, n);
}

// The members of each of count groups, map giving each unknown's group: those
// of group g are members[start[g] .. start[g + 1]), ascending.
void groupMembers(const std::vector<std::uint32_t>& map, std::uint32_t count,
                  std::vector<std::uint32_t>& start, std::vector<std::uint32_t>& members) {
    start.assign(std::size_t{count} + 1, 0);
    for (const std::uint32_t g : map)
        ++start[g + 1];
    for (std::uint32_t g = 0; g < count; ++g)
        start[g + 1] += start[g];
    members.resize(map.size());
    std::vector<std::uint32_t> at(start.begin(), start.end() - 1);
    for (std::uint32_t i = 0; i < map.size(); ++i)
        members[at[map[i]]++] = i;
}

} // namespace

AggregationMultigrid::AggregationMultigrid(const SparseSystem& system, std::uint32_t coarsest,
                                           std::uint32_t threadedFrom, bool transposed)
    : system_(&system) {
    Level finest;
    finest.size = system.size();
    finest.start = system.start.data();
    finest.column = system.column.data();
    finest.rate = system.rate.data();
    finest.diagonal = system.diagonal.data();
    levels_.push_back(std::move(finest));
    // The reference row of a closed class (the identity) stays alone on every level.
    std::uint32_t reference = system.closed ? system.reference : kNone;
    while (levels_.back().size > coarsest) {
        // Two rounds of pairing make aggregates of up to four: coarsening by
        // about four keeps a W-cycle at about twice the work of its finest level
        // (a V-cycle at 4/3).
        std::vector<std::uint32_t> first, second;
        std::vector<double> firstWeight, secondWeight;
        const std::uint32_t keep = reference;
        Level half = pair(levels_.back(), keep, first, firstWeight);
        Level quarter = pair(half, keep == kNone ? kNone : first[keep], second, secondWeight);
        if (quarter.size * 4ull > levels_.back().size * 3ull)
            break; // the pairing stalls: solve this level densely after all
        for (std::uint32_t i = 0; i < first.size(); ++i) {
            firstWeight[i] *= secondWeight[first[i]];
            first[i] = second[first[i]];
        }
        if (keep != kNone)
            reference = first[keep];
        Level& fine = levels_.back();
        fine.aggregate = std::move(first);
        fine.weight = std::move(firstWeight);
        // The members of each aggregate, for the restriction to gather.
        groupMembers(fine.aggregate, quarter.size, fine.memberStart, fine.members);
        levels_.push_back(std::move(quarter));
    }
    if (levels_.back().size > std::max(coarsest, kDenseLimit)) {
        // The pairing stalled on a level too large for a dense factorisation.
        ok_ = false;
        return;
    }
    for (Level& level : levels_) {
        // The sweeps multiply by the diagonal's inverses: a division per row
        // held each row's update up for its latency. The inverse of a
        // subnormal diagonal is held at the largest double rather than
        // infinity, so that a row whose sum is 0 stays 0 as its quotient did.
        level.inverse.resize(level.size);
        for (std::uint32_t i = 0; i < level.size; ++i)
            level.inverse[i] =
                std::min(1.0 / level.diagonal[i], std::numeric_limits<double>::max());
        level.x.resize(level.size);
        level.b.resize(level.size);
        level.r.resize(level.size);
        if (level.size >= threadedFrom && &level != &levels_.back())
            thread(level);
    }
    if (transposed)
        transposeLevels();
    factorCoarsest();
}

void AggregationMultigrid::transposeLevels() {
    for (std::size_t l = 0; l < levels_.size(); ++l) {
        Level& level = levels_[l];
        if (!level.threaded || level.t.start != nullptr)
            continue;
        const SparseSystem& system = *system_;
        if (l == 0 && !system.tStart.empty()) {
            // The system's transposed rates are single exactly where the
            // level's rates, the same numbers, fit floats.
            level.t = {system.tStart.data(), system.tColumn.data(),
                       system.tRate.empty() ? nullptr : system.tRate.data()};
            if (!system.near.empty() && !system.tNear.empty())
                level.packed = &system;
            else
                makeSingle(level, false, system.tSingle.empty() ? nullptr : system.tSingle.data());
            continue;
        }
        transposeRows(level.size, level.start, level.column, level.rate, level.ownTStart,
                      level.ownTColumn, level.ownTRate);
        level.t = {level.ownTStart.data(), level.ownTColumn.data(), level.ownTRate.data()};
        makeSingle(level, l > 0, nullptr);
    }
}

void AggregationMultigrid::makeSingle(Level& level, bool ownRates, const float* transposed) {
    const std::uint64_t entries = level.start[level.size];
    if (!fitsSingle(level.rate, entries))
        return;
    level.ownSingle.assign(level.rate, level.rate + entries);
    level.single = level.ownSingle.data();
    if (transposed != nullptr) {
        level.tSingle = transposed;
    } else {
        level.ownTSingle.assign(level.t.rate, level.t.rate + entries);
        level.tSingle = level.ownTSingle.data();
    }
    if (ownRates) {
        level.ownRate = std::vector<double>();
        level.ownTRate = std::vector<double>();
        level.rate = nullptr;
        level.t.rate = nullptr;
    }
}

void AggregationMultigrid::thread(Level& level) {
    const std::uint32_t n = level.size;
    const std::uint64_t entries = level.start[n];
    level.threaded = true;
    level.before.resize(n);
    // Parts of about equal entries of the rows (the same parts serve the
    // transposed sweeps, which keeps the transposed cycle the exact transpose).
    level.partStart.assign(kParts + 1, n);
    level.partStart[0] = 0;
    for (std::uint32_t p = 1; p < kParts; ++p) {
        const std::uint64_t target = entries * p / kParts;
        const std::uint64_t* first = std::lower_bound(level.start, level.start + n, target);
        level.partStart[p] =
            std::max(level.partStart[p - 1], static_cast<std::uint32_t>(first - level.start));
    }
    // The unknowns a part reads from another: both ends of every entry between
    // parts (the transposed sweeps read the other end). Only they are kept from
    // before a sweep.
    std::vector<std::uint8_t> read(n, 0);
    for (std::uint32_t p = 0; p < kParts; ++p) {
        const std::uint32_t lo = level.partStart[p], hi = level.partStart[p + 1];
        for (std::uint32_t i = lo; i < hi; ++i)
            for (std::uint64_t e = level.start[i]; e < level.start[i + 1]; ++e)
                if (level.column[e] - lo >= hi - lo)
                    read[i] = read[level.column[e]] = 1;
    }
    for (std::uint32_t i = 0; i < n; ++i)
        if (read[i])
            level.border.push_back(i);
}

void AggregationMultigrid::checkCycle() {
    if (!ok_)
        return;
    // Two levels have one cycle: the coarse level is solved exactly.
    const double v = contraction(false);
    const double w = levels_.size() > 2 ? contraction(true) : v;
    // Neither cycle contracts on a large chain (on polling N = 12 they grew
    // the residual by 1e10 and 1e72, on kanban N = 5 by 1e4 and to infinity):
    // BiCGSTAB's iterates, preconditioned by them, grew out of range or
    // stalled there, and only cost time before the sweeps took over. On a
    // small one BiCGSTAB converges all the same (it needs at most as many
    // iterations as unknowns; on a random stiff chain of 120 states the
    // cycles grew the residual 1e11-fold).
    if (!(v < 1.0) && !(w < 1.0) && levels_[0].size >= kContractionNeededFrom) {
        ok_ = false;
        return;
    }
    // The W-cycle is kept where it costs less work for the same accuracy than
    // the V-cycle; it does twice the coarse levels' work, which can buy it
    // nothing (the scaled multiprocessor of 3.8 million states took 31
    // iterations either way) or make it diverge (below). Repeated cycles alone
    // would need iterations in proportion to 1 / -log(contraction); under
    // BiCGSTAB they take about the square root of that (as conjugate
    // gradients take the square root of a stationary method's), so the cycle
    // chosen has the smaller work / sqrt(-log(contraction)). The linear ratio
    // picked the W-cycle on the scaled multiprocessor, whose 13 iterations
    // there took longer than the V-cycle's 16.
    wCycle_ = w < 1.0 && !(v < 1.0 && work(false) / std::sqrt(-std::log(v)) <
                                          work(true) / std::sqrt(-std::log(w)));
}

double AggregationMultigrid::work(bool wCycle) const {
    // Entries and unknowns each level's sweeps and residual pass over, the
    // coarsest level's dense solve, and the visits of the levels below.
    double below = static_cast<double>(levels_.back().size) * levels_.back().size;
    for (std::size_t l = levels_.size() - 1; l-- > 0;) {
        const Level& level = levels_[l];
        const double pass = static_cast<double>(level.start[level.size]) + level.size;
        const double visits = wCycle && l + 2 < levels_.size() ? 2.0 : 1.0;
        below = (2 * kSweeps + 1) * pass + visits * below;
    }
    return below;
}

double AggregationMultigrid::contraction(bool wCycle) {
    // Two transposed cycles on B^T z = 1, the second from the first one's
    // residual: the ratio of the residuals they leave. B^T z = 1 is the system
    // of the times w that the error bound solves for, and its solution is
    // positive and of the size of those times. A coarse correction that
    // overshoots, repeated on every level, grows the iterate with the depth of
    // the levels; the ratio is then above 1 or not a number.
    const bool keep = wCycle_;
    wCycle_ = wCycle;
    const bool transposed = true;
    const Level& finest = levels_[0];
    const std::uint32_t n = finest.size;
    std::vector<double> z(n);
    double first = 0.0, second = 0.0;
    std::fill(finest.b.begin(), finest.b.end(), 1.0);
    cycle(0, transposed, true);
    residual(finest, transposed);
    // The largest residual, infinite where one is not a number (std::max
    // would pass a NaN over and call the cycle exact).
    auto largest = [&] {
        double top = 0.0;
        for (std::uint32_t i = 0; i < n; ++i) {
            const double a = std::fabs(finest.r[i]);
            if (!(a <= std::numeric_limits<double>::max()))
                return std::numeric_limits<double>::infinity();
            top = std::max(top, a);
        }
        return top;
    };
    first = largest();
    z = finest.x;
    finest.b = finest.r;
    cycle(0, transposed, true);
    for (std::uint32_t i = 0; i < n; ++i)
        finest.x[i] += z[i];
    std::fill(finest.b.begin(), finest.b.end(), 1.0);
    residual(finest, transposed);
    second = largest();
    wCycle_ = keep;
    if (first == 0.0)
        return 0.0;
    if (!std::isfinite(first) || !std::isfinite(second))
        return std::numeric_limits<double>::infinity();
    return second / first;
}

AggregationMultigrid::Level AggregationMultigrid::pair(const Level& fine, std::uint32_t keep,
                                                       std::vector<std::uint32_t>& map,
                                                       std::vector<double>& weight) {
    map.assign(fine.size, kNone);
    weight.assign(fine.size, 1.0);
    // alone[j]: j was numbered as a group of its own so far, and a later state may
    // still join it. Sources earlier in the order are taken by the time a state
    // comes up (in breadth-first order most of them), so without this a chain
    // that mostly moves forwards would hardly coarsen.
    std::vector<std::uint8_t> alone(fine.size, 0);
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < fine.size; ++i) {
        if (i == keep) {
            map[i] = count++;
            continue;
        }
        if (map[i] != kNone)
            continue; // an earlier state's partner
        // The partner: the first neighbour in i's row still free or alone with
        // rates both ways between it and i, else the one that sends i the
        // largest rate. Both ways, the two-state balance below gives the pair
        // the shares of their values; one way, the shares are even, and
        // interpolating evenly between states whose values differ by orders of
        // magnitude makes the cycle diverge (taking the first free neighbour
        // either way did on the kanban and tandem chains). The first rather
        // than the most strongly coupled: a row lists its sources in state
        // order (on the coarse levels in the order of their members), so the
        // pairs take the same shape across a chain numbered breadth-first,
        // and the iterations grow far less with its size (on the scaled
        // multiprocessor 10, 13 and 16 at 242 k, 965 k and 3.8 million states
        // against 12, 19 and 30 by the largest rate in, and 13, 18 and 23 by
        // the coupling (in / d_i) (out / d_j); bench/README.md).
        std::uint32_t best = kNone;
        double in = 0.0, out = 0.0;
        for (std::uint64_t e = fine.start[i]; e < fine.start[i + 1]; ++e) {
            const std::uint32_t j = fine.column[e];
            if (j == i || j == keep || !(map[j] == kNone || (j < i && alone[j])) ||
                !(fine.rate[e] > 0.0))
                continue;
            double back = 0.0;
            for (std::uint64_t f = fine.start[j]; f < fine.start[j + 1]; ++f)
                if (fine.column[f] == i)
                    back += fine.rate[f];
            if (back > 0.0) {
                best = j;
                in = fine.rate[e];
                out = back;
                break;
            }
            if (fine.rate[e] > in) {
                best = j;
                in = fine.rate[e];
            }
        }
        if (best == kNone) {
            map[i] = count++;
            alone[i] = 1;
            continue;
        }
        if (map[best] == kNone) {
            map[i] = count++;
            map[best] = map[i];
        } else {
            map[i] = map[best];
            alone[best] = 0;
        }
        // The pair's shares of its total are those of the two-state chain
        // between them, whose balance i * out = best * in gives them; exact
        // for a reversible chain, and what makes the interpolation follow a
        // solution that differs by orders of magnitude between neighbours.
        if (out > 0.0) {
            weight[i] = in / (in + out);
            weight[best] = out / (in + out);
        } else {
            weight[i] = weight[best] = 0.5;
        }
    }
    return galerkin(fine, map, weight, count);
}

AggregationMultigrid::Level AggregationMultigrid::galerkin(const Level& fine,
                                                           const std::vector<std::uint32_t>& map,
                                                           const std::vector<double>& weight,
                                                           std::uint32_t count) {
    std::vector<std::uint32_t> first, members;
    groupMembers(map, count, first, members);
    Level coarse;
    coarse.size = count;
    coarse.ownStart.assign(std::size_t{count} + 1, 0);
    coarse.ownDiagonal.resize(count);
    // At most the fine level's entries: reserved at once, the rows grow
    // without copying their entries, and the pages the entries do not reach
    // are never touched.
    coarse.ownColumn.reserve(fine.start[fine.size]);
    coarse.ownRate.reserve(fine.start[fine.size]);
    // Per coarse column, its entry in the current row (+1), 0 for none.
    std::vector<std::uint64_t> where(count, 0);
    for (std::uint32_t g = 0; g < count; ++g) {
        coarse.ownStart[g] = coarse.ownColumn.size();
        // The diagonal is the members' diagonals less the rates among them: summed
        // in long double, as nearly closed aggregates cancel most of it.
        long double diagonal = 0.0L;
        double offDiagonal = 0.0;
        for (std::uint32_t k = first[g]; k < first[g + 1]; ++k) {
            const std::uint32_t i = members[k];
            diagonal += static_cast<long double>(fine.diagonal[i]) * weight[i];
            for (std::uint64_t e = fine.start[i]; e < fine.start[i + 1]; ++e) {
                const std::uint32_t j = fine.column[e];
                const std::uint32_t h = map[j];
                const double r = fine.rate[e] * weight[j];
                if (h == g) {
                    diagonal -= r;
                } else if (where[h] == 0) {
                    coarse.ownColumn.push_back(h);
                    coarse.ownRate.push_back(r);
                    where[h] = coarse.ownColumn.size();
                    offDiagonal += r;
                } else {
                    coarse.ownRate[where[h] - 1] += r;
                    offDiagonal += r;
                }
            }
        }
        for (std::uint64_t e = coarse.ownStart[g]; e < coarse.ownColumn.size(); ++e)
            where[coarse.ownColumn[e]] = 0;
        // Rounding can leave a closed aggregate without a positive diagonal; the
        // row's off-diagonal sum keeps the level usable (it only preconditions).
        const double d = static_cast<double>(diagonal);
        coarse.ownDiagonal[g] = d > 0.0 ? d : (offDiagonal > 0.0 ? offDiagonal : 1.0);
    }
    coarse.ownStart[count] = coarse.ownColumn.size();
    coarse.start = coarse.ownStart.data();
    coarse.column = coarse.ownColumn.data();
    coarse.rate = coarse.ownRate.data();
    coarse.diagonal = coarse.ownDiagonal.data();
    return coarse;
}

void AggregationMultigrid::factorCoarsest() {
    const Level& c = levels_.back();
    const std::uint32_t n = c.size;
    lu_.assign(std::size_t{n} * n, 0.0);
    auto a = [&](std::uint32_t i, std::uint32_t j) -> double& {
        return lu_[std::size_t{i} * n + j];
    };
    for (std::uint32_t i = 0; i < n; ++i) {
        a(i, i) += c.diagonal[i];
        for (std::uint64_t e = c.start[i]; e < c.start[i + 1]; ++e)
            a(i, c.column[e]) -= c.rate[e];
    }
    // Without pivoting: an M-matrix keeps positive pivots.
    for (std::uint32_t k = 0; k < n; ++k) {
        const double pivot = a(k, k);
        if (!(pivot > 0.0) || !std::isfinite(pivot)) {
            ok_ = false;
            return;
        }
        for (std::uint32_t i = k + 1; i < n; ++i) {
            const double l = a(i, k) / pivot;
            a(i, k) = l;
            if (l != 0.0)
                for (std::uint32_t j = k + 1; j < n; ++j)
                    a(i, j) -= l * a(k, j);
        }
    }
}

void AggregationMultigrid::solveCoarsest(bool transposed) const {
    const Level& c = levels_.back();
    const std::uint32_t n = c.size;
    auto a = [&](std::uint32_t i, std::uint32_t j) { return lu_[std::size_t{i} * n + j]; };
    std::vector<double>& x = c.x;
    x = c.rightHandSide();
    if (!transposed) {
        // L y = b (unit diagonal), then U x = y.
        for (std::uint32_t i = 0; i < n; ++i)
            for (std::uint32_t j = 0; j < i; ++j)
                x[i] -= a(i, j) * x[j];
        for (std::uint32_t i = n; i-- > 0;) {
            for (std::uint32_t j = i + 1; j < n; ++j)
                x[i] -= a(i, j) * x[j];
            x[i] /= a(i, i);
        }
    } else {
        // U^T y = b, then L^T x = y.
        for (std::uint32_t i = 0; i < n; ++i) {
            for (std::uint32_t j = 0; j < i; ++j)
                x[i] -= a(j, i) * x[j];
            x[i] /= a(i, i);
        }
        for (std::uint32_t i = n; i-- > 0;)
            for (std::uint32_t j = i + 1; j < n; ++j)
                x[i] -= a(j, i) * x[j];
    }
}

void AggregationMultigrid::smooth(const Level& level, bool transposed, bool forward,
                                  bool zero) const {
    if (level.threaded) {
        smoothParts(level, transposed, forward, zero);
        return;
    }
    const std::uint32_t n = level.size;
    std::vector<double>& x = level.x;
    const std::vector<double>& b = level.rightHandSide();
    if (zero)
        std::fill(x.begin(), x.end(), 0.0);
    if (!transposed) {
        // Row by row: x_i = (b_i + sum_j rate_ij x_j) / d_i.
        for (std::uint32_t step = 0; step < n; ++step) {
            const std::uint32_t i = forward ? step : n - 1 - step;
            double s = b[i];
            for (std::uint64_t e = level.start[i]; e < level.start[i + 1]; ++e)
                s += level.rate[e] * x[level.column[e]];
            x[i] = s * level.inverse[i];
        }
        return;
    }
    // The transposed system by columns: s gathers b and the terms of the unknowns
    // not yet updated in this sweep, and each updated unknown then adds its terms
    // to those still ahead.
    std::vector<double>& s = level.r;
    s = b;
    if (!zero)
        for (std::uint32_t j = 0; j < n; ++j)
            for (std::uint64_t e = level.start[j]; e < level.start[j + 1]; ++e) {
                const std::uint32_t i = level.column[e];
                if (forward ? i < j : i > j)
                    s[i] += level.rate[e] * x[j];
            }
    for (std::uint32_t step = 0; step < n; ++step) {
        const std::uint32_t j = forward ? step : n - 1 - step;
        x[j] = s[j] * level.inverse[j];
        for (std::uint64_t e = level.start[j]; e < level.start[j + 1]; ++e) {
            const std::uint32_t i = level.column[e];
            if (forward ? i > j : i < j)
                s[i] += level.rate[e] * x[j];
        }
    }
}

void AggregationMultigrid::smoothParts(const Level& level, bool transposed, bool forward,
                                       bool zero) const {
    std::vector<double>& x = level.x;
    std::vector<double>& before = level.before;
    if (zero)
        forRows(true, level.size, [&](std::uint64_t begin, std::uint64_t end) {
            std::fill(x.begin() + begin, x.begin() + end, 0.0);
        });
    sharedPool().forEach(level.border.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t k = begin; k < end; ++k) {
            const std::uint32_t j = level.border[k];
            before[j] = zero ? 0.0 : x[j];
        }
    });
    if (level.packed != nullptr)
        sweepParts(level, level.nearRows(transposed), forward);
    else if (level.single == nullptr)
        sweepParts(level, level.rows(transposed), forward);
    else
        sweepParts(level, level.singleRows(transposed), forward);
}

template <class Entries>
void AggregationMultigrid::sweepParts(const Level& level, const Entries& m, bool forward) {
    std::vector<double>& x = level.x;
    const std::vector<double>& before = level.before;
    const std::vector<double>& b = level.rightHandSide();
    sharedPool().forParts(kParts, [&](std::uint64_t p) {
        const std::uint32_t lo = level.partStart[p], hi = level.partStart[p + 1];
        for (std::uint32_t step = 0; step < hi - lo; ++step) {
            const std::uint32_t i = forward ? lo + step : hi - 1 - step;
            double s = b[i];
            for (std::uint64_t e = m.start[i]; e < m.start[i + 1]; ++e) {
                const std::uint32_t j = m.columnAt(i, e);
                s += m.rateAt(e) * (j - lo < hi - lo ? x[j] : before[j]);
            }
            x[i] = s * level.inverse[i];
        }
    });
}

template <class Entries>
void AggregationMultigrid::residualRows(const Level& level, const Entries& m) {
    const std::vector<double>& x = level.x;
    const std::vector<double>& b = level.rightHandSide();
    std::vector<double>& r = level.r;
    forRows(level.threaded, level.size, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t i = begin; i < end; ++i) {
            double s = b[i] - level.diagonal[i] * x[i];
            const auto row = static_cast<std::uint32_t>(i);
            for (std::uint64_t e = m.start[i]; e < m.start[i + 1]; ++e)
                s += m.rateAt(e) * x[m.columnAt(row, e)];
            r[i] = s;
        }
    });
}

void AggregationMultigrid::residual(const Level& level, bool transposed) const {
    const std::uint32_t n = level.size;
    const std::vector<double>& x = level.x;
    std::vector<double>& r = level.r;
    if (level.packed != nullptr) {
        residualRows(level, level.nearRows(transposed));
        return;
    }
    if (level.single != nullptr) {
        residualRows(level, level.singleRows(transposed));
        return;
    }
    if (!transposed || level.threaded) {
        residualRows(level, level.rows(transposed));
        return;
    }
    const std::vector<double>& b = level.rightHandSide();
    for (std::uint32_t i = 0; i < n; ++i)
        r[i] = b[i] - level.diagonal[i] * x[i];
    for (std::uint32_t j = 0; j < n; ++j)
        for (std::uint64_t e = level.start[j]; e < level.start[j + 1]; ++e)
            r[level.column[e]] += level.rate[e] * x[j];
}

void AggregationMultigrid::cycle(std::uint32_t l, bool transposed, bool zero) const {
    if (l + 1 == levels_.size()) {
        solveCoarsest(transposed);
        return;
    }
    const Level& fine = levels_[l];
    const Level& coarse = levels_[l + 1];
    for (std::uint32_t k = 0; k < kSweeps; ++k)
        smooth(fine, transposed, true, zero && k == 0);
    residual(fine, transposed);
    // Restriction sums over each aggregate (its members gathered in ascending
    // order), interpolation gives each member its share; the transposed cycle
    // swaps the two.
    forRows(fine.threaded, coarse.size, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t g = begin; g < end; ++g) {
            double s = 0.0;
            for (std::uint32_t k = fine.memberStart[g]; k < fine.memberStart[g + 1]; ++k) {
                const std::uint32_t i = fine.members[k];
                s += transposed ? fine.weight[i] * fine.r[i] : fine.r[i];
            }
            coarse.b[g] = s;
        }
    });
    cycle(l + 1, transposed, true);
    if (wCycle_ && l + 2 < levels_.size()) // the coarsest level's solve is exact already
        cycle(l + 1, transposed, false);
    forRows(fine.threaded, fine.size, [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t i = begin; i < end; ++i)
            fine.x[i] += transposed ? coarse.x[fine.aggregate[i]]
                                    : fine.weight[i] * coarse.x[fine.aggregate[i]];
    });
    for (std::uint32_t k = 0; k < kSweeps; ++k)
        smooth(fine, transposed, false, false);
}

void AggregationMultigrid::apply(Parallel&, const std::vector<double>& v,
                                 std::vector<double>& z) const {
    levels_[0].rhs = &v;
    cycle(0, false, true);
    levels_[0].rhs = nullptr;
    handOver(z);
}

void AggregationMultigrid::applyTransposed(Parallel&, const std::vector<double>& v,
                                           std::vector<double>& z) const {
    levels_[0].rhs = &v;
    cycle(0, true, true);
    levels_[0].rhs = nullptr;
    handOver(z);
}

void AggregationMultigrid::handOver(std::vector<double>& z) const {
    // A cycle from zero never reads the finest level's x before it writes it,
    // so z's storage can take its place instead of a copy being made.
    if (z.size() == levels_[0].x.size())
        z.swap(levels_[0].x);
    else
        z = levels_[0].x;
}

} // namespace gensolver
