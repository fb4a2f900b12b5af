#include "methods/GaussSeidel.h"

#include "methods/IterateExtrapolation.h"
#include "methods/PackedRates.h"
#include "methods/Parallel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

namespace gensolver {

namespace {

// States per part of a level handed to a thread: fixed, so that the partial sums
// (and so the values) do not depend on the number of threads.
constexpr std::uint32_t kPartStates = 1024;

// Parts of a large component swept in state order: fixed, so that its values do
// not depend on the number of threads; four let a four-core machine use them.
constexpr unsigned kInOrderParts = 4;

struct SweepSums {
    double change = 0.0;
    double total = 0.0;
};

// Sweeps positions [begin, end) of the component's states once, in place. With
// Parts, a source outside the states [low, high] of those positions is read from
// `before` (the values from before the sweep) and not from x: the parts of a
// sweep can then run side by side, each Gauss-Seidel inside, Jacobi between them,
// and compute the same whatever the thread that runs them. (Reading the rates
// through a table of the distinct ones, as the wavefront sweep does, measured
// slower here: in state order the matrix's own arrays stream well enough.)
template <bool Parts>
SweepSums sweepInOrder(const RateMatrix& m, const std::uint32_t* members, std::uint32_t begin,
                       std::uint32_t end, bool closed, double* x, const double* before) {
    const std::uint64_t* start = m.start.data();
    const std::uint32_t* source = m.source.data();
    const double* rate = m.rate.data();
    const double* exitRate = m.exitRate.data();
    const std::uint32_t low = members[begin];
    const std::uint32_t span = members[end - 1] - low;
    SweepSums sums;
    for (std::uint32_t k = begin; k < end; ++k) {
        const std::uint32_t j = members[k];
        double s = j == 0 && !closed ? 1.0 : 0.0;
        for (std::uint64_t e = start[j], last = start[std::size_t{j} + 1]; e < last; ++e) {
            const std::uint32_t i = source[e];
            s += (!Parts || i - low <= span ? x[i] : before[i]) * rate[e];
        }
        const double v = s / exitRate[j];
        sums.change += std::fabs(v - x[j]);
        sums.total += v;
        x[j] = v;
    }
    return sums;
}

// The fixed parts of a component swept in state order on the threads, and the
// states whose values a part reads from another (copied before every sweep).
struct InOrderParts {
    std::vector<std::uint32_t> bound; // part p is positions [bound[p], bound[p + 1])
    std::vector<std::uint32_t> border;
    std::vector<double> before; // per state; outside the component, its fixed value
};

// Cuts a component whose members ascend into `count` parts of about equal
// entries; false (and no parts) when the members do not ascend.
bool cutInOrder(const RateMatrix& m, const Components& comps, std::uint32_t c,
                const std::vector<double>& x, unsigned count, InOrderParts& parts) {
    const std::uint32_t* members = comps.order.data() + comps.first[c];
    const std::uint32_t size = comps.size(c);
    for (std::uint32_t k = 1; k < size; ++k)
        if (members[k] <= members[k - 1])
            return false;
    std::uint64_t entries = 0;
    for (std::uint32_t k = 0; k < size; ++k)
        entries += m.start[std::size_t{members[k]} + 1] - m.start[members[k]];
    parts.bound.assign(1, 0);
    std::uint64_t seen = 0;
    for (std::uint32_t k = 0; k < size && parts.bound.size() < count; ++k) {
        seen += m.start[std::size_t{members[k]} + 1] - m.start[members[k]];
        if (seen * count >= entries * parts.bound.size() && k + 1 < size)
            parts.bound.push_back(k + 1);
    }
    parts.bound.push_back(size);
    std::vector<std::uint8_t> read(m.states(), 0);
    for (std::size_t p = 0; p + 1 < parts.bound.size(); ++p) {
        const std::uint32_t low = members[parts.bound[p]];
        const std::uint32_t high = members[parts.bound[p + 1] - 1];
        for (std::uint32_t k = parts.bound[p]; k < parts.bound[p + 1]; ++k)
            for (std::uint64_t e = m.start[members[k]]; e < m.start[std::size_t{members[k]} + 1];
                 ++e) {
                const std::uint32_t i = m.source[e];
                if ((i < low || i > high) && comps.component[i] == c)
                    read[i] = 1;
            }
    }
    for (std::uint32_t i = 0; i < m.states(); ++i)
        if (read[i] != 0)
            parts.border.push_back(i);
    parts.before = x;
    return true;
}

// A component renumbered in wavefront order, so that a sweep level by level reads
// its rows in memory order and finds the values it gathers, which lie mostly in
// the neighbouring levels, close together: row r is state[r], its value x[r], its
// transitions from inside the component word[start[r] .. start[r + 1]) (the
// source's row shifted left by shift, with the index of the transition's weight in
// `weights` in the low bits), and its inflow from outside (fixed during the solve,
// with the 1 of state 0 for an open component) inflow[r].
//
// Models have few distinct rates and few distinct exit rates, so usually the
// weights are the rates divided by the exit rate of the row they enter, the inflow
// divided likewise, and exit is empty: a sweep sets x[r] = inflow[r] + sum of
// x[source] weight, without a division or the exit rates. Where those quotients are
// too many, the weights are the rates and exit[r] holds the row's exit rate.
struct LevelRows {
    std::vector<std::uint32_t> state;
    std::vector<double> x;
    std::vector<std::uint32_t> start;
    std::unique_ptr<std::uint32_t[]> word;
    std::vector<double> inflow; // empty when 0 everywhere (a closed component)
    std::vector<double> weights;
    std::vector<double> exit;
    unsigned shift = 0;
};

// Renumbers the component in the order given; false when its transitions have
// more than 65536 distinct rates, or a row number and a rate's index do not fit
// one 32-bit word together.
bool renumber(const RateMatrix& m, const Components& comps, std::uint32_t c, bool closed,
              std::vector<std::uint32_t> order, const std::vector<double>& x, LevelRows& rows) {
    const auto size = static_cast<std::uint32_t>(order.size());
    const auto rowBits = static_cast<unsigned>(std::bit_width(std::max(size, 2u) - 1));
    std::uint64_t transitions = 0;
    for (const std::uint32_t j : order)
        transitions += m.start[std::size_t{j} + 1] - m.start[j];
    if (transitions > 0xFFFFFFFFu)
        return false;
    // The weight of transition e into state j: its rate, divided by j's exit rate
    // when `divided`.
    auto weight = [&](std::uint64_t e, std::uint32_t j, bool divided) {
        return divided ? m.rate[e] / m.exitRate[j] : m.rate[e];
    };
    RateTable table;
    bool divided = true;
    for (;;) {
        bool fits = true;
        for (std::size_t r = 0; r < order.size() && fits; ++r) {
            const std::uint32_t j = order[r];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1] && fits; ++e)
                fits =
                    comps.component[m.source[e]] != c || table.indexOf(weight(e, j, divided)) >= 0;
        }
        if (fits && rowBits + table.indexBits() <= 32)
            break;
        if (!divided)
            return false;
        divided = false;
        table = RateTable();
    }
    const unsigned indexBits = table.indexBits();
    rows.shift = indexBits;
    std::vector<std::uint32_t> row(m.states(), 0);
    for (std::uint32_t r = 0; r < size; ++r)
        row[order[r]] = r;
    rows.x.resize(size);
    if (!closed)
        rows.inflow.assign(size, 0.0);
    if (!divided)
        rows.exit.resize(size);
    // The rows are filled on the threads, each its own contiguous share: first
    // the count of each row's transitions from inside the component, then the
    // transitions. The words are not zeroed first, so that their pages are
    // first touched (and cleared by the system) by the thread that fills them.
    Parallel& pool = sharedPool();
    const unsigned shares = pool.threads();
    auto inShare = [&](std::uint64_t t, auto&& body) {
        for (std::uint64_t r = size * t / shares; r < size * (t + 1) / shares; ++r)
            body(static_cast<std::uint32_t>(r), order[r]);
    };
    rows.start.assign(std::size_t{size} + 1, 0);
    pool.forParts(shares, [&](std::uint64_t t) {
        inShare(t, [&](std::uint32_t r, std::uint32_t j) {
            std::uint32_t inside = 0;
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                inside += comps.component[m.source[e]] == c ? 1 : 0;
            rows.start[std::size_t{r} + 1] = inside;
        });
    });
    for (std::uint32_t r = 0; r < size; ++r)
        rows.start[std::size_t{r} + 1] += rows.start[r];
    rows.word = std::make_unique_for_overwrite<std::uint32_t[]>(rows.start[size]);
    pool.forParts(shares, [&](std::uint64_t t) {
        // Every weight is in the table already; each thread looks them up in its
        // own copy, whose cache of recent rates it may change.
        RateTable lookup = table;
        inShare(t, [&](std::uint32_t r, std::uint32_t j) {
            double outside = j == 0 && !closed ? 1.0 : 0.0;
            std::uint32_t at = rows.start[r];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                const std::uint32_t i = m.source[e];
                if (comps.component[i] == c)
                    rows.word[at++] =
                        row[i] << indexBits |
                        static_cast<std::uint32_t>(lookup.indexOf(weight(e, j, divided)));
                else
                    outside += x[i] * m.rate[e];
            }
            if (!closed)
                rows.inflow[r] = divided ? outside / m.exitRate[j] : outside;
            if (!divided)
                rows.exit[r] = m.exitRate[j];
            rows.x[r] = x[j];
        });
    });
    rows.state = std::move(order);
    rows.weights = table.rates();
    return true;
}

