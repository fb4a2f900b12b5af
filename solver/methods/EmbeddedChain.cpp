#include "methods/EmbeddedChain.h"

#include "methods/CompensatedSum.h"
#include "methods/Components.h"
#include "methods/RateMatrix.h"
#include "methods/Transient.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace gensolver {

namespace {

constexpr double kUnit = std::numeric_limits<double>::epsilon() / 2; // unit roundoff

} // namespace

EmbeddedChain::EmbeddedChain(const RegenerativeModel& m, double epsilon, std::uint64_t maxSteps)
    : m_(m), subordinated_(m.delays.size()), local_(m.states(), 0) {
    for (std::uint32_t i = 0; i < m.states(); ++i)
        if (m.group[i] != RegenerativeModel::kNoDelay) {
            Subordinated& s = subordinated_[static_cast<std::size_t>(m.group[i])];
            local_[i] = static_cast<std::uint32_t>(s.states.size());
            s.states.push_back(i);
        }
    std::size_t largest = 0;
    for (std::size_t g = 0; g < subordinated_.size(); ++g) {
        Subordinated& s = subordinated_[g];
        s.delay = m.delays[g];
        double maxExit = 0.0;
        for (const std::uint32_t i : s.states)
            maxExit = std::max(maxExit, m.exitRate[i]);
        s.rate = maxExit * 1.02;
        // Refused before the weights are formed: their tail alone would hold a
        // number per step.
        const double lambda = s.rate * s.delay;
        if (poissonStepsNeeded(lambda) > static_cast<double>(maxSteps)) {
            char text[160];
            std::snprintf(text, sizeof text,
                          "the deterministic delay %.6g, with rates up to %.6g in the states "
                          "that await it, needs about %.3g uniformization steps",
                          s.delay, maxExit, lambda);
            throw SolveError(std::string(text) + ", more than the " + std::to_string(maxSteps) +
                             " allowed (raise --max-steps)");
        }
        s.weights = poissonWeights(lambda, epsilon);
        // P(N > k) = 1 below the first weight kept, then the kept weights above k,
        // summed from the right: 1 minus the weights up to k would lose the small
        // tails to cancellation, an absolute error of a unit of roundoff that the
        // division by a small rate turns into a large part of the delay.
        s.tailOverRate.resize(s.weights.right + 1 - s.weights.left);
        double above = 0.0;
        for (std::uint64_t k = s.weights.right + 1; k-- > s.weights.left;) {
            s.tailOverRate[k - s.weights.left] = s.rate > 0.0 ? above / s.rate : 0.0;
            above += s.weights.at(k);
        }
        // Mixing with the kept weights errs by their bound; the integral by the tail
        // cut off after `right`, per unit of rate.
        const double integral = s.rate > 0.0 ? s.weights.integralTail / s.rate : 0.0;
        stepBound_ = std::max(stepBound_, s.weights.bound + integral * maxExit);
        // Each P(N > k) kept errs by at most the weights' bound; k runs to `right`.
        expiryBound_ = std::max(expiryBound_, s.weights.bound);
        if (s.rate > 0.0)
            occupancyBound_ = std::max(occupancyBound_,
                                       (static_cast<double>(s.weights.right + 1) * s.weights.bound +
                                        s.weights.integralTail) /
                                           s.rate);
        // Rounding. Every number here is a sum of nonnegative terms (the list's
        // chain loses mass, it never gains it, and 1 - exit / q_d >= 0), so the
        // errors are relative ones, entry by entry. A step (each new entry a sum of
        // at most `inflow` + 1 products of three factors) adds (inflow + 4) units
        // of roundoff; mixing the `right` iterates into the expiry probabilities
        // adds (right + 2) units, and into the times `right` more for the tails
        // summed from the right. The times are at most the delay, and the mass
        // that leaves the list through them at most 1.
        if (s.rate > 0.0) {
            std::uint64_t inflow = 0;
            std::vector<std::uint32_t> into(s.states.size(), 0);
            for (const std::uint32_t i : s.states)
                for (std::uint64_t a = m.exponential.start[i]; a < m.exponential.start[i + 1]; ++a)
                    if (m.group[m.exponential.target[a]] == static_cast<std::int32_t>(g))
                        inflow = std::max<std::uint64_t>(inflow,
                                                         ++into[local_[m.exponential.target[a]]]);
            const double right = static_cast<double>(s.weights.right);
            const double expiry =
                kUnit * 1.01 * (right * static_cast<double>(inflow + 4) + right + 2.0);
            const double times = expiry + kUnit * 1.01 * (right + 2.0);
            expiryRounding_ = std::max(expiryRounding_, expiry);
            occupancyRounding_ = std::max(occupancyRounding_, s.delay * times);
            stepRounding_ = std::max(stepRounding_, expiry + times);
        } else {
            occupancyRounding_ = std::max(occupancyRounding_, s.delay * kUnit);
        }
        largest = std::max(largest, s.states.size());
    }
    expiryBound_ += expiryRounding_;
    occupancyBound_ += occupancyRounding_;
    v_.resize(largest);
    w_.resize(largest);
    y_.resize(largest);
    z_.resize(largest);
}

