#pragma once
// Transient analysis by uniformization: the distribution at a time t and the
// integral of reward vectors over [0, t], from the chain started in state 1,
// with a proven bound on the error of each.

#include "methods/LimitSolver.h"
#include "methods/PoissonWeights.h"
#include "methods/RateMatrix.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace gensolver {

// A time point that cannot be computed within the limits set (too many steps).
class SolveError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Hands out the chain's limiting distribution, computed on first request: the
// transient solver asks for it only when a time point needs many steps.
class LimitSource {
public:
    virtual ~LimitSource() = default;
    virtual const Limit& limit() = 0;
};

struct TransientOptions {
    double epsilon = 1e-12;             // error bound per time step taken
    std::uint64_t maxSteps = 100000000; // uniformization steps allowed per interval
    std::uint64_t detectAfter = 1000;   // steps before the limit is consulted
};

class TransientSolver {
public:
    // integrands: reward vectors whose integral over time is wanted (not owned:
    // they outlive the solver). limits may be null (no steady-state detection).
    TransientSolver(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                    LimitSource* limits, const TransientOptions& options);
    TransientSolver(const TransientSolver&) = delete;
    TransientSolver& operator=(const TransientSolver&) = delete;

    // Moves the solution from the current time to t >= now(). Throws SolveError
    // when more than maxSteps steps would be needed.
    void advanceTo(double t);

    double now() const { return now_; }
    // The distribution at now().
    const std::vector<double>& distribution() const { return x_; }
    // Bound on the 1-norm error of distribution().
    double distributionBound() const { return distBound_; }
    // Integral over [0, now()] of distribution . integrand r.
    double integral(std::size_t r) const { return integrals_[r]; }
    // Bound on the integral over [0, now()] of the 1-norm error of the
    // distribution: the error of integral(r) is at most this times max |r|.
    double integralBound() const { return intBound_; }
    double rate() const { return q_; }
    std::uint64_t steps() const { return steps_; }
    bool steadyStateDetected() const { return steady_; }
    // The time at which the limit was reached (when steadyStateDetected()).
    double steadyTime() const { return steadyTime_; }

private:
    void step(); // v_ = v_ P
    double dot(const std::vector<double>& a, std::size_t r) const;
    // When v_ lies within epsilon / 16 of the computed limit (1-norm): that distance
    // plus the limit's own error estimate. Otherwise, or when the limit is not (yet)
    // usable, a negative value.
    double distanceToLimit(std::uint64_t k, std::uint64_t remaining);

    const RateMatrix& m_;
    std::vector<const std::vector<double>*> integrands_;
    LimitSource* limits_;
    const Limit* limit_ = nullptr;
    TransientOptions options_;
    double q_ = 0.0;               // uniformization rate
    double roundingPerStep_ = 0.0; // bound on the 1-norm rounding error of one step
    std::vector<double> stay_;     // per state, 1 - exit rate / q
    std::vector<double> x_, v_, y_;
    std::vector<double> integrals_;
    double now_ = 0.0;
    double distBound_ = 0.0;
    double intBound_ = 0.0;
    std::uint64_t steps_ = 0;
    bool steady_ = false;
    double steadyTime_ = 0.0;
};

} // namespace gensolver
