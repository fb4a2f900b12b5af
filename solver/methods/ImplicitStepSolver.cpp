#include "methods/ImplicitStepSolver.h"

#include "methods/Bicgstab.h"
#include "methods/Components.h"
#include "methods/Transient.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>

namespace gensolver {

namespace {

// Iterations allowed per solve; BiCGSTAB also stops when 30 pass without progress.
constexpr std::uint64_t MaxIterations = 2000;

// The whole chain as one component, so that SparseSystem lays out all of it.
Components wholeChain(std::uint32_t n) {
    Components c;
    c.component.assign(n, 0);
    c.order.resize(n);
    std::iota(c.order.begin(), c.order.end(), 0u);
    c.first = {0, n};
    c.bottom = {0};
    return c;
}

} // namespace

ImplicitStepSolver::ImplicitStepSolver(const RateMatrix& m, std::size_t cached)
    : pool_(sharedPool()), exit_(m.exitRate), factors_(std::max<std::size_t>(cached, 1)) {
    const std::uint32_t n = m.states();
    std::vector<std::uint32_t> local(n);
    system_ = std::make_unique<SparseSystem>(m, wholeChain(n), 0, false, std::vector<double>{},
                                             local);
    rhs_.resize(n);
}

void ImplicitStepSolver::shift(double g) {
    if (shifted_ == g)
        return;
    const double s = 1.0 / g;
    std::vector<double>& d = system_->diagonal;
    for (std::size_t k = 0; k < d.size(); ++k)
        d[k] = exit_[k] + s;
    shifted_ = g;
}

const IluPreconditioner& ImplicitStepSolver::factor(double g) {
    return factors_.get(g, [&] {
        auto made = std::make_unique<IluPreconditioner>(pool_, *system_);
        if (!made->ok()) {
            std::ostringstream msg;
            msg << "the incomplete factorisation of the implicit step of length " << g
                << " met a pivot that is not positive; use --transient uniformization";
            throw SolveError(msg.str());
        }
        return made;
    });
}

double ImplicitStepSolver::solve(double g, std::vector<double>& y, double target) {
    shift(g);
    const IluPreconditioner& ilu = factor(g);
    const double s = 1.0 / g;
    // sum_k |y_k| (2 exit_k + 1/g): the size of the terms of B y, against which the
    // residual's rounding floor is measured.
    const double scale = pool_.sum(y.size(), [&](std::uint64_t begin, std::uint64_t end) {
        double a = 0.0;
        for (std::uint64_t k = begin; k < end; ++k) {
            rhs_[k] = y[k] * s;
            a += std::fabs(y[k]) * (2.0 * exit_[k] + s);
        }
        return a;
    });
    KrylovProblem problem;
    problem.system = system_.get();
    problem.preconditioner = &ilu;
    problem.rhs = &rhs_;
    problem.weight = &noWeight_;
    // The target is on |r|_1 <= relativeTarget * sum x, and sum x is about 1. The
    // rounding of x alone leaves |r|_1 up to about eps/2 times that scale: the
    // iteration stops at a few times that too.
    const double floor = 2.0 * std::numeric_limits<double>::epsilon() * scale;
    problem.relativeTarget = std::max(target / g, floor);
    problem.maxIterations = MaxIterations;
    const KrylovResult result = bicgstab(pool_, problem, y);
    iterations_ += result.iterations;
    return g * result.weighted;
}

} // namespace gensolver
