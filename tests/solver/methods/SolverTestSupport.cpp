#include "SolverTestSupport.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <stdexcept>
#include <utility>

namespace solvertest {

namespace {

std::string full(double x) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", x);
    return buf;
}

Dense multiply(const Dense& a, const Dense& b) {
    const std::size_t n = a.size();
    Dense c(n, std::vector<long double>(n, 0.0L));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < n; ++k)
            for (std::size_t j = 0; j < n; ++j)
                c[i][j] += a[i][k] * b[k][j];
    return c;
}

} // namespace

std::vector<gensolver::Transition> randomIrreducible(std::uint32_t n, unsigned seed, double lo,
                                                     double hi) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> exponent(lo, hi);
    std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
    std::vector<gensolver::Transition> ts;
    for (std::uint32_t i = 0; i < n; ++i)
        ts.push_back({i, (i + 1) % n, std::pow(10.0, exponent(gen))});
    for (std::uint32_t k = 0; k < 3 * n; ++k)
        ts.push_back({pick(gen), pick(gen), std::pow(10.0, exponent(gen))});
    return ts;
}

void writeChain(const std::string& stem, const Chain& chain) {
    std::ofstream arm(stem + ".arm", std::ios::binary);
    arm << "1\n"
        << chain.states << '\n'
        << std::string(62 - std::to_string(chain.states).size(), ' ') << '\n';
    for (std::uint32_t i = 1; i <= chain.states; ++i) {
        arm << i << '\n';
        for (const Chain::Arc& a : chain.arcs)
            if (a.from == i)
                arm << a.to << '\n' << full(a.rate) << '\n';
        arm << "0\n";
    }
    std::ofstream pv(stem + ".pvtype", std::ios::binary);
    pv << "Version:1\nNumPV:" << chain.variables.size() << '\n';
    for (const Chain::Variable& v : chain.variables) {
        pv << "Name:" << v.name << "\nType:" << v.type << "\nNumTimes:" << v.times.size() << '\n';
        for (const auto& [start, stop] : v.times)
            pv << "Start:" << full(start) << "\nStop:" << full(stop) << '\n';
    }
    std::ofstream var(stem + ".var", std::ios::binary);
    for (const Chain::Variable& v : chain.variables)
        var << v.name << '\n';
    for (std::uint32_t i = 1; i <= chain.states; ++i) {
        var << i << '\n';
        for (const Chain::Variable& v : chain.variables)
            var << full(v.impulse.empty() ? 0.0 : v.impulse[i - 1]) << '\n'
                << full(v.rate[i - 1]) << '\n';
    }
}

Dense generator(const Chain& chain) {
    Dense q(chain.states, std::vector<long double>(chain.states, 0.0L));
    for (const Chain::Arc& a : chain.arcs) {
        if (a.from == a.to)
            continue;
        q[a.from - 1][a.to - 1] += a.rate;
        q[a.from - 1][a.from - 1] -= a.rate;
    }
    return q;
}

Dense expm(const Dense& a, long double t) {
    const std::size_t n = a.size();
    long double norm = 0.0L;
    for (const auto& row : a) {
        long double s = 0.0L;
        for (const long double x : row)
            s += std::fabs(x);
        norm = std::max(norm, s);
    }
    int squarings = 0;
    long double scale = t;
    while (norm * scale > 0.5L) {
        scale /= 2.0L;
        ++squarings;
    }
    Dense term(n, std::vector<long double>(n, 0.0L));
    Dense sum(n, std::vector<long double>(n, 0.0L));
    for (std::size_t i = 0; i < n; ++i)
        term[i][i] = sum[i][i] = 1.0L;
    for (int k = 1; k <= 30; ++k) {
        term = multiply(term, a);
        for (auto& row : term)
            for (long double& x : row)
                x *= scale / k;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                sum[i][j] += term[i][j];
    }
    for (int s = 0; s < squarings; ++s)
        sum = multiply(sum, sum);
    return sum;
}

std::vector<long double> solveLeft(const Dense& a, const std::vector<long double>& b) {
    // x A = b is A^T x^T = b^T.
    const std::size_t n = a.size();
    Dense m(n, std::vector<long double>(n + 1));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j)
            m[i][j] = a[j][i];
        m[i][n] = b[i];
    }
    for (std::size_t c = 0; c < n; ++c) {
        std::size_t p = c;
        for (std::size_t r = c + 1; r < n; ++r)
            if (std::fabs(m[r][c]) > std::fabs(m[p][c]))
                p = r;
        if (m[p][c] == 0.0L)
            throw std::runtime_error("singular system");
        std::swap(m[c], m[p]);
        for (std::size_t r = 0; r < n; ++r) {
            if (r == c || m[r][c] == 0.0L)
                continue;
            const long double f = m[r][c] / m[c][c];
            for (std::size_t k = c; k <= n; ++k)
                m[r][k] -= f * m[c][k];
        }
    }
    std::vector<long double> x(n);
    for (std::size_t i = 0; i < n; ++i)
        x[i] = m[i][n] / m[i][i];
    return x;
}

