#include "methods/BoundedKrylov.h"

#include "methods/Bicgstab.h"

#include <algorithm>
#include <cmath>

namespace gensolver {

BoundedSolve boundedBicgstab(Parallel& pool, const KrylovOperator& system,
                             const Preconditioner& preconditioner, const std::vector<double>& b,
                             double share, const LimitOptions& options, std::vector<double>& y) {
    BoundedSolve out;
    const std::uint64_t n = system.rows();
    const std::vector<double> ones(n, 1.0), none;
    std::vector<double> w(n);
    preconditioner.applyTransposed(pool, ones, w);
    KrylovProblem times{&system, &preconditioner, true, &ones, &none, 0.5, true, options.maxSweeps};
    const KrylovResult timed = bicgstab(pool, times, w);
    out.iterations += timed.iterations;
    y.assign(n, 0.0);
    if (!timed.converged)
        return out;
    std::vector<double> check(n);
    system.multiplyTransposedExactly(pool, w, check);
    double delta = 0.0;
    for (std::uint64_t k = 0; k < n; ++k)
        delta = std::max(delta, std::fabs(1.0 - check[k]));
    delta = system.max(delta);
    if (!(delta < 1.0))
        return out;
    for (double& v : w)
        v = std::max(v, 0.0) / (1.0 - delta);

    // The start: the preconditioner applied to b, a cheap approximation.
    preconditioner.apply(pool, b, y);
    KrylovProblem problem{&system, &preconditioner,           false, &b,
                          &w,      share * options.tolerance, false, options.maxSweeps};
    const KrylovResult solved = bicgstab(pool, problem, y);
    out.iterations += solved.iterations;
    // Tiny negative values that the iteration leaves are cut off, and the bound is
    // taken again for what is kept (by every process, when one cut some).
    bool negative = false;
    for (double& v : y)
        if (v < 0.0) {
            v = 0.0;
            negative = true;
        }
    KrylovResult final = solved;
    if (system.max(negative ? 1.0 : 0.0) > 0.0) {
        problem.maxIterations = 0;
        final = bicgstab(pool, problem, y);
    }
    out.total = final.total;
    out.bound = final.total > 0.0 ? final.weighted / (share * final.total)
                                  : std::numeric_limits<double>::infinity();
    out.converged = out.bound <= options.tolerance;
    return out;
}

} // namespace gensolver