void EmbeddedChain::propagate(const Subordinated& s, std::uint32_t g) {
    const std::size_t n = s.states.size();
    const SparseRows& e = m_.exponential;
    if (s.rate == 0.0) {
        // Nothing leaves the list's states: the clock always expires.
        std::copy(v_.begin(), v_.begin() + static_cast<std::ptrdiff_t>(n), y_.begin());
        for (std::size_t l = 0; l < n; ++l)
            z_[l] = v_[l] * s.delay;
    } else {
        std::fill(y_.begin(), y_.begin() + static_cast<std::ptrdiff_t>(n), 0.0);
        std::fill(z_.begin(), z_.begin() + static_cast<std::ptrdiff_t>(n), 0.0);
        const double invq = 1.0 / s.rate;
        for (std::uint64_t k = 0;; ++k) {
            const double wk = s.weights.at(k);
            const double tk = s.overRate(k);
            for (std::size_t l = 0; l < n; ++l) {
                y_[l] += wk * v_[l];
                z_[l] += tk * v_[l];
            }
            if (k == s.weights.right)
                break;
            // v = v P over the list: stay, or move inside the list (the clock goes
            // on); what leaves the list is no longer followed.
            for (std::size_t l = 0; l < n; ++l)
                w_[l] = v_[l] * (1.0 - m_.exitRate[s.states[l]] * invq);
            for (std::size_t l = 0; l < n; ++l) {
                if (v_[l] == 0.0)
                    continue;
                const std::uint32_t i = s.states[l];
                for (std::uint64_t a = e.start[i]; a < e.start[i + 1]; ++a) {
                    const std::uint32_t j = e.target[a];
                    if (m_.group[j] == static_cast<std::int32_t>(g))
                        w_[local_[j]] += v_[l] * e.value[a] * invq;
                }
            }
            v_.swap(w_);
            ++steps_;
        }
    }
}

void EmbeddedChain::runSubordinated(const Subordinated& s, std::uint32_t g,
                                    const std::vector<double>& nu, EmbeddedStep& out) {
    const std::size_t n = s.states.size();
    bool any = false;
    for (std::size_t l = 0; l < n; ++l) {
        v_[l] = nu[s.states[l]];
        any = any || v_[l] != 0.0;
    }
    if (!any)
        return;
    propagate(s, g);
    const SparseRows& e = m_.exponential;
    const SparseRows& d = m_.deterministic;
    for (std::size_t l = 0; l < n; ++l) {
        const std::uint32_t i = s.states[l];
        out.sojourn[i] += z_[l];
        out.fired[i] += y_[l];
        for (std::uint64_t a = d.start[i]; a < d.start[i + 1]; ++a)
            out.next[d.target[a]] += y_[l] * d.value[a];
        for (std::uint64_t a = e.start[i]; a < e.start[i + 1]; ++a)
            if (m_.group[e.target[a]] != static_cast<std::int32_t>(g))
                out.next[e.target[a]] += z_[l] * e.value[a];
    }
}

const std::vector<std::uint32_t>& EmbeddedChain::listOf(std::uint32_t i) const {
    return subordinated_[static_cast<std::size_t>(m_.group[i])].states;
}

std::uint64_t EmbeddedChain::stepsPerRun(std::uint32_t g) const {
    return subordinated_[g].rate > 0.0 ? subordinated_[g].weights.right : 0;
}

