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
//
// After a firing only the activities that the fired ones can affect are looked
// at again: those whose enabling places (the model's declared arcs) the fired
// actions change, the fired activity itself, and those that must be asked after
// every firing (a reactivation function, a group share, no declared enabling
// place). The pending completions live in an EventList. Model code that reads
// places it does not declare would make this miss changes: probeDependencies()
// watches a trial path with a full check after every firing and, on a miss,
// makes every firing look at every activity; the run itself repeats the full
// check every AuditInterval firings and stops with an error on a miss.

#include "EventList.h"
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
    // span(from, to, path) over which the marking is constant (path.rates()
    // gives the variables' rate rewards there, evaluated on demand);
    // [from, to); impulse(time, variable, value) after each firing.
    template <class Observer>
    void runUntil(double horizon, std::uint64_t maxEvents, Observer& observer);

    // Runs until a timed firing, with the zero-time firings after it, brings
    // the model back into its initial state (true), or until `maxEvents`
    // timed firings or the end of the path (false). Observer as for runUntil.
    template <class Observer> bool runCycle(std::uint64_t maxEvents, Observer& observer);
    // Why returns to the initial state cannot serve as regeneration points,
    // or empty: they can when no instantaneous activity and no timed activity
    // other than an exponential one is enabled in the initial state, so that
    // nothing about the past is remembered there.
    std::string regenerationProblem();

    // Multiplies the rate of each named exponential activity by its factor
    // while biasing is on; returns the fault (an unknown, non-exponential or
    // twice-named activity, a factor that is not positive and finite) or empty.
    std::string setBias(const std::vector<std::pair<std::string, double>>& factors);
    // Balanced failure biasing: in every marking where one of the named
    // exponential activities (the failures) is enabled with a positive rate,
    // each of them is drawn at an equal part of `share` times the total rate
    // of the enabled exponential activities, and the others at their part of
    // the rest in proportion to their rates (the failures take the whole total
    // where nothing else is enabled); the total, and so the time to the next
    // exponential completion, keeps its law. Returns the fault (an unknown,
    // non-exponential or twice-named activity, a share outside (0, 1), biasing
    // by factors set too) or empty.
    std::string setBalanced(const std::vector<std::string>& failures, double share);
    // Turns the biasing set by setBias or setBalanced on or off; it takes effect at start().
    void useBias(bool on) { Biasing = on; }
    // The likelihood ratio of the path so far: 1 without biasing.
    double likelihood() const { return std::exp(LogLikelihood); }

    // Runs trial paths from the initial state to `horizon` (or for `events`
    // firings when it is infinite), checking after every firing that each
    // activity looked at no further has kept its enabling and rate; returns
    // false, and looks at every activity after every firing from then on,
    // when one has not. Draws from `generator` (not owned).
    bool probeDependencies(RandomNumberGenerator* generator, double horizon, std::uint64_t events);
    // True when every firing looks at every activity.
    bool scansAll() const { return ScanAll; }
    // Makes every firing look at every activity (false), or only at those the
    // declared dependencies name where the model declares them (true), whatever
    // the model's size; the tests compare the two.
    void followDependencies(bool on) { ScanAll = !on || Untrusted; }

    double now() const { return Now; }
    std::uint64_t events() const { return Events; }
    // Each timed activity's enablings (completion times drawn while none was
    // pending) and completions are counted from here on.
    void clearCounts();
    // The timed activities enabled since clearCounts that never completed, in
    // the model's order: a run too short to show what they do.
    std::vector<std::string> neverCompleted() const;
    // The rate reward of every variable in the present marking, evaluated at
    // the first call after a firing.
    const double* rates() {
        if (!RatesValid)
            updateRates();
        return Rates.data();
    }
    // True when the marking enables no activity: the path has ended there.
    bool ended() const { return Pending.empty(); }