bool extendedPrecision() {
    volatile long double one = 1.0L;
    volatile long double tiny = 1e-18L;
    return one + tiny != one;
}

std::vector<long double> impulseRate(const Chain& chain, const std::vector<double>& impulse) {
    std::vector<long double> rho(chain.states, 0.0L);
    if (impulse.empty())
        return rho;
    for (const Chain::Arc& a : chain.arcs)
        rho[a.from - 1] += static_cast<long double>(a.rate) * impulse[a.to - 1];
    return rho;
}

// Dense generator of n states from transitions numbered from 0.
Dense denseGenerator(std::uint32_t n, const std::vector<gensolver::Transition>& ts) {
    Dense q(n, std::vector<long double>(n, 0.0L));
    for (const gensolver::Transition& t : ts)
        if (t.from != t.to) {
            q[t.from][t.to] += t.rate;
            q[t.from][t.from] -= t.rate;
        }
    return q;
}

// Stationary distribution of the closed class `states` (indices into q), by
// replacing one equation of pi Q = 0 with the normalisation.
std::vector<long double> classStationary(const Dense& q, const std::vector<std::uint32_t>& states) {
    const std::size_t m = states.size();
    Dense a(m, std::vector<long double>(m));
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < m; ++j)
            a[i][j] = j + 1 == m ? 1.0L : q[states[i]][states[j]];
    std::vector<long double> b(m, 0.0L);
    b[m - 1] = 1.0L;
    return solveLeft(a, b);
}

// Folds state k away from the matrix of rates p (diagonal 0) over the states in
// `left` (k excluded): each i's rate into k is passed on along k's rates, in
// proportion, the loop back to i dropped. Nothing is subtracted.
void foldAway(Dense& p, std::uint32_t k, const std::vector<std::uint32_t>& left) {
    long double out = 0.0L;
    for (const std::uint32_t j : left)
        out += p[k][j];
    for (const std::uint32_t i : left) {
        if (p[i][k] == 0.0L)
            continue;
        const long double f = p[i][k] / out;
        for (const std::uint32_t j : left)
            if (j != i)
                p[i][j] += f * p[k][j];
    }
}

std::vector<long double> foldedStationary(std::uint32_t n,
                                          const std::vector<gensolver::Transition>& ts) {
    Dense p = denseGenerator(n, ts);
    for (std::uint32_t i = 0; i < n; ++i)
        p[i][i] = 0.0L;
    std::vector<std::uint32_t> left;
    for (std::uint32_t k = n; k-- > 1;) {
        left.resize(k);
        for (std::uint32_t j = 0; j < k; ++j)
            left[j] = j;
        foldAway(p, k, left);
    }
    // State j's mass is the flow into it from the states before it, over its
    // rate out to them (kept in p[j][i] of the folded chain).
    std::vector<long double> pi(n, 0.0L);
    pi[0] = 1.0L;
    long double total = 1.0L;
    for (std::uint32_t j = 1; j < n; ++j) {
        long double in = 0.0L, out = 0.0L;
        for (std::uint32_t i = 0; i < j; ++i) {
            in += pi[i] * p[i][j];
            out += p[j][i];
        }
        pi[j] = in / out;
        total += pi[j];
    }
    for (long double& v : pi)
        v /= total;
    return pi;
}

std::vector<long double> foldedLimit(std::uint32_t n, const std::vector<gensolver::Transition>& ts,
                                     std::uint32_t transient,
                                     const std::vector<std::vector<std::uint32_t>>& classes) {
    Dense p = denseGenerator(n, ts);
    for (std::uint32_t i = 0; i < n; ++i)
        p[i][i] = 0.0L;
    // The transient states but state 0 folded away: state 0's rates then say
    // where in the classes the chain lands.
    std::vector<std::uint32_t> left;
    for (std::uint32_t k = transient; k-- > 1;) {
        left.clear();
        for (std::uint32_t j = 0; j < n; ++j)
            if (j < k || j >= transient)
                left.push_back(j);
        foldAway(p, k, left);
    }
    long double into = 0.0L;
    for (std::uint32_t j = transient; j < n; ++j)
        into += p[0][j];
    std::vector<long double> limit(n, 0.0L);
    for (const std::vector<std::uint32_t>& c : classes) {
        long double reached = 0.0L;
        std::vector<std::uint32_t> at(n, UINT32_MAX);
        for (std::uint32_t k = 0; k < c.size(); ++k) {
            reached += p[0][c[k]] / into;
            at[c[k]] = k;
        }
        std::vector<gensolver::Transition> inside;
        for (const gensolver::Transition& t : ts)
            if (at[t.from] != UINT32_MAX && at[t.to] != UINT32_MAX)
                inside.push_back({at[t.from], at[t.to], t.rate});
        const std::vector<long double> pi =
            foldedStationary(static_cast<std::uint32_t>(c.size()), inside);
        for (std::uint32_t k = 0; k < c.size(); ++k)
            limit[c[k]] = reached * pi[k];
    }
    return limit;
}

} // namespace solvertest