void EmbeddedChain::fromListed(std::uint32_t i, std::vector<double>& expired,
                               std::vector<double>& occupied) {
    const auto g = static_cast<std::uint32_t>(m_.group[i]);
    const Subordinated& s = subordinated_[g];
    const std::size_t n = s.states.size();
    std::fill(v_.begin(), v_.begin() + static_cast<std::ptrdiff_t>(n), 0.0);
    v_[local_[i]] = 1.0;
    propagate(s, g);
    expired.assign(y_.begin(), y_.begin() + static_cast<std::ptrdiff_t>(n));
    occupied.assign(z_.begin(), z_.begin() + static_cast<std::ptrdiff_t>(n));
}

void EmbeddedChain::apply(const std::vector<double>& nu, EmbeddedStep& out) {
    const std::uint32_t n = m_.states();
    out.next.assign(n, 0.0);
    out.sojourn.assign(n, 0.0);
    out.fired.assign(n, 0.0);
    const SparseRows& e = m_.exponential;
    for (std::uint32_t i = 0; i < n; ++i) {
        if (m_.group[i] != RegenerativeModel::kNoDelay || nu[i] == 0.0)
            continue;
        const double exit = m_.exitRate[i];
        if (exit == 0.0) {
            // An absorbing state: it stays, a unit of time per step.
            out.next[i] += nu[i];
            out.sojourn[i] += nu[i];
            continue;
        }
        out.sojourn[i] += nu[i] / exit;
        for (std::uint64_t a = e.start[i]; a < e.start[i + 1]; ++a)
            out.next[e.target[a]] += nu[i] * e.value[a] / exit;
    }
    for (std::size_t g = 0; g < subordinated_.size(); ++g)
        runSubordinated(subordinated_[g], static_cast<std::uint32_t>(g), nu, out);
}