private:
    static constexpr double Never = std::numeric_limits<double>::infinity();
    // Consecutive completions at one instant taken as a model that never lets time pass.
    static constexpr std::uint64_t MaxEventsAtOneTime = 1000000;

    // Timed activities up to which every firing looks at every activity.
    static constexpr std::uint32_t FewActivities = 4;
    // Full checks of the dependencies made by the run: one in this many firings.
    static constexpr std::uint64_t AuditInterval = 64;

    template <class Observer> void fireAction(std::uint32_t index, Observer& observer);
    template <class Observer> void resolve(Observer& observer);
    // Marks the timed activities that a firing of action `index` (timed
    // first, then instantaneous) can affect, and says whether it can enable an
    // instantaneous activity.
    void touch(std::uint32_t index);
    // Looks again at the marked activities (every one with ScanAll or `all`),
    // in index order.
    void reschedule(bool all = false);
    // Adds exponential activity i to Watched, or takes it out.
    void watch(std::uint32_t i);
    void unwatch(std::uint32_t i);
    // Marks every watched activity whose rate differs from the one it was
    // drawn at: a rate may read places that no declaration names.
    void markChangedRates();
    // Looks again at timed activity i: its enabling, rate and completion.
    void revisit(std::uint32_t i, bool biasing);
    // Looks again at every timed activity under balanced failure biasing.
    void rescheduleBalanced();
    // Exponential activity i, enabled with `rate`, drawn at rate * factor: a
    // new draw when nothing is pending or the drawn rate changes.
    void schedule(std::uint32_t i, double rate, double factor);
    // Timed activity i, enabled and not exponential: a draw when nothing is
    // pending or its reactivation function asks for one.
    void scheduleOther(std::uint32_t i);
    // The rate of exponential activity i, refused when negative or not finite.
    double checkedRate(std::uint32_t i) const;
    // The first timed activity whose enabling or rate differs from what the
    // event list holds, or -1; an enabled instantaneous activity counts too
    // (numTimed() + its index).
    std::int64_t stale();
    // Throws when stale() finds an activity that the last firing changed unseen.
    void audit();
    void buildDependencies();
    void updateRates();
    double draw(std::uint32_t i);
    // Lists the enabled instantaneous activities of the highest rank in Choice;
    // returns their number.
    std::size_t enabledInstants();
    // Picks one of the numEnabled activities in Choice by weight.
    std::uint32_t chooseInstant(std::size_t numEnabled);
    // The impulse of variable p on the firing of `action`.
    double impulse(int p, BaseActionClass* action);
    // Throws the fault that model code of action `index` (timed first, then
    // instantaneous) raised, as one line that names the activity.
    [[noreturn]] void modelFault(std::uint32_t index, const char* what) const;
    // Throws the fault that the code of reward variable p raised, naming it.
    [[noreturn]] void rewardFault(int p, const char* what) const;
    // The rate of exponential activity i: its rate times its group's share.
    double exponentialRate(std::uint32_t i) const;

    PVModel* Model;                         // not owned
    const ActionTable& Actions;             // not owned
    RandomNumberGenerator* Uniform;         // not owned; the present replication's stream
    std::vector<char> Initial;              // the initial state vector
    std::vector<char> StateNow;             // scratch: the present state vector
    EventList Pending;                      // per timed activity: completion time, or Never
    std::vector<std::uint32_t> DependStart; // per action: start of its entries in Depends
    std::vector<std::uint32_t> Depends;     // timed activities a firing can affect, sorted
    std::vector<char> CanEnableInstant;     // per action: a firing can enable an instant one
    std::vector<std::uint32_t> Always;      // timed activities looked at after every firing
    std::vector<char> Marked;               // per timed activity: to be looked at again
    std::vector<std::uint32_t> MarkedList;  // the marked activities; capacity numTimed
    bool MarkedSorted = true;               // MarkedList is in index order
    bool InstantPossible = false;           // a fired action can have enabled an instant one
    bool ScanAll = false;                   // every firing looks at every activity
    bool Untrusted = false;      // an action declares no changed place, or a reader is unknown
    bool Auditing = false;       // every firing is checked in full (probe)
    bool ProbeFailed = false;    // the probe found an undeclared dependency
    std::uint32_t LastFired = 0; // action index of the last firing (for messages)
    std::vector<std::uint32_t> BiasedList; // timed activities whose factor differs from 1
    std::vector<double> ExcessOf;          // per timed activity: its true - biased rate now
    std::vector<double> Factor;            // per timed activity: biased over true rate now
    std::vector<double> DrawnRate;         // per exponential activity: the rate of its draw
    std::vector<char> Failure;             // per timed activity: named by setBalanced
    std::vector<double> RateNow;           // scratch of rescheduleBalanced: rate, or < 0
    std::vector<std::int64_t> WatchSlot;   // per timed activity: its place in Watched, or -1
    std::vector<std::uint32_t> Watched;    // the enabled exponential activities; capacity numTimed
    double BalancedShare = 0.0;            // the failures' share; 0: no balanced biasing
    std::vector<double> LastRate;      // per exponential activity: its true rate at the last look
    std::vector<char> IsExponential;   // per timed activity
    std::vector<char> InGroup;         // per timed activity: its group has other members
    std::vector<std::uint32_t> Choice; // scratch: the enabled instantaneous actions
    std::vector<double> Rates;         // per variable: its rate reward now
    bool RatesValid = false;           // Rates holds the present marking's rewards
    std::vector<int> ImpulseNodes;     // the variables that have impulses
    std::vector<double> Bias;          // per timed activity: its rate factor (1: unbiased)
    bool Biasing = false;              // Bias applies to the present path
    bool Biased = false;               // some factor differs from 1
    double Excess = 0.0;               // sum over enabled activities of true - biased rate
    double LogLikelihood = 0.0;        // log of the path's likelihood ratio
    double Now = 0.0;                  // the present time
    std::uint64_t Events = 0;          // timed firings since the trajectory was built
    std::uint64_t SameTime = 0;        // consecutive completions at the present time
    std::vector<std::uint64_t> Enablings;   // per timed activity, since clearCounts
    std::vector<std::uint64_t> Completions; // per timed activity, since clearCounts
};

