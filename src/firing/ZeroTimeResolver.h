#pragma once
// ZeroTimeResolver: follows the instantaneous firings from the state a timed
// firing reached down to stable states (no instantaneous action enabled).
// Where several instantaneous actions are enabled, those of the highest rank
// fire, each from the same state, and split the probability among them; the
// rate of the timed firing times the probability of the path is handed to a
// sink with the stable state. A chain longer than MaxDepth firings ends the
// run: the model is taken to loop without time passing.
//
// The split is a policy: StableStates shares by weight (the exploration of
// exponential and Erlang actions), DeterministicStates by the actions' group
// probabilities (the exploration with deterministic actions, whose negative
// rates are shares of a deterministic firing). A sink is any object with
// `void reached(const char* state, double rate)`; it is called inline, with no
// virtual call per transition.

#include "actions/BaseActionClass.h"
#include "actions/BaseGroupClass.h"
#include "firing/ActionTable.h"
#include "firing/Firing.h"

#include <cstddef>
#include <cstdint>
#include <memory>

// The split of the exploration of exponential and Erlang actions.
struct StableStates {
    static constexpr const char* LimitMessage =
        "Error:  Maximum number of zero time transition recursive firings exceeded";
    static constexpr const char* LimitEnd = ")\nPossible undetermined model.";
    // Only positive rates reach a sink.
    static bool counts(double rate) { return rate > 0; }
    // The probability after the only enabled action fires.
    static double only(const ActionTable&, BaseActionClass*, double probability) {
        return probability;
    }
    static constexpr bool Weighted = true; // shares are weight / total weight
    static double share(const ActionTable&, BaseActionClass* action, double total) {
        return action->Weight() / total;
    }
};

// The split of the exploration with deterministic actions.
struct DeterministicStates {
    static constexpr const char* LimitMessage =
        "Error:  Maximum number of zero time transition firings exceeded";
    static constexpr const char* LimitEnd = ")\nPossible undetermined model";
    // Negative rates are the deterministic transitions: only 0 is dropped.
    static bool counts(double rate) { return rate != 0; }
    static double only(const ActionTable& actions, BaseActionClass* action, double probability) {
        return actions.groupOf(action)->Probability(action) * probability;
    }
    static constexpr bool Weighted = false; // shares are the group probabilities
    static double share(const ActionTable& actions, BaseActionClass* action, double) {
        return actions.groupOf(action)->Probability(action);
    }
};

class ZeroTimeResolver {
public:
    // Longest chain of successive zero-time firings that may end in a stable state.
    static constexpr short MaxDepth = 23;

    // `firing` is not owned; it outlives the resolver.
    ZeroTimeResolver(Firing& firing, std::uint32_t stateSize);
    ZeroTimeResolver(const ZeroTimeResolver&) = delete;
    ZeroTimeResolver& operator=(const ZeroTimeResolver&) = delete;
    ZeroTimeResolver(ZeroTimeResolver&&) = delete;
    ZeroTimeResolver& operator=(ZeroTimeResolver&&) = delete;

    // Resolves the state that the model holds, which the firing wrote into its
    // target, reached with `probability` by a timed firing of rate
    // firing.rate(). The model's state afterwards is unspecified.
    template <class Policy, class Sink> void resolve(double probability, Sink& sink) {
        Depth = 0;
        step<Policy>(probability, sink);
    }

private:
    template <class Policy, class Sink> void step(double probability, Sink& sink);
    // Fires `action`, then resolves what it reached one level deeper.
    template <class Policy, class Sink>
    void descend(BaseActionClass* action, double probability, Sink& sink) {
        if (Fire.traces(1))
            Fire.trace()->printFireAction(action, 0.0);
        Fire.fire(action, probability);
        ++Depth;
        step<Policy>(probability, sink);
        --Depth;
    }
    // Ends the run (status 1) with the policy's message.
    [[noreturn]] static void depthExceeded(const char* message, const char* end);

    Firing& Fire;                  // not owned
    const ActionTable& Actions;    // not owned; Fire's table
    std::uint32_t StateSize;       // bytes of one state vector
    std::unique_ptr<char[]> Saved; // owned; per depth, the state the branches fire from
    std::unique_ptr<BaseActionClass*[]> Enabled; // owned; per depth, the enabled actions
    short Depth = 0;                             // instantaneous firings on the present path
};

template <class Policy, class Sink> void ZeroTimeResolver::step(double probability, Sink& sink) {
    if (Depth > MaxDepth)
        depthExceeded(Policy::LimitMessage, Policy::LimitEnd);
    // The model holds the state that it last wrote into the target; writing it
    // out and loading it back would leave it unchanged, so that round trip is
    // not made.
    std::uint32_t numInstant = Actions.numInstant();
    BaseActionClass* const* instant = Actions.instant();
    BaseActionClass** enabled = Enabled.get() + static_cast<std::size_t>(Depth) * numInstant;
    std::uint32_t numEnabled = 0;
    for (std::uint32_t i = 0; i < numInstant; ++i) {
        if (instant[i]->Enabled())
            enabled[numEnabled++] = instant[i];
    }

    if (numEnabled == 0) {
        double rate = probability * Fire.rate();
        if (Fire.traces(4))
            Fire.trace()->printf(4, "The rate to this state: %f", rate);
        if (Policy::counts(rate))
            sink.reached(Fire.target(), rate);
        return;
    }
    if (numEnabled == 1) {
        descend<Policy>(enabled[0], Policy::only(Actions, enabled[0], probability), sink);
        return;
    }

    int maxRank = 0;
    for (std::uint32_t i = 0; i < numEnabled; ++i) {
        int rank = enabled[i]->Rank();
        if (rank > maxRank)
            maxRank = rank;
    }
    // Keep the actions of the highest rank, in order, in the front of the list.
    std::uint32_t numSelected = 0;
    double total = 0.0;
    for (std::uint32_t i = 0; i < numEnabled; ++i) {
        if (enabled[i]->Rank() == maxRank) {
            enabled[numSelected++] = enabled[i];
            if constexpr (Policy::Weighted)
                total += enabled[i]->Weight();
        }
    }
    char* saved = Saved.get() + static_cast<std::size_t>(Depth) * StateSize;
    Fire.store(saved);
    for (std::uint32_t i = 0; i < numSelected; ++i) {
        BaseActionClass* action = enabled[i];
        double share = Policy::share(Actions, action, total);
        descend<Policy>(action, share * probability, sink);
        Fire.load(saved);
    }
}