namespace {

// The states of the closed class reachable from state 1, or a SolveError when
// there are several.
std::vector<std::uint32_t> closedClassFromFirst(const RegenerativeModel& m) {
    const std::uint32_t n = m.states();
    std::vector<Transition> arcs;
    std::vector<char> seen(n, 0);
    std::vector<std::uint32_t> stack{0};
    seen[0] = 1;
    while (!stack.empty()) {
        const std::uint32_t i = stack.back();
        stack.pop_back();
        for (const SparseRows* rows : {&m.exponential, &m.deterministic})
            for (std::uint64_t a = rows->start[i]; a < rows->start[i + 1]; ++a) {
                const std::uint32_t j = rows->target[a];
                arcs.push_back({i, j, 1.0});
                if (!seen[j]) {
                    seen[j] = 1;
                    stack.push_back(j);
                }
            }
    }
    const Components c = findComponents(buildRateMatrix(n, arcs));
    std::vector<std::uint32_t> reached;
    for (std::uint32_t k = 0; k < c.count(); ++k) {
        const std::uint32_t first = c.order[c.first[k]];
        if (c.bottom[k] && seen[first])
            reached.push_back(k);
    }
    if (reached.size() != 1)
        throw SolveError(std::to_string(reached.size()) +
                         " closed classes are reachable from state 1; long-run values of a "
                         "model with deterministic delays are computed only when one is");
    const std::uint32_t k = reached[0];
    return std::vector<std::uint32_t>(c.order.begin() + c.first[k],
                                      c.order.begin() + c.first[k + 1]);
}

double sum(const std::vector<double>& v) {
    double s = 0.0;
    for (const double x : v)
        s += x;
    return s;
}

// The stationary distribution of the stochastic matrix p (k x k, row-major) by
// elimination without subtraction: only the off-diagonal entries are read, each
// diagonal taken as one minus its row's others, so no sum cancels.
std::vector<double> stationaryWithoutSubtraction(std::vector<double> p, std::uint32_t k) {
    auto a = [&](std::uint32_t i, std::uint32_t j) -> double& { return p[std::size_t{i} * k + j]; };
    for (std::uint32_t last = k - 1; last >= 1; --last) {
        double out = 0.0;
        for (std::uint32_t j = 0; j < last; ++j)
            out += a(last, j);
        for (std::uint32_t i = 0; i < last; ++i) {
            const double f = a(i, last) / out;
            if (f == 0.0)
                continue;
            for (std::uint32_t j = 0; j < last; ++j)
                if (j != i)
                    a(i, j) += f * a(last, j);
        }
    }
    std::vector<double> x(k, 0.0);
    x[0] = 1.0;
    double total = 1.0;
    for (std::uint32_t j = 1; j < k; ++j) {
        double out = 0.0, in = 0.0;
        for (std::uint32_t l = 0; l < j; ++l) {
            out += a(j, l);
            in += x[l] * a(l, j);
        }
        x[j] = in / out;
        total += x[j];
    }
    for (double& v : x)
        v /= total;
    return x;
}

// The largest row sum of |(I - P + 1 x)^-1|, P the chain of p with its
// diagonals completed, x its stationary distribution: how much a perturbation
// of P's rows (in the largest row's 1-norm) can move x (in its 1-norm), less
// one. By LU with partial pivoting; infinite where the matrix is singular to
// working precision.
double fundamentalNorm(const std::vector<double>& p, const std::vector<double>& x,
                       std::uint32_t k) {
    std::vector<double> b(std::size_t{k} * k);
    for (std::uint32_t i = 0; i < k; ++i) {
        double out = 0.0;
        for (std::uint32_t j = 0; j < k; ++j)
            if (j != i) {
                b[std::size_t{i} * k + j] = x[j] - p[std::size_t{i} * k + j];
                out += p[std::size_t{i} * k + j];
            }
        b[std::size_t{i} * k + i] = out + x[i];
    }
    // R B = L U, R the rows' exchanges.
    for (std::uint32_t c = 0; c < k; ++c) {
        std::uint32_t best = c;
        for (std::uint32_t r = c + 1; r < k; ++r)
            if (std::fabs(b[std::size_t{r} * k + c]) > std::fabs(b[std::size_t{best} * k + c]))
                best = r;
        if (!(std::fabs(b[std::size_t{best} * k + c]) > 0.0))
            return std::numeric_limits<double>::infinity();
        if (best != c) {
            std::swap_ranges(b.begin() + std::size_t{c} * k, b.begin() + std::size_t{c + 1} * k,
                             b.begin() + std::size_t{best} * k);
        }
        const double pivot = b[std::size_t{c} * k + c];
        for (std::uint32_t r = c + 1; r < k; ++r) {
            const double f = b[std::size_t{r} * k + c] / pivot;
            b[std::size_t{r} * k + c] = f;
            if (f != 0.0)
                for (std::uint32_t j = c + 1; j < k; ++j)
                    b[std::size_t{r} * k + j] -= f * b[std::size_t{c} * k + j];
        }
    }
    // B^-1 = (L U)^-1 R has the columns of (L U)^-1 in another order, and so
    // the same row sums: they are summed column by column of (L U)^-1.
    std::vector<double> rowSum(k, 0.0), col(k);
    for (std::uint32_t e = 0; e < k; ++e) {
        std::fill(col.begin(), col.end(), 0.0);
        col[e] = 1.0;
        for (std::uint32_t r = e + 1; r < k; ++r) {
            double v = 0.0;
            for (std::uint32_t j = e; j < r; ++j)
                v += b[std::size_t{r} * k + j] * col[j];
            col[r] = -v;
        }
        for (std::uint32_t r = k; r-- > 0;) {
            double v = col[r];
            for (std::uint32_t j = r + 1; j < k; ++j)
                v -= b[std::size_t{r} * k + j] * col[j];
            col[r] = v / b[std::size_t{r} * k + r];
        }
        for (std::uint32_t r = 0; r < k; ++r)
            rowSum[r] += std::fabs(col[r]);
    }
    double largestSum = 0.0;
    for (const double v : rowSum)
        largestSum = std::max(largestSum, v);
    return std::isfinite(largestSum) ? largestSum : std::numeric_limits<double>::infinity();
}

// The states of the closed class of the chain p (k x k, row-major) that state
// v reaches. While some state that v reaches cannot reach v back, v moves to
// it: the states reached shrink each time, and end as a closed class.
std::vector<std::uint32_t> closedClassReached(const std::vector<double>& p, std::uint32_t k,
                                              std::uint32_t v) {
    std::vector<char> ahead(k), back(k);
    std::vector<std::uint32_t> stack;
    auto reach = [&](std::vector<char>& seen, bool forward) {
        std::fill(seen.begin(), seen.end(), 0);
        seen[v] = 1;
        stack.assign(1, v);
        while (!stack.empty()) {
            const std::uint32_t i = stack.back();
            stack.pop_back();
            for (std::uint32_t j = 0; j < k; ++j) {
                const double a = forward ? p[std::size_t{i} * k + j] : p[std::size_t{j} * k + i];
                if (a != 0.0 && !seen[j]) {
                    seen[j] = 1;
                    stack.push_back(j);
                }
            }
        }
    };
    for (;;) {
        reach(ahead, true);
        reach(back, false);
        std::uint32_t next = k;
        for (std::uint32_t j = 0; j < k && next == k; ++j)
            if (ahead[j] && !back[j])
                next = j;
        if (next == k)
            break;
        v = next;
    }
    std::vector<std::uint32_t> members;
    for (std::uint32_t j = 0; j < k; ++j)
        if (ahead[j])
            members.push_back(j);
    return members;
}

// The regeneration distribution over the class cls, into nu, by forming the
// embedded chain (a product from each state of the class) and solving it
// directly; iterate is the power iterations' last distribution. Returns the
// estimate of the fractions' error in the units of
// RegenerativeLimit::errorEstimate (firing rates weighed by the shortest
// delay), or infinity (or not a number) where the chain is too
// ill-conditioned to say.
double solveDirectly(const RegenerativeModel& m, EmbeddedChain& chain,
                     const std::vector<std::uint32_t>& cls, const std::vector<double>& iterate,
                     std::vector<double>& nu) {
    const auto all = static_cast<std::uint32_t>(cls.size());
    const std::uint32_t n = m.states();
    std::vector<std::uint32_t> local(n, UINT32_MAX);
    for (std::uint32_t l = 0; l < all; ++l)
        local[cls[l]] = l;
    std::vector<double> formed(std::size_t{all} * all, 0.0), holdAll(all), firedAll(all);
    std::vector<double> unit(n, 0.0);
    EmbeddedStep step;
    for (std::uint32_t l = 0; l < all; ++l) {
        unit[cls[l]] = 1.0;
        chain.apply(unit, step);
        unit[cls[l]] = 0.0;
        for (std::uint32_t j = 0; j < n; ++j)
            if (step.next[j] != 0.0 && local[j] != UINT32_MAX && local[j] != l)
                formed[std::size_t{l} * all + local[j]] = step.next[j];
        holdAll[l] = sum(step.sojourn);
        firedAll[l] = sum(step.fired);
    }
    // A state of the class that the process only enters while a clock runs is
    // no regeneration point: the embedded chain never enters it, and its
    // closed class is the rest. It is solved alone; the others keep 0.
    std::vector<std::uint32_t> members = closedClassReached(formed, all, 0);
    const auto k = static_cast<std::uint32_t>(members.size());
    // The elimination keeps the first state to the end and folds the others
    // into it, the last first: the iterate's most likely states come first,
    // so that what folds into the kept state is not a flow too small for a
    // double (a state entered with probability 1e-322 kept to the end made
    // the folded flows 0 / 0).
    auto likelihood = [&](std::uint32_t a) {
        const double v = iterate[cls[a]];
        return std::isnan(v) ? -1.0 : v; // an order even where the iterate is not a number
    };
    std::sort(members.begin(), members.end(), [&](std::uint32_t a, std::uint32_t b) {
        const double x = likelihood(a), y = likelihood(b);
        return x != y ? x > y : a < b;
    });
    std::vector<double> p(std::size_t{k} * k), hold(k), fired(k);
    for (std::uint32_t a = 0; a < k; ++a) {
        for (std::uint32_t b = 0; b < k; ++b)
            p[std::size_t{a} * k + b] = formed[std::size_t{members[a]} * all + members[b]];
        hold[a] = holdAll[members[a]];
        fired[a] = firedAll[members[a]];
    }
    const std::vector<double> x = stationaryWithoutSubtraction(p, k);
    // The residual x (I - P), in twice the precision.
    std::vector<Accumulator> r(k);
    for (std::uint32_t i = 0; i < k; ++i)
        for (std::uint32_t j = 0; j < k; ++j)
            if (j != i && p[std::size_t{i} * k + j] != 0.0) {
                const double flow = x[i] * p[std::size_t{i} * k + j];
                r[i].add(flow);
                r[j].add(-flow);
            }
    double residual = 0.0;
    for (const Accumulator& a : r)
        residual += std::fabs(a.hi + a.lo);
    // The rows as formed differ from the exact ones in two ways. The rounding
    // of the products' sums of nonnegative terms moves each entry by a factor
    // within 1 +- rho. By the Markov chain tree theorem each stationary
    // probability is a ratio of sums of products of k - 1 entries, so it moves
    // by a factor within ((1 + rho) / (1 - rho))^(k - 1), however
    // ill-conditioned the chain. The truncation of the products takes mass from
    // each row, moved onto its diagonal: twice that in a row's 1-norm, which the
    // fundamental matrix turns into a 1-norm error of x, as it does the residual
    // of the elimination's own rounding.
    const double rho = chain.stepRounding() + static_cast<double>(k + 4) * kUnit;
    const double relative =
        rho < 0.5 / static_cast<double>(k)
            ? std::expm1(static_cast<double>(k - 1) * (std::log1p(rho) - std::log1p(-rho)))
            : std::numeric_limits<double>::infinity();
    const double conditioning = fundamentalNorm(p, x, k) + 1.0;
    const double moved = (2.0 * chain.stepBound() + residual) * conditioning;
    // Fractions of time are x S / x h and firing rates x F / x h, S and F the
    // products' times and firings per state, h their totals. A relative error
    // of each x_i is at most doubled in them (sums of nonnegative terms over a
    // sum of nonnegative terms); an error d in x's 1-norm moves the first by at
    // most 2 d max h / x h, and the second (at most one firing per shortest
    // delay) by d (max f + max h / shortest) / x h.
    double cycle = 0.0, longest = 0.0, most = 0.0;
    for (std::uint32_t l = 0; l < k; ++l) {
        cycle += x[l] * hold[l];
        longest = std::max(longest, hold[l]);
        most = std::max(most, fired[l]);
    }
    const double shortest = *std::min_element(m.delays.begin(), m.delays.end());
    const double gain = std::max(2.0 * longest, shortest * most + longest) / cycle;
    const double products = (2.0 * chain.occupancyBound() + shortest * chain.expiryBound()) / cycle;
    nu.assign(n, 0.0);
    for (std::uint32_t l = 0; l < k; ++l)
        nu[cls[members[l]]] = x[l];
    // Twice the sum: the conditioning is that of the rows as formed.
    const double estimate = 2.0 * (2.0 * relative + gain * moved + products);
    return std::isfinite(estimate) ? estimate : std::numeric_limits<double>::infinity();
}

} // namespace

