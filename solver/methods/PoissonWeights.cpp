#include "methods/PoissonWeights.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

PoissonWeights poissonWeights(double lambda, double epsilon) {
    PoissonWeights p;
    p.lambda = lambda;
    if (lambda <= 0.0) {
        p.weight = {1.0};
        return p;
    }
    const std::uint64_t mode = static_cast<std::uint64_t>(std::floor(lambda));
    // The cut-off tails are bounded relative to the mode's weight of 1; the kept sum
    // is at least 1, so these bounds are bounds relative to the sum as well.
    const double tailGoal = epsilon / 4.0;

    // Downwards: w(k-1) = w(k) k / lambda; the ratio k/lambda falls as k falls, so
    // the mass below k is at most w(k) r / (1 - r) with r = k / lambda.
    std::vector<double> below;
    double w = 1.0;
    std::uint64_t k = mode;
    double leftTail = 0.0;
    while (k > 0) {
        const double r = static_cast<double>(k) / lambda;
        if (r < 1.0) {
            const double tail = w * r / (1.0 - r);
            if (tail <= tailGoal) {
                leftTail = tail;
                break;
            }
        }
        w *= r;
        --k;
        below.push_back(w);
    }
    p.left = k;

    // Upwards: w(k+1) = w(k) lambda / (k+1); above k the mass is at most
    // w(k) r / (1 - r) with r = lambda / (k+1) < 1.
    std::vector<double> above;
    w = 1.0;
    k = mode;
    double rightTail = 0.0;
    double integralTail = 0.0;
    for (;;) {
        const double r = lambda / static_cast<double>(k + 1);
        const double tail = w * r / (1.0 - r);
        if (r < 1.0 && tail <= tailGoal) {
            rightTail = tail;
            // sum over k' >= k of P(N > k') = sum over i >= 1 of i w(k + i)
            // <= w(k) sum i r^i = w(k) r / (1 - r)^2.
            integralTail = w * r / ((1.0 - r) * (1.0 - r));
            break;
        }
        w *= r;
        ++k;
        above.push_back(w);
    }
    p.right = k;

    p.weight.reserve(below.size() + 1 + above.size());
    for (auto it = below.rbegin(); it != below.rend(); ++it)
        p.weight.push_back(*it);
    p.weight.push_back(1.0);
    p.weight.insert(p.weight.end(), above.begin(), above.end());
    // Sum from the smallest terms up, then normalise.
    double total = 0.0;
    {
        std::vector<double> sorted(p.weight);
        std::sort(sorted.begin(), sorted.end());
        for (const double x : sorted)
            total += x;
    }
    for (double& x : p.weight)
        x /= total;
    p.bound = 2.0 * (leftTail + rightTail) / total;
    p.integralTail = integralTail / total;
    return p;
}

double poissonLowerTailBound(double lambda, std::uint64_t k) {
    const double kk = static_cast<double>(k);
    if (kk >= lambda)
        return 1.0;
    if (k == 0)
        return std::exp(-lambda);
    return std::min(1.0, std::exp(-lambda + kk * (1.0 + std::log(lambda / kk))));
}

} // namespace gensolver
