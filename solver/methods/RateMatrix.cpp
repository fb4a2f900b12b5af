#include "methods/RateMatrix.h"

namespace gensolver {

RateMatrix buildRateMatrix(std::uint32_t states, const std::vector<Transition>& transitions) {
    RateMatrix m;
    m.exitRate.assign(states, 0.0);
    m.start.assign(std::size_t{states} + 1, 0);
    for (const Transition& t : transitions)
        if (t.from != t.to)
            ++m.start[t.to + 1];
    for (std::uint32_t j = 0; j < states; ++j)
        m.start[j + 1] += m.start[j];
    m.source.resize(m.start[states]);
    m.rate.resize(m.start[states]);
    std::vector<std::uint64_t> next(m.start.begin(), m.start.end() - 1);
    for (const Transition& t : transitions) {
        if (t.from == t.to)
            continue;
        const std::uint64_t at = next[t.to]++;
        m.source[at] = t.from;
        m.rate[at] = t.rate;
        m.exitRate[t.from] += t.rate;
    }
    return m;
}

} // namespace gensolver