RegenerativeLimit solveRegenerativeLimit(const RegenerativeModel& m, double tolerance,
                                         std::uint64_t maxSweeps, std::uint64_t maxSteps) {
    const std::uint32_t n = m.states();
    const std::vector<std::uint32_t> cls = closedClassFromFirst(m);
    RegenerativeLimit limit;
    limit.classStates = static_cast<std::uint32_t>(cls.size());
    // The weights' truncation is kept far below the tolerance: it perturbs every
    // step alike, and the iteration's fixed point moves by about that much over
    // the gap of the chain.
    EmbeddedChain chain(m, tolerance / 1024.0, maxSteps);
    // From state 1 when it lies in the class (a queue starting empty settles
    // soonest from there), else evenly over the class.
    std::vector<double> nu(n, 0.0);
    if (std::find(cls.begin(), cls.end(), 0u) != cls.end())
        nu[0] = 1.0;
    else
        for (const std::uint32_t i : cls)
            nu[i] = 1.0 / static_cast<double>(cls.size());
    EmbeddedStep step;
    // The lazy chain (half a step of the embedded chain, half staying) has the same
    // stationary distribution and is aperiodic, so its powers converge. Where the
    // chain's slowest modes are complex the changes oscillate, and the ratio of two
    // successive ones may be far below their decay (0.52 and 0.95 in turn where
    // they decay by 0.7 a sweep): the decay is measured over blocks of kBlock
    // sweeps, whose sums decay smoothly, as well as from the last two changes.
    constexpr std::uint64_t kBlock = 8;
    std::vector<double> changes;
    double floor = 0.0; // what the steps leave, over the gap, once measured
    limit.converged = false;
    // Where the chain is small, forming it costs fewer products than sweeps
    // that have not converged by now.
    const std::uint64_t directFrom = cls.size() <= kDirectRegenerationLimit
                                         ? std::max<std::uint64_t>(1000, cls.size())
                                         : UINT64_MAX;
    for (std::uint64_t sweep = 1; sweep <= std::min(maxSweeps, directFrom); ++sweep) {
        chain.apply(nu, step);
        const double total = sum(step.next);
        double change = 0.0;
        for (const std::uint32_t i : cls) {
            const double x = 0.5 * (nu[i] + step.next[i] / total);
            change += std::fabs(x - nu[i]);
            nu[i] = x;
        }
        limit.sweeps = sweep;
        changes.push_back(change);
        const double lastChange = changes.size() > 1 ? changes[changes.size() - 2] : 0.0;
        // What the truncation and the rounding leave, per step, moved by the gap.
        const double perturbation =
            chain.stepBound() + chain.stepRounding() + 8.0 * std::numeric_limits<double>::epsilon();
        if (change == 0.0) {
            limit.errorEstimate = 16.0 * perturbation;
            limit.converged = true;
            break;
        }
        limit.errorEstimate = 16.0 * (change + perturbation);
        if (sweep < 2 * kBlock)
            continue;
        double current = 0.0, previous = 0.0;
        for (std::uint64_t k = 0; k < kBlock; ++k) {
            current += changes[changes.size() - 1 - k];
            previous += changes[changes.size() - 1 - kBlock - k];
        }
        const double blockRatio = current / previous;
        const double ratio = change / lastChange;
        if (blockRatio < 1.0 && ratio < 1.0) {
            // The changes still to come, block by block, and by the last ratio.
            const double geometric =
                std::max(current * blockRatio / (1.0 - blockRatio), change * ratio / (1.0 - ratio));
            const double perSweep = std::pow(blockRatio, 1.0 / static_cast<double>(kBlock));
            floor = 0.5 * perturbation / (1.0 - perSweep);
            // Printed with the conversion's margin: a sixteenth of the tolerance
            // leaves room for the conversion into fractions of time, which weighs
            // states by their sojourns.
            limit.errorEstimate = 16.0 * (geometric + floor);
            if (limit.errorEstimate <= tolerance) {
                limit.converged = true;
                break;
            }
            // Where what the steps leave exceeds the tolerance, the iteration goes
            // on until its own part is negligible beside it: the estimate printed
            // then exceeds the tolerance, as any method's does when asked for less
            // than its rounding.
            if (geometric <= floor / 64.0) {
                limit.converged = true;
                break;
            }
        }
        // Changes that no longer shrink, at the level of the steps' rounding: the
        // iterates only move by it, and sweeping on cannot help.
        if (!(blockRatio < 1.0) && current <= static_cast<double>(kBlock) * perturbation) {
            limit.errorEstimate = 16.0 * (current + std::max(floor, perturbation));
            limit.converged = true;
            break;
        }
    }
    if (!limit.converged && cls.size() <= kDirectRegenerationLimit) {
        std::vector<double> direct;
        const double estimate = solveDirectly(m, chain, cls, nu, direct);
        // The direct solution is an answer with its estimate, whatever the
        // estimate's size, unless the chain is too ill-conditioned for one.
        if (estimate < 0.5) {
            nu = std::move(direct);
            limit.errorEstimate = estimate;
            limit.converged = true;
            limit.direct = true;
        }
    }
    chain.apply(nu, step);
    const double cycle = sum(step.sojourn);
    limit.time.resize(n);
    limit.firingRate.resize(n);
    for (std::uint32_t i = 0; i < n; ++i) {
        limit.time[i] = step.sojourn[i] / cycle;
        limit.firingRate[i] = step.fired[i] / cycle;
    }
    limit.steps = chain.steps();
    return limit;
}

} // namespace gensolver
