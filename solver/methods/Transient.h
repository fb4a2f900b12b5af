#pragma once
// Transient analysis by uniformization: the distribution at a time t and the
// integral of reward vectors over [0, t], from the chain started in state 1,
// with a proven bound on the error of each.

#include "methods/LimitSolver.h"
#include "methods/Parallel.h"
#include "methods/PoissonWeights.h"
#include "methods/RateMatrix.h"
#include "methods/UniformizedSteps.h"

#include <cstdint>
#include <limits>
#include <memory>
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
    // Per state, 1 when no closed class holds it (a transient state), or null
    // when not known (then the limit is fetched as soon as many steps remain).
    // The limit puts no mass there, so while the iterate keeps more than the
    // detection threshold on them the limit need not be solved; from a transient
    // state 1 solving it means the mean times to absorption, which on a
    // reliability model take longer than the steps themselves.
    virtual const std::vector<char>* transientStates() { return nullptr; }
};

// Which transient method solves the time points.
enum class TransientChoice {
    Auto,           // extrapolation when uniformization needs more than extrapolateAbove
                    // steps and the chain has at most extrapolateStates states; on larger
                    // chains, iterative extrapolation beyond iterateAbove steps
    Uniformization, // always uniformization
    Extrapolation,  // always the extrapolated implicit Euler method
    Iterative,      // always the extrapolated implicit Euler method with iterative solves
};

struct TransientOptions {
    double epsilon = 1e-12;             // error bound per time step taken
    std::uint64_t maxSteps = 100000000; // uniformization steps allowed per interval
    std::uint64_t detectAfter = 1000;   // steps before the limit is consulted
    TransientChoice method = TransientChoice::Auto;
    // Auto: uniformization steps (q t) beyond which to extrapolate.
    double extrapolateAbove = 20000.0;
    // Auto: chains of more states stay with uniformization (each extrapolation
    // sub-step length factors the matrix, whose fill-in grows with the chain).
    std::uint32_t extrapolateStates = 20000;
    // Auto, chains above extrapolateStates: uniformization steps (q t) beyond which
    // the sub-steps are solved iteratively instead (each solve costs some tens to
    // hundreds of products, and a time point some hundreds of solves).
    double iterateAbove = 1e6;
    // Auto, chains of at most this many states (the solve sets it to the limit's
    // dense limit, so that their limit is solved directly and cheaply): beyond
    // extrapolateAbove steps, uniformization is tried first, allowed
    // extrapolateAbove steps per interval to reach the limit.
    std::uint32_t probeStates = 1000;
    // Auto, chains above extrapolateStates where uniformization needs more than
    // windowAbove steps: states of the first window tried around state 1
    // (WindowedTransient); 0 turns the windows off.
    std::uint32_t windowStates = 4096;
    double windowAbove = 1000.0;
};

// A transient method: moves the distribution of the chain started in state 1
// forward in time and integrates reward vectors along, with an error bound.
class TransientMethod {
public:
    virtual ~TransientMethod() = default;
    // Moves the solution from the current time to t >= now().
    virtual void advanceTo(double t) = 0;
    double now() const { return now_; }
    // The distribution at now().
    const std::vector<double>& distribution() const { return x_; }
    // Bound (or estimate, see boundProven) of the 1-norm error of distribution().
    double distributionBound() const { return distBound_; }
    // Integral over [0, now()] of distribution . integrand r.
    double integral(std::size_t r) const { return integrals_[r]; }
    // Bound on the integral over [0, now()] of the 1-norm error of the distribution:
    // the error of integral(r) is at most this times max |r|.
    double integralBound() const { return intBound_; }
    // Matrix-vector products (uniformization steps) or linear solves so far.
    virtual std::uint64_t steps() const = 0;
    virtual bool steadyStateDetected() const { return false; }
    virtual double steadyTime() const { return 0.0; }
    // True when the bounds are proven, false when they are estimates.
    virtual bool boundProven() const = 0;
    // The method's name and figures, printed with every value.
    virtual std::string describe() const = 0;

protected:
    // Takes the solution, its integrals, time and bounds from another method
    // that this one hands the work to.
    void copySolution(const TransientMethod& from) {
        x_ = from.x_;
        integrals_ = from.integrals_;
        now_ = from.now_;
        distBound_ = from.distBound_;
        intBound_ = from.intBound_;
    }