// Sweeps rows [begin, end) of a LevelRows once, in place.
template <bool Divide>
SweepSums sweepRows(LevelRows& rows, std::uint32_t begin, std::uint32_t end) {
    const double* table = rows.weights.data();
    const std::uint32_t* start = rows.start.data();
    const std::uint32_t* word = rows.word.get();
    const double* inflow = rows.inflow.empty() ? nullptr : rows.inflow.data();
    const unsigned shift = rows.shift;
    const std::uint32_t mask = (std::uint32_t{1} << shift) - 1;
    double* x = rows.x.data();
    SweepSums sums;
    for (std::uint32_t r = begin; r < end; ++r) {
        double s = inflow != nullptr ? inflow[r] : 0.0;
        double s2 = 0.0, s3 = 0.0, s4 = 0.0;
        std::uint32_t e = start[r];
        const std::uint32_t last = start[r + 1];
        auto term = [&](std::uint32_t k) {
            const std::uint32_t p = word[k];
            return x[p >> shift] * table[p & mask];
        };
        for (; e + 3 < last; e += 4) {
            s += term(e);
            s2 += term(e + 1);
            s3 += term(e + 2);
            s4 += term(e + 3);
        }
        for (; e < last; ++e)
            s += term(e);
        const double v = Divide ? ((s + s2) + (s3 + s4)) / rows.exit[r] : (s + s2) + (s3 + s4);
        sums.change += std::fabs(v - x[r]);
        sums.total += v;
        x[r] = v;
    }
    return sums;
}

} // namespace

