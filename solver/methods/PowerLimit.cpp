#include "methods/PowerLimit.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

Limit powerLimit(UniformizedSteps& steps, const LimitOptions& options) {
    const std::size_t n = steps.size();
    std::vector<double> x(n, 0.0), y(n, 0.0);
    if (steps.firstState() >= 0)
        x[static_cast<std::size_t>(steps.firstState())] = 1.0;
    Limit limit;
    limit.power = true;
    limit.converged = false;
    double total = 1.0;
    double previous = 0.0;
    // The contraction is estimated from the ratio of successive changes, smoothed
    // over a window: a single ratio can dip below the true rate.
    double worstRatio = 0.0;
    const std::uint64_t window = 16;
    std::uint64_t windowStart = 0;
    for (std::uint64_t k = 1; k <= options.maxSweeps; ++k) {
        total = steps.step(x.data(), total > 0.0 ? 1.0 / total : 1.0, y.data(), 0.0, nullptr);
        const double change = steps.distance(x.data(), y.data());
        x.swap(y);
        limit.sweeps = k;
        if (previous > 0.0 && change > 0.0) {
            const double ratio = change / previous;
            if (k - windowStart > window) {
                windowStart = k;
                worstRatio = 0.0;
            }
            worstRatio = std::max(worstRatio, ratio);
        }
        previous = change;
        if (change == 0.0) {
            limit.converged = true;
            limit.errorEstimate = 0.0;
            break;
        }
        if (k > 2 * window && worstRatio < 1.0) {
            const double estimate = change * worstRatio / (1.0 - worstRatio);
            limit.errorEstimate = estimate;
            if (estimate <= options.tolerance) {
                limit.converged = true;
                break;
            }
        } else {
            limit.errorEstimate = 1.0;
        }
    }
    // The last iterate's total drifts from 1 by the rounding of the steps.
    const double f = total > 0.0 ? 1.0 / total : 1.0;
    for (double& v : x)
        v *= f;
    // Rounding adds at most roundingPerStep per step, and the contraction damps
    // what earlier steps added: together at most roundingPerStep / (1 - rate).
    if (worstRatio < 1.0)
        limit.errorEstimate += steps.roundingPerStep() / (1.0 - worstRatio);
    limit.distribution = std::move(x);
    return limit;
}

} // namespace gensolver