    std::vector<double> x_;         // the distribution at now_
    std::vector<double> integrals_; // per integrand, its integral over [0, now_]
    double now_ = 0.0;
    double distBound_ = 0.0;
    double intBound_ = 0.0;
};

// The uniformization rate of a matrix: a little above its largest exit rate.
double uniformizationRate(const RateMatrix& m);
// The same for a chain whose largest exit rate is maxExit.
double uniformizationRate(double maxExit);

// Whether options (Auto: by the rule on q t) pick extrapolation for time points up to lastTime.
bool chooseExtrapolation(const RateMatrix& m, double lastTime, const TransientOptions& options);
// Whether the extrapolation chosen solves its sub-steps iteratively (Iterative, or
// Auto on a chain of more than extrapolateStates states).
bool chooseIterativeSolves(const RateMatrix& m, const TransientOptions& options);

class TransientSolver : public TransientMethod {
public:
    // integrands: reward vectors whose integral over time is wanted (not owned:
    // they outlive the solver). limits may be null (no steady-state detection).
    TransientSolver(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                    LimitSource* limits, const TransientOptions& options);
    // The same over `steps` (not owned: they outlive the solver), which may hold
    // part of the chain: the distribution and the integrands are then the
    // process's slices.
    TransientSolver(UniformizedSteps& steps, std::vector<const std::vector<double>*> integrands,
                    LimitSource* limits, const TransientOptions& options);
    TransientSolver(const TransientSolver&) = delete;
    TransientSolver& operator=(const TransientSolver&) = delete;

    // Moves the solution from the current time to t >= now(). Throws SolveError
    // when more than maxSteps steps would be needed.
    void advanceTo(double t) override;
    double rate() const { return q_; }
    std::uint64_t steps() const override { return steps_; }
    bool steadyStateDetected() const override { return steady_; }
    // The time at which the limit was reached (when steadyStateDetected()).
    double steadyTime() const override { return steadyTime_; }
    bool boundProven() const override { return true; }
    std::string describe() const override;

private:
    // The solution at time 0: the chain in state 1.
    void start();
    // v_ = v_ P, and acc += w v_ (the new v_) when acc is not null.
    void step(double w, double* acc);
    double dot(const std::vector<double>& a, std::size_t r) const;
    // When v_ lies within epsilon / 16 of the computed limit (1-norm), or within
    // `within` where that is larger and the distance has stopped shrinking (it
    // has not halved over the last kStalledChecks checks): that distance plus the
    // limit's own error estimate. Otherwise, or when the limit is not (yet)
    // usable, a negative value.
    double distanceToLimit(std::uint64_t k, std::uint64_t remaining, double within = 0.0);

    std::unique_ptr<UniformizedSteps> owned_; // the steps when built from a matrix, else null
    UniformizedSteps& chain_;                 // the steps taken (owned_ or not owned)
    std::vector<const std::vector<double>*> integrands_;
    LimitSource* limits_;
    const Limit* limit_ = nullptr;
    // The distance to the limit at the last time it halved, and the checks since.
    static constexpr std::uint32_t kStalledChecks = 64;
    double halvedDistance_ = std::numeric_limits<double>::infinity();
    std::uint32_t checksSinceHalved_ = 0;
    TransientOptions options_;
    double q_ = 0.0;     // uniformization rate
    double total_ = 1.0; // sum of v_'s entries, divided out by the next step
    std::vector<double> v_, y_;
    std::uint64_t steps_ = 0;
    bool steady_ = false;
    double steadyTime_ = 0.0;
};

} // namespace gensolver