template <class Observer> void Trajectory::fireAction(std::uint32_t index, Observer& observer) {
    std::uint32_t numTimed = Actions.numTimed();
    BaseActionClass* action =
        index < numTimed ? Actions.timed()[index] : Actions.instant()[index - numTimed];
    try {
        action->Fire();
    } catch (const SimulationError&) {
        throw;
    } catch (const std::exception& e) {
        modelFault(index, e.what());
    }
    Model->LastAction = action;
    LastFired = index;
    touch(index);
    for (int p : ImpulseNodes) {
        double value = impulse(p, action);
        if (value != 0.0)
            observer.impulse(Now, p, value);
    }
}

template <class Observer> void Trajectory::resolve(Observer& observer) {
    for (int depth = 0; InstantPossible || ScanAll; ++depth) {
        std::size_t numEnabled = enabledInstants();
        InstantPossible = false;
        if (numEnabled == 0)
            return;
        if (depth > 23)
            throw SimulationError("more than 23 successive zero-time firings (last: " +
                                  std::string(Actions.instant()[Choice[0]]->Name) +
                                  "): the model loops without time passing");
        fireAction(Actions.numTimed() + chooseInstant(numEnabled), observer);
        // The next round scans again: one zero-time firing may enable another.
        InstantPossible = true;
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
    Pending.clear();
    for (std::uint32_t i : Watched)
        WatchSlot[i] = -1;
    Watched.clear();
    std::fill(ExcessOf.begin(), ExcessOf.end(), 0.0);
    InstantPossible = true;
    resolve(observer);
    RatesValid = false;
    // Every activity is looked at in the initial marking.
    reschedule(true);
}

template <class Observer>
void Trajectory::runUntil(double horizon, std::uint64_t maxEvents, Observer& observer) {
    BaseActionClass* const* timed = Actions.timed();
    for (std::uint64_t n = 0; n < maxEvents; ++n) {
        std::uint32_t next = Pending.first();
        double when = next == EventList::None ? Never : Pending.at(next);
        if (when > horizon || when == Never) {
            // Nothing completes by the horizon; with no horizon and nothing
            // enabled the path has ended.
            if (horizon != Never) {
                observer.span(Now, horizon, *this);
                LogLikelihood -= Excess * (horizon - Now);
                Now = horizon;
            }
            return;
        }
        observer.span(Now, when, *this);
        // Survival of the biased activities over the span, and the density
        // ratio of the one that fires: true rate over biased rate.
        LogLikelihood -= Excess * (when - Now);
        if (Factor[next] != 1.0)
            LogLikelihood -= std::log(Factor[next]);
        SameTime = when == Now ? SameTime + 1 : 0;
        if (SameTime > MaxEventsAtOneTime)
            throw SimulationError("more than a million completions at time " + std::to_string(Now) +
                                  " (last: " + timed[next]->Name +
                                  "): the model loops without time passing");
        Now = when;
        Pending.set(next, Never);
        ++Events;
        ++Completions[next];
        fireAction(next, observer);
        resolve(observer);
        RatesValid = false;
        reschedule();
        if (Auditing || Events % AuditInterval == 0)
            audit();
    }
}

template <class Observer> bool Trajectory::runCycle(std::uint64_t maxEvents, Observer& observer) {
    for (std::uint64_t n = 0; n < maxEvents; ++n) {
        std::uint64_t before = Events;
        runUntil(Never, 1, observer);
        if (Events == before)
            return false;
        Model->CurrentState(StateNow.data());
        if (StateNow == Initial)
            return true;
    }
    return false;
}