Wavefront findWavefront(const RateMatrix& m, const Components& comps, std::uint32_t c) {
    const std::uint32_t* members = comps.order.data() + comps.first[c];
    const std::uint32_t size = comps.size(c);
    // level[j] rises to one above every neighbour of j numbered below it. A
    // state's sources below it are final when its turn comes (the states go in
    // ascending order); a source above it is raised ahead of its own turn.
    std::vector<std::uint32_t> level(m.states(), 0);
    std::uint32_t levels = 0;
    for (std::uint32_t k = 0; k < size; ++k) {
        const std::uint32_t j = members[k];
        std::uint32_t l = level[j];
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = m.source[e];
            if (i < j && comps.component[i] == c)
                l = std::max(l, level[i] + 1);
        }
        level[j] = l;
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = m.source[e];
            if (i > j && comps.component[i] == c)
                level[i] = std::max(level[i], l + 1);
        }
        levels = std::max(levels, l + 1);
    }
    Wavefront w;
    w.level.assign(std::size_t{levels} + 1, 0);
    for (std::uint32_t k = 0; k < size; ++k)
        ++w.level[level[members[k]] + 1];
    for (std::uint32_t l = 0; l < levels; ++l)
        w.level[l + 1] += w.level[l];
    std::vector<std::uint32_t> at(w.level.begin(), w.level.end() - 1);
    w.state.resize(size);
    for (std::uint32_t k = 0; k < size; ++k)
        w.state[at[level[members[k]]]++] = members[k];
    return w;
}

