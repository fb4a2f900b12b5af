#include "methods/ErlangExpansion.h"

#include "methods/Transient.h"

#include <string>

namespace gensolver {

namespace {

// The impulses that one deterministic firing from state i earns for variable p.
double firingImpulse(const RegenerativeModel& m, std::size_t p, std::uint32_t i) {
    if (p >= m.firingImpulse.size() || m.firingImpulse[p].empty())
        return 0.0;
    return m.firingImpulse[p][i];
}

} // namespace

ErlangExpansion expandDelays(const RegenerativeModel& m, std::uint32_t phases) {
    const std::uint32_t n = m.states();
    ErlangExpansion x;
    x.first.resize(n);
    auto phasesOf = [&](std::uint32_t i) {
        return m.group[i] == RegenerativeModel::kNoDelay ? 1u : phases;
    };
    std::uint64_t count = 0;
    for (std::uint32_t i = 0; i < n; ++i) {
        x.first[i] = static_cast<std::uint32_t>(count);
        count += phasesOf(i);
        if (count > 0xFFFFFFFEu)
            throw SolveError("the chain of " + std::to_string(phases) +
                             " phases per deterministic delay has more than 4,294,967,294 states");
    }
    const auto total = static_cast<std::uint32_t>(count);
    std::vector<Transition> arcs;
    const SparseRows& e = m.exponential;
    const SparseRows& d = m.deterministic;
    for (std::uint32_t i = 0; i < n; ++i) {
        const std::uint32_t k = phasesOf(i);
        for (std::uint32_t p = 0; p < k; ++p) {
            const std::uint32_t from = x.first[i] + p;
            for (std::uint64_t a = e.start[i]; a < e.start[i + 1]; ++a) {
                const std::uint32_t j = e.target[a];
                const bool keepsClock = k > 1 && m.group[j] == m.group[i];
                arcs.push_back({from, x.first[j] + (keepsClock ? p : 0), e.value[a]});
            }
            if (m.group[i] == RegenerativeModel::kNoDelay)
                continue;
            const double phaseRate =
                static_cast<double>(phases) / m.delays[static_cast<std::size_t>(m.group[i])];
            if (p + 1 < k) {
                arcs.push_back({from, from + 1, phaseRate});
                continue;
            }
            for (std::uint64_t a = d.start[i]; a < d.start[i + 1]; ++a)
                arcs.push_back({from, x.first[d.target[a]], phaseRate * d.value[a]});
        }
    }
    x.matrix = buildRateMatrix(total, arcs);
    const std::size_t nv = m.rewards.size();
    x.rate.assign(nv, std::vector<double>(total, 0.0));
    x.earning.assign(nv, std::vector<double>(total, 0.0));
    for (std::size_t v = 0; v < nv; ++v) {
        const Rewards& r = m.rewards[v];
        for (std::uint32_t i = 0; i < n; ++i) {
            const std::uint32_t k = phasesOf(i);
            const double earn = r.rate[i] + (r.impulseRate.empty() ? 0.0 : r.impulseRate[i]);
            for (std::uint32_t p = 0; p < k; ++p) {
                x.rate[v][x.first[i] + p] = r.rate[i];
                x.earning[v][x.first[i] + p] = earn;
            }
            if (m.group[i] != RegenerativeModel::kNoDelay)
                x.earning[v][x.first[i] + k - 1] += static_cast<double>(phases) /
                                                    m.delays[static_cast<std::size_t>(m.group[i])] *
                                                    firingImpulse(m, v, i);
        }
    }
    return x;
}

} // namespace gensolver
