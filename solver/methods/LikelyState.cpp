#include "methods/LikelyState.h"

#include <cmath>

namespace gensolver {

namespace {

// The rate from state i into state j, summed over parallel transitions.
double rateInto(const RateMatrix& m, std::uint32_t j, std::uint32_t i) {
    double r = 0.0;
    for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
        if (m.source[e] == i)
            r += m.rate[e];
    return r;
}

} // namespace

Climb climbToLikelyState(const RateMatrix& m, const Components& comps, std::uint32_t from) {
    // A neighbour with rates both ways lies in the same component.
    const std::uint32_t n = comps.size(comps.component[from]);
    Climb climb;
    std::uint32_t at = from;
    for (std::uint32_t step = 0; step < n; ++step) {
        std::uint32_t best = at;
        double ratio = 1.0;
        for (std::uint64_t e = m.start[at]; e < m.start[std::size_t{at} + 1]; ++e) {
            const std::uint32_t j = m.source[e];
            const double back = rateInto(m, at, j); // rate(j -> at)
            if (!(back > 0.0))
                continue;
            const double r = rateInto(m, j, at) / back; // about pi_j / pi_at
            if (r > ratio) {
                ratio = r;
                best = j;
            }
        }
        if (best == at)
            break;
        at = best;
        climb.logGain += std::log(ratio);
    }
    climb.state = at;
    return climb;
}

} // namespace gensolver