SweepResult gaussSeidel(const RateMatrix& m, const Components& comps, std::uint32_t c, bool closed,
                        const LimitOptions& options, std::vector<double>& x) {
    const std::uint32_t* members = comps.order.data() + comps.first[c];
    const std::uint32_t size = comps.size(c);
    if (closed)
        for (std::uint32_t k = 0; k < size; ++k)
            x[members[k]] = 1.0 / size;

    Wavefront wave;
    // Every level costs the threads a meeting: a level must carry enough work to
    // outweigh it.
    if (size >= options.wavefrontFrom) {
        wave = findWavefront(m, comps, c);
        if (size / (wave.level.size() - 1) < options.wavefrontRows)
            wave = {};
    }
    LevelRows rows;
    const bool byLevel =
        !wave.state.empty() && renumber(m, comps, c, closed, std::move(wave.state), x, rows);
    // The parts of the sweep: with a wavefront, level l is cut into parts of
    // kPartStates, levels' parts being partStart[levelPart[l] .. levelPart[l + 1]).
    std::vector<std::uint32_t> partStart{0};
    std::vector<std::uint32_t> levelPart{0};
    if (byLevel) {
        for (std::size_t l = 0; l + 1 < wave.level.size(); ++l) {
            for (std::uint32_t k = wave.level[l] + kPartStates; k < wave.level[l + 1];
                 k += kPartStates)
                partStart.push_back(k);
            partStart.push_back(wave.level[l + 1]);
            levelPart.push_back(static_cast<std::uint32_t>(partStart.size() - 1));
        }
    } else {
        partStart.push_back(size);
        levelPart.push_back(1);
    }
    // A component too large to sweep on one thread and without a wavefront worth
    // its meetings is swept in state order in kInOrderParts fixed parts, when its
    // states ascend.
    InOrderParts inOrder;
    const bool inParts = !byLevel && size >= options.wavefrontFrom &&
                         cutInOrder(m, comps, c, x, kInOrderParts, inOrder);
    std::vector<SweepSums> sums(inParts ? inOrder.bound.size() - 1 : partStart.size() - 1);
    Parallel& pool = sharedPool();
    // Each thread takes the same contiguous share of every level's parts, sweep
    // after sweep: a level's values are gathered mostly by the next level's rows
    // at about the same place, so what a thread has just written is what it reads
    // next, from its own cache. Handing the parts out one by one to whichever
    // thread was free made the two-thread sweeps on polling N = 18 take 13 to
    // 21 % longer (bench/README.md). The shares are still claimed, so a thread the
    // system holds back leaves its share to the other.
    const unsigned shares = pool.threads();
    auto sweepByLevel = [&] {
        for (std::size_t l = 0; l + 1 < levelPart.size(); ++l) {
            const std::uint32_t first = levelPart[l];
            const std::uint32_t parts = levelPart[l + 1] - first;
            auto one = [&](std::uint64_t p) {
                sums[first + p] =
                    rows.exit.empty()
                        ? sweepRows<false>(rows, partStart[first + p], partStart[first + p + 1])
                        : sweepRows<true>(rows, partStart[first + p], partStart[first + p + 1]);
            };
            if (parts < 2 * shares) {
                pool.forParts(parts, [&](std::uint64_t p) { one(p); });
                continue;
            }
            pool.forParts(shares, [&](std::uint64_t t) {
                for (std::uint64_t p = parts * t / shares; p < parts * (t + 1) / shares; ++p)
                    one(p);
            });
        }
    };

    SweepResult r;
    r.levels = byLevel ? static_cast<std::uint32_t>(levelPart.size() - 1) : 0;
    double previous = 0.0;
    // The relative changes of the last kRateSpan + 1 sweeps, by sweep number
    // modulo their count: the rate over kRateSpan sweeps is steadier than the
    // ratio of two.
    constexpr std::uint64_t kRateSpan = 16;
    constexpr std::uint64_t kCheckEvery = 32;
    double recent[kRateSpan + 1] = {};
    const bool mayGiveUp = options.switchSweeps > 0 && size >= options.switchFrom;
    // A smaller component gives up (stalls) only where the sweeps expect to
    // need more than they have left: its changes do not shrink (a cycle against
    // the state numbering passes its values round for ever), or shrink too
    // slowly to meet the tolerance within options.maxSweeps (at the rounding
    // level, say). Where the iterates are extrapolated, the changes after each
    // jump upset the rate the check reads (a chain that converges in 1,600
    // sweeps so looked stalled after 96 under Valgrind's arithmetic): there it
    // stalls only on the hopeless test below.
    const bool mayStall = options.switchSweeps > 0 && size < options.switchFrom;
    const bool stallHopelessOnly = size >= options.extrapolateFrom;
    // Hopeless: from sweep 1,024 on, late enough for the rate to have settled
    // (the first checks' estimates run up to 30 times too high), two checks in
    // a row expect more than a hundred times the sweeps left. Sweeps that only
    // try to better an answer in hand (options.stopWhenHopeless) stop from
    // sweep 1,024 on where two checks expect more than the sweeps left: a stop
    // too soon costs them no answer, only a tighter bound.
    // The times spent in an open component's states stop so too: where the
    // sweeps miss, BiCGSTAB and then the elimination of the times before a
    // closed class follow, and the margin cost the stiff model's 80,800 states
    // 72,000 sweeps (10 s) before them.
    constexpr std::uint64_t kHopelessFrom = 1024;
    constexpr double kHopelessMargin = 100.0;
    // Sweeps asked to run to the end (switchSweeps 0, --gauss-seidel) are not
    // stopped so.
    const bool mayStop = options.stopWhenHopeless || (!closed && options.switchSweeps > 0);
    double moreBefore = 0.0; // the sweeps expected at the check before
    // The iterates are extrapolated after sweep kExtrapolateFrom and every
    // kExtrapolateEvery sweeps from there, from the kKept iterates up to it.
    // The sweeps right after an extrapolation change by more than the rate
    // they settle to; the rates, for the estimate and for the checks above,
    // are taken from the sweeps from two after the last one.
    constexpr std::uint64_t kExtrapolateFrom = 32;
    constexpr std::uint64_t kExtrapolateEvery = 16;
    constexpr std::uint64_t kKept = IterateExtrapolation::kKept;
    bool extrapolating = size >= options.extrapolateFrom;
    std::unique_ptr<IterateExtrapolation> extrapolation;
    std::uint64_t lastJump = 0; // the sweep after which the iterate was last extrapolated
    double settledRate = 0.0;   // the slowest rate of the sweeps before one
    double jumpChange = 0.0;    // the relative change of sweep lastJump
    auto rateSince = [&](std::uint64_t from) {
        // Per sweep, over the sweeps after `from` (at most kRateSpan back); 1
        // where the changes did not shrink or there are too few.
        from = std::max(from, r.sweeps > kRateSpan ? r.sweeps - kRateSpan : 1);
        const double first = recent[from % (kRateSpan + 1)];
        const double last = recent[r.sweeps % (kRateSpan + 1)];
        if (r.sweeps < from + 4 || !(first > 0.0) || !(last < first))
            return 1.0;
        return std::pow(last / first, 1.0 / static_cast<double>(r.sweeps - from));
    };
    while (r.sweeps < options.maxSweeps) {
        ++r.sweeps;
        if (byLevel) {
            sweepByLevel();
        } else if (inParts) {
            for (const std::uint32_t i : inOrder.border)
                inOrder.before[i] = x[i];
            pool.forParts(sums.size(), [&](std::uint64_t p) {
                sums[p] = sweepInOrder<true>(m, members, inOrder.bound[p], inOrder.bound[p + 1],
                                             closed, x.data(), inOrder.before.data());
            });
        } else {
            sums[0] = sweepInOrder<false>(m, members, 0, size, closed, x.data(), nullptr);
        }
        double change = 0.0;
        double total = 0.0;
        for (const SweepSums& s : sums) {
            change += s.change;
            total += s.total;
        }
        // A closed component's sweep is linear without a right-hand side: scaling
        // its values scales the next sweep's and leaves the relative change as it
        // is. The renumbered values are normalised only when their total leaves a
        // safe range, and at the end, sparing a pass per sweep.
        const bool normalise =
            closed && total > 0.0 && (!byLevel || total < 0x1p-100 || total > 0x1p100);
        if (normalise) {
            pool.forEach(size, [&](std::uint64_t begin, std::uint64_t end) {
                if (byLevel)
                    for (std::uint64_t k = begin; k < end; ++k)
                        rows.x[k] /= total;
                else
                    for (std::uint64_t k = begin; k < end; ++k)
                        x[members[k]] /= total;
            });
        }
        const double relative = total > 0.0 ? change / total : 0.0;
        // The distance to the solution is about change * rho / (1 - rho), with rho
        // the rate at which the changes shrink; a change alone would understate it
        // for a slowly converging iteration.
        double rho = previous > 0.0 ? relative / previous : 1.0;
        previous = relative;
        // After an extrapolation the slowest modes are smaller than the others
        // for a while, and the ratio of two changes can understate the rate at
        // which the rest of the distance shrinks: it is taken no smaller than
        // the rate the sweeps had settled to before.
        if (lastJump > 0)
            rho = std::max(rho, settledRate);
        r.change = rho < 1.0 ? relative * std::max(1.0, rho / (1.0 - rho)) : relative * 1e6;
        if (relative == 0.0 || (r.sweeps >= 3 && r.change <= options.tolerance)) {
            r.converged = true;
            break;
        }
        recent[r.sweeps % (kRateSpan + 1)] = relative;
        if ((mayGiveUp || mayStall || mayStop) && r.sweeps % kCheckEvery == 0) {
            // With the changes shrinking by rate per sweep, the estimate
            // relative * rate / (1 - rate) reaches the tolerance after `more`
            // sweeps. The rate often improves once the first sweeps have moved
            // the mass where it belongs (on the multiprocessor of the tests the
            // first check expects 1438 more sweeps, the second 578, and 119 are
            // needed in all), so the sweeps give up only when two checks in a
            // row expect too many.
            const double rate = rateSince(lastJump + 2);
            const double more =
                rate < 1.0 ? std::log(options.tolerance * (1.0 - rate) / (relative * rate)) /
                                 std::log(rate)
                           : std::numeric_limits<double>::infinity();
            const double left = static_cast<double>(options.maxSweeps - r.sweeps);
            const double limit = mayGiveUp ? static_cast<double>(options.switchSweeps)
                                 : mayStall && !stallHopelessOnly ? left
                                 : r.sweeps < kHopelessFrom
                                     ? std::numeric_limits<double>::infinity()
                                 : mayStop ? left
                                           : kHopelessMargin * left;
            if (more > limit && moreBefore > limit) {
                r.gaveUp = true;
                r.expected = std::isfinite(more) ? static_cast<std::uint64_t>(std::ceil(more)) : 0;
                break;
            }
            moreBefore = more;
        }
        if (extrapolating && r.sweeps + kKept > kExtrapolateFrom && total > 0.0) {
            const std::uint64_t slot =
                (r.sweeps + kKept - 1 - kExtrapolateFrom) % kExtrapolateEvery;
            const bool due = slot + 1 == kKept;
            // The component's values in its order: renumbered, or through members.
            auto value = [&](std::uint64_t k) -> double& {
                return byLevel ? rows.x[k] : x[members[k]];
            };
            auto put = [&](std::uint64_t k, double v) { value(k) = v; };
            if (due && lastJump > 0 &&
                relative >
                    jumpChange * std::pow(settledRate, static_cast<double>(r.sweeps - lastJump))) {
                // The last extrapolation left the changes larger than the sweeps
                // alone would have (on a chain whose sweeps converge very
                // slowly the differences are too nearly parallel to combine):
                // the sweeps go on from the iterate it replaced, and no more
                // are made.
                extrapolation->handBackLast(pool, put);
                --r.extrapolations;
                extrapolating = false;
                lastJump = r.sweeps;
                previous = 0.0;
            } else if (slot < kKept) {
                if (!extrapolation) {
                    // Five more values a state: where the memory is not there,
                    // the sweeps go on without.
                    try {
                        extrapolation = std::make_unique<IterateExtrapolation>(size);
                    } catch (const std::bad_alloc&) {
                        extrapolating = false;
                        continue;
                    }
                }
                // A closed component's iterates are compared at the same total.
                const double scale = closed && !normalise ? 1.0 / total : 1.0;
                extrapolation->keep(pool, static_cast<unsigned>(slot), scale, value);
                const double rate = rateSince(lastJump + 2);
                if (due && extrapolation->extrapolate(pool, put)) {
                    ++r.extrapolations;
                    jumpChange = relative;
                    lastJump = r.sweeps;
                    settledRate = std::max(settledRate, rate < 1.0 ? rate : 0.0);
                    previous = 0.0;
                }
            }
        }
    }
    if (byLevel) {
        const double total = closed ? pool.sum(size,
                                               [&](std::uint64_t begin, std::uint64_t end) {
                                                   double t = 0.0;
                                                   for (std::uint64_t k = begin; k < end; ++k)
                                                       t += rows.x[k];
                                                   return t;
                                               })
                                    : 1.0;
        for (std::uint32_t r = 0; r < size; ++r)
            x[rows.state[r]] = total > 0.0 ? rows.x[r] / total : rows.x[r];
    }
    return r;
}

} // namespace gensolver
