#pragma once
// Trajectory: one sample path of a model. Every enabled timed activity holds a
// completion time drawn from its delay distribution when it becomes enabled
// (activation); it loses it when disabled and draws again when its reactivation
// function says so; the earliest completes, fires, and the instantaneous
// activities it enables fire in zero time (the highest rank, chosen by weight)
// until the marking is stable. Exponential delays are drawn at the activity's
// rate times its group's share, and again whenever that rate changes, which
// memorylessness makes exact. An observer sees the spans of time over which the
// marking is constant and the impulses of every firing. Exponential activities
// may be biased (drawn at a multiple of their rate); the path then carries its
// likelihood ratio, the true density of its firings over the biased one.

#include "distributions/RandomNumberGenerator.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// A fault found while simulating (a zero-time loop, a bad delay or weight).
class SimulationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Trajectory {
public:
    // `model` and `actions` are not owned and outlive the trajectory; the
    // model's present state is taken as the initial state.
    Trajectory(PVModel* model, const ActionTable& actions);
    // Puts the model back into the initial state, as it was found.
    ~Trajectory();
    Trajectory(const Trajectory&) = delete;
    Trajectory& operator=(const Trajectory&) = delete;

    // Why the model cannot be simulated, or empty when it can.
    std::string problem() const;

    // Back to the initial state at time 0, drawing from `generator` (not owned;
    // it must outlive every later call). The zero-time firings out of the
    // initial marking are shown to the observer at time 0.
    template <class Observer> void start(RandomNumberGenerator* generator, Observer& observer);
    // Runs until the next completion lies beyond `horizon` (the path then
    // stands at the horizon) or `maxEvents` timed firings are made. Observer:
    // span(from, to, rates) with the considered variables' rate rewards over
    // [from, to); impulse(time, variable, value) after each firing.
    template <class Observer>
    void runUntil(double horizon, std::uint64_t maxEvents, Observer& observer);

    // Multiplies the rate of each named exponential activity by its factor
    // while biasing is on; returns the fault (an unknown, non-exponential or
    // twice-named activity, a factor that is not positive and finite) or empty.
    std::string setBias(const std::vector<std::pair<std::string, double>>& factors);
    // Turns the biasing set by setBias on or off; it takes effect at start().
    void useBias(bool on) { Biasing = on; }
    // The likelihood ratio of the path so far: 1 without biasing.
    double likelihood() const { return std::exp(LogLikelihood); }

    double now() const { return Now; }
    std::uint64_t events() const { return Events; }
    // The rate reward of every variable in the present marking.
    const double* rates() const { return Rates.data(); }

private:
    static constexpr double Never = std::numeric_limits<double>::infinity();
    // Consecutive completions at one instant taken as a model that never lets time pass.
    static constexpr std::uint64_t MaxEventsAtOneTime = 1000000;

    template <class Observer> void fireAction(BaseActionClass* action, Observer& observer);
    template <class Observer> void resolve(Observer& observer);
    void reschedule();
    void updateRates();
    double draw(std::uint32_t i);
    // The rate of exponential activity i: its rate times its group's share.
    double exponentialRate(std::uint32_t i) const;

    PVModel* Model;                       // not owned
    const ActionTable& Actions;           // not owned
    RandomNumberGenerator* Uniform;       // not owned; the present replication's stream
    std::vector<char> Initial;            // the initial state vector
    std::vector<double> Completion;       // per timed activity: completion time, or Never
    std::vector<double> LastRate;         // per exponential activity: the rate drawn at
    std::vector<char> IsExponential;      // per timed activity
    std::vector<char> InGroup;            // per timed activity: its group has other members
    std::vector<BaseActionClass*> Choice; // scratch: the enabled instantaneous actions
    std::vector<double> Rates;            // per variable: its rate reward now
    std::vector<int> ImpulseNodes;        // the variables that have impulses
    std::vector<double> Bias;             // per timed activity: its rate factor (1: unbiased)
    bool Biasing = false;                 // Bias applies to the present path
    bool Biased = false;                  // some factor differs from 1
    double Excess = 0.0;                  // sum over enabled activities of true - biased rate
    double LogLikelihood = 0.0;           // log of the path's likelihood ratio
    double Now = 0.0;                     // the present time
    std::uint64_t Events = 0;             // timed firings since the trajectory was built
    std::uint64_t SameTime = 0;           // consecutive completions at the present time
};

