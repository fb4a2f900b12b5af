#include "methods/LikelyState.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

namespace {

// The rate from row i into row j (the entry of row j at column i), 0 for none.
double rateInto(const SparseSystem& s, std::uint32_t j, std::uint32_t i) {
    const std::uint32_t* first = s.column.data() + s.start[j];
    const std::uint32_t* last = s.column.data() + s.start[std::size_t{j} + 1];
    const std::uint32_t* at = std::lower_bound(first, last, i);
    return at != last && *at == i ? s.rate[static_cast<std::uint64_t>(at - s.column.data())] : 0.0;
}

} // namespace

Climb climbToLikelyState(const SparseSystem& system, std::uint32_t from) {
    const std::uint32_t n = system.size();
    Climb climb;
    std::uint32_t at = from;
    for (std::uint32_t step = 0; step < n; ++step) {
        std::uint32_t best = at;
        double ratio = 1.0;
        for (std::uint64_t e = system.start[at]; e < system.start[std::size_t{at} + 1]; ++e) {
            const std::uint32_t j = system.column[e];
            const double back = system.rate[e]; // rate(j -> at)
            if ((system.closed && j == system.reference) || !(back > 0.0))
                continue;
            const double r = rateInto(system, j, at) / back; // about pi_j / pi_at
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
