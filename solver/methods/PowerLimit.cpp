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
    limit.errorEstimate = 2.0;
    double total = 1.0;
    // The rate of contraction is the geometric mean of the ratios of successive
    // changes over the last `window` steps: single ratios are noisy, more so once
    // the changes near the rounding of a step.
    constexpr std::uint64_t window = 64;
    std::vector<double> changes(window, 0.0);
    for (std::uint64_t k = 1; k <= options.maxSweeps; ++k) {
        total = steps.step(x.data(), total > 0.0 ? 1.0 / total : 1.0, y.data(), 0.0, nullptr);
        const double change = steps.distance(x.data(), y.data());
        x.swap(y);
        limit.sweeps = k;
        if (change == 0.0) {
            limit.converged = true;
            limit.errorEstimate = 0.0;
            break;
        }
        double& old = changes[k % window];
        const double before = old;
        old = change;
        if (k <= window || !(before > 0.0))
            continue;
        const double rate = std::pow(change / before, 1.0 / static_cast<double>(window));
        if (!(rate < 1.0))
            continue;
        // The distance to the limit is at most the sum of the changes still to
        // come, change rate / (1 - rate); rounding adds at most roundingPerStep a
        // step, which the contraction damps to roundingPerStep / (1 - rate).
        const double remaining = change * rate / (1.0 - rate);
        const double rounding = steps.roundingPerStep() / (1.0 - rate);
        limit.errorEstimate = remaining + rounding;
        // Done when within the tolerance, or when the changes are down to the
        // rounding of a step, where more steps gain nothing.
        if (limit.errorEstimate <= options.tolerance || remaining <= rounding) {
            limit.converged = true;
            break;
        }
    }
    // Cut short, the observed contraction says little: only the trivial bound
    // on the distance of two distributions stands.
    if (!limit.converged)
        limit.errorEstimate = 2.0;
    // The last iterate's total drifts from 1 by the rounding of the steps.
    const double f = total > 0.0 ? 1.0 / total : 1.0;
    for (double& v : x)
        v *= f;
    limit.distribution = std::move(x);
    return limit;
}

} // namespace gensolver
