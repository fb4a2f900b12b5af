#pragma once
// The embedded chain of a Markov regenerative process at its regeneration points
// (entries into states without a deterministic delay, fresh starts of a delay's
// clock), applied to vectors without forming its matrix. From a state listed
// under delay d the process runs the chain subordinated to that delay, the
// exponential rates among the states of d's list, for at most d: each product
// takes exp(Q_d d) and its integral over [0, d] by uniformization over that
// chain alone, with the Poisson weights of q_d d. The long-run solution runs
// power iterations of the lazy embedded chain on the closed class reached from
// state 1 and converts the regeneration frequencies into fractions of time.

#include "methods/PoissonWeights.h"
#include "methods/RegenerativeModel.h"

#include <cstdint>
#include <vector>

namespace gensolver {

// What one product of the embedded chain gives.
struct EmbeddedStep {
    std::vector<double> next;    // the distribution at the next regeneration point
    std::vector<double> sojourn; // per state, the expected time spent there before it
    std::vector<double> fired;   // per state, the expected deterministic firings from it
};

class EmbeddedChain {
public:
    // `m` is not owned and outlives the chain; epsilon bounds each uniformization's
    // truncation error. Throws SolveError naming the delay when one run over its
    // list would take more than maxSteps uniformization steps.
    EmbeddedChain(const RegenerativeModel& m, double epsilon, std::uint64_t maxSteps);
    EmbeddedChain(const EmbeddedChain&) = delete;
    EmbeddedChain& operator=(const EmbeddedChain&) = delete;

    // One step from the regeneration distribution nu (the outputs are resized).
    void apply(const std::vector<double>& nu, EmbeddedStep& out);
    // Bound on the 1-norm truncation error of one step per unit mass.
    double stepBound() const { return stepBound_; }
    // Bound on the 1-norm rounding error of one step per unit mass (the
    // expiry's and the exits' share of it).
    double stepRounding() const { return stepRounding_; }
    // Uniformization steps taken over all products.
    std::uint64_t steps() const { return steps_; }

    // The step from a fresh clock in listed state i alone, over the states of its
    // delay's list (listOf(i), in that order): per state, the probability that the
    // clock expires there (expired) and the expected time spent there (occupied).
    // Costs the uniformization steps of one delay over the list only.
    void fromListed(std::uint32_t i, std::vector<double>& expired, std::vector<double>& occupied);
    const std::vector<std::uint32_t>& listOf(std::uint32_t i) const;
    // Bounds, per unit mass, on the 1-norm errors of one step's expiry
    // probabilities and expected times (the latter in units of time): the
    // truncation of the weights and the rounding.
    double expiryBound() const { return expiryBound_; }
    double occupancyBound() const { return occupancyBound_; }
    // Uniformization steps one step from any state of group g's list takes.
    std::uint64_t stepsPerRun(std::uint32_t g) const;

private:
    // The chain subordinated to one delay: its states and uniformization.
    struct Subordinated {
        double delay = 0.0;
        double rate = 0.0;                 // uniformization rate q_d, 0 when nothing leaves
        std::vector<std::uint32_t> states; // the states of the delay's list
        PoissonWeights weights;            // of q_d * delay
        // P(N > k) / q_d for left <= k <= right, at k - left; below left it is 1 / q_d.
        std::vector<double> tailOverRate;
        double overRate(std::uint64_t k) const {
            return k < weights.left ? (rate > 0.0 ? 1.0 / rate : 0.0)
                                    : tailOverRate[k - weights.left];
        }
    };
    void runSubordinated(const Subordinated& s, std::uint32_t g, const std::vector<double>& nu,
                         EmbeddedStep& out);
    // From the list's distribution in v_, the expiry probabilities into y_ and the
    // expected times into z_ (v_ and w_ are overwritten).
    void propagate(const Subordinated& s, std::uint32_t g);

    const RegenerativeModel& m_;
    std::vector<Subordinated> subordinated_; // one per delay group
    std::vector<std::uint32_t> local_;       // per state, its index in its delay's list
    std::vector<double> v_, w_, y_, z_;      // scratch of the largest list's size
    double stepBound_ = 0.0;
    double expiryBound_ = 0.0;
    double occupancyBound_ = 0.0;
    double expiryRounding_ = 0.0;
    double occupancyRounding_ = 0.0;
    double stepRounding_ = 0.0;
    std::uint64_t steps_ = 0;
};

// The long-run behaviour from state 1.
struct RegenerativeLimit {
    std::vector<double> time;       // per state, the long-run fraction of time spent there
    std::vector<double> firingRate; // per state, deterministic firings per unit time
    std::uint32_t classStates = 0;  // states of the closed class reached
    std::uint64_t sweeps = 0;       // power iterations of the embedded chain
    bool direct = false;            // the embedded chain was formed and solved directly
    std::uint64_t steps = 0;        // uniformization steps over all of them
    double errorEstimate = 0.0;     // estimated 1-norm error of the regeneration distribution
    bool converged = true;
};

// Classes of up to this many states whose power iterations have not converged
// after max(1000, states) sweeps are solved directly: their embedded chain is
// formed, a product per state, and its stationary distribution found by
// elimination without subtraction.
constexpr std::uint32_t kDirectRegenerationLimit = 500;

// Throws SolveError when more than one closed class is reachable from state 1 (the
// probability of ending in each is not computed here), or when a delay's run would
// take more than maxSteps uniformization steps.
RegenerativeLimit solveRegenerativeLimit(const RegenerativeModel& m, double tolerance,
                                         std::uint64_t maxSweeps, std::uint64_t maxSteps);

} // namespace gensolver