template <class Observer> void Trajectory::fireAction(BaseActionClass* action, Observer& observer) {
    action->Fire();
    Model->LastAction = action;
    for (int p : ImpulseNodes) {
        double value = Model->PVList[p]->FiringImpulse(action);
        if (value != 0.0)
            observer.impulse(Now, p, value);
    }
}

template <class Observer> void Trajectory::resolve(Observer& observer) {
    std::uint32_t numInstant = Actions.numInstant();
    BaseActionClass* const* instant = Actions.instant();
    for (int depth = 0;; ++depth) {
        std::size_t numEnabled = 0;
        int maxRank = 0;
        for (std::uint32_t i = 0; i < numInstant; ++i) {
            if (!instant[i]->Enabled())
                continue;
            int rank = instant[i]->Rank();
            if (numEnabled == 0 || rank > maxRank) {
                maxRank = rank;
                numEnabled = 0;
            } else if (rank < maxRank) {
                continue;
            }
            Choice[numEnabled++] = instant[i];
        }
        if (numEnabled == 0)
            return;
        if (depth > 23)
            throw SimulationError(
                "more than 23 successive zero-time firings (last: " + std::string(Choice[0]->Name) +
                "): the model loops without "
                "time passing");
        BaseActionClass* chosen = Choice[0];
        if (numEnabled > 1) {
            double total = 0.0;
            for (std::size_t i = 0; i < numEnabled; ++i)
                total += Choice[i]->Weight();
            if (!(total > 0.0) || !std::isfinite(total))
                throw SimulationError("instantaneous activity " + std::string(Choice[0]->Name) +
                                      " and others of its rank are enabled with total weight " +
                                      std::to_string(total));
            double target = total * Uniform->rnd();
            double sum = 0.0;
            chosen = Choice[numEnabled - 1];
            for (std::size_t i = 0; i < numEnabled; ++i) {
                sum += Choice[i]->Weight();
                if (target < sum) {
                    chosen = Choice[i];
                    break;
                }
            }
        }
        fireAction(chosen, observer);
    }
}

template <class Observer>
void Trajectory::start(RandomNumberGenerator* generator, Observer& observer) {
    Uniform = generator;
    Model->SetState(Initial.data());
    Model->LastAction = &Model->NoActionFiredYet;
    Now = 0.0;
    SameTime = 0;
    Excess = 0.0;
    LogLikelihood = 0.0;
    for (double& c : Completion)
        c = Never;
    resolve(observer);
    updateRates();
    reschedule();
}

template <class Observer>
void Trajectory::runUntil(double horizon, std::uint64_t maxEvents, Observer& observer) {
    std::uint32_t numTimed = Actions.numTimed();
    BaseActionClass* const* timed = Actions.timed();
    for (std::uint64_t n = 0; n < maxEvents; ++n) {
        std::uint32_t next = 0;
        double when = Never;
        for (std::uint32_t i = 0; i < numTimed; ++i) {
            if (Completion[i] < when) {
                when = Completion[i];
                next = i;
            }
        }
        if (when > horizon || when == Never) {
            // Nothing completes by the horizon; with no horizon and nothing
            // enabled the path has ended.
            if (horizon != Never) {
                observer.span(Now, horizon, Rates.data());
                LogLikelihood -= Excess * (horizon - Now);
                Now = horizon;
            }
            return;
        }
        observer.span(Now, when, Rates.data());
        // Survival of the biased activities over the span, and the density
        // ratio of the one that fires: true rate over biased rate.
        LogLikelihood -= Excess * (when - Now);
        if (Bias[next] != 1.0 && Biasing)
            LogLikelihood -= std::log(Bias[next]);
        SameTime = when == Now ? SameTime + 1 : 0;
        if (SameTime > MaxEventsAtOneTime)
            throw SimulationError("more than a million completions at time " + std::to_string(Now) +
                                  " (last: " + timed[next]->Name +
                                  "): the model loops without time passing");
        Now = when;
        Completion[next] = Never;
        ++Events;
        fireAction(timed[next], observer);
        resolve(observer);
        updateRates();
        reschedule();
    }
}
