#pragma once
// Firing: the model's firing semantics on state vectors, without the files or
// the exploration. It moves states in and out of the model (through the
// model's cell map when that does what the model's SetState and CurrentState
// do), fires one action as the model's FireAction does (Erlang actions below
// their last phase only age), and leaves the reached state in a target vector.
// Rewards are computed after every firing only when they are eager (models
// with phase actions); otherwise the caller computes them for new states. In a
// model with impulse rewards, every firing adds its impulses, weighted, to the
// explored state's impulse rates (see ImpulseTally).

#include "actions/BaseActionClass.h"
#include "actions/BaseGroupClass.h"
#include "firing/ActionTable.h"
#include "firing/ImpulseTally.h"
#include "models/StateMap.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"
#include "trace/TraceFileContainer.h"

#include <cstdint>
#include <memory>

class Firing {
public:
    // `model` and `actions` are not owned: they outlive the firing. The target
    // starts as an own buffer of `stateSize` bytes.
    Firing(PVModel* model, const ActionTable& actions, std::uint32_t stateSize);
    Firing(const Firing&) = delete;
    Firing& operator=(const Firing&) = delete;
    Firing(Firing&&) = delete;
    Firing& operator=(Firing&&) = delete;

    // Traces firings to `trace` (not owned; null for none) up to the level
    // that `level` holds when a firing is traced (not owned: the caller's
    // setting, which outlives the firing).
    void setTrace(TraceFileContainer* trace, const int* level) {
        Trace = trace;
        TraceLevel = level;
    }
    bool traces(int level) const { return Trace != nullptr && *TraceLevel >= level; }
    TraceFileContainer* trace() const { return Trace; }

    // Loads the model from a state vector / writes the model's state into one.
    void load(const char* state) {
        if (MapUsable)
            CellMap.restore(state);
        else
            Model->SetState(const_cast<char*>(state));
    }
    void store(char* state) {
        if (MapUsable)
            CellMap.save(state);
        else
            Model->CurrentState(state);
    }

    // Fires the timed `action` from the state the model holds, whose vector is
    // `state`: an Erlang action below its last phase ages (with its group) and
    // the model stays; any other firing resets the phases of the Erlang actions
    // it disables. Sets rate() and leaves the reached state in target().
    void fireAction(BaseActionClass* action, char* state);
    // Fires `action` (an instantaneous action, or a timed one whose rate the
    // caller has set) and writes the reached state into target(). `probability`
    // is that of the zero-time path up to and including this firing (1 for the
    // timed firing): its impulses are tallied at rate() times it.
    void fire(BaseActionClass* action, double probability = 1.0) {
        action->Fire();
        Model->LastAction = action;
        LastFired = action;
        if (AfterFire != 0)
            afterFire(action, probability);
        store(Target);
    }
    // Fires the timed `action` of a model without phase actions from `explored`,
    // which the model holds: the reached state goes into `to` and the model is
    // put back to `explored`, in one pass over the cells. Sets rate(); the
    // trace and the rewards are left to the caller.
    void fireAndRestore(BaseActionClass* action, char* to, const char* explored) {
        double rate = action->Rate();
        Rate = Actions.groupOf(action)->Probability(action) * rate;
        action->Fire();
        Model->LastAction = action;
        LastFired = action;
        if (MapUsable) {
            CellMap.saveAndRestore(to, explored);
        } else {
            Model->CurrentState(to);
            Model->SetState(const_cast<char*>(explored));
        }
    }
    // Every considered variable's rewards for the model's present state,
    // reached by `action`.
    void computeRewards(BaseActionClass* action) {
        for (PerformanceVariableNode* node : Model->ConsideredPVs)
            node->CurrentReward(action);
    }

    // Where the model's state goes after a firing: the own buffer unless
    // aimed elsewhere.
    char* target() const { return Target; }
    void aimAt(char* target) { Target = target; }
    void aimAtBuffer() { Target = Buffer.get(); }
    // Rate of the timed firing made last (negative: a deterministic share).
    double rate() const { return Rate; }
    void setRate(double rate) { Rate = rate; }
    // The action that led to target(); the model's "no action" after an aging.
    BaseActionClass* lastFired() const { return LastFired; }
    void setLastFired(BaseActionClass* action) { LastFired = action; }
    // Rewards are computed after every firing (the model has phase actions).
    bool eagerRewards() const { return (AfterFire & EagerRewards) != 0; }
    // Every firing made through fire() adds its impulses to impulses() (the
    // model has impulse rewards); fireAndRestore() adds none.
    bool talliesImpulses() const { return (AfterFire & TallyImpulses) != 0; }
    // The impulse rates of the state being explored, summed since the
    // caller last cleared them.
    ImpulseTally& impulses() { return Tally; }
    // The impulses that deterministic firings (negative rate) and the zero-time
    // paths after them earn, each weighted by the firing's share times the
    // path's probability, summed since the caller last cleared them.
    ImpulseTally& deterministicImpulses() { return DeterministicTally; }
    const ActionTable& actions() const { return Actions; }

private:
    // An Erlang action below its last phase: the phase counters advance.
    void age(BaseActionClass* action, char* state);
    // Erlang actions that are no longer enabled start again at phase 1.
    void resetDisabledPhases();
    // What fire() does beyond the firing, as AfterFire says.
    void afterFire(BaseActionClass* action, double probability) {
        if ((AfterFire & EagerRewards) != 0)
            computeRewards(action);
        if ((AfterFire & TallyImpulses) != 0) {
            // A deterministic firing (negative rate: minus its share) earns
            // its impulses once, not at a rate; a path of probability 0 earns
            // nothing.
            double weight = Rate * probability;
            if (weight > 0)
                Tally.add(action, weight);
            else if (weight < 0)
                DeterministicTally.add(action, -weight);
        }
    }

    // Bits of AfterFire.
    static constexpr unsigned char EagerRewards = 1;  // rewards after every firing
    static constexpr unsigned char TallyImpulses = 2; // impulses into Tally

    PVModel* Model;                       // not owned
    const ActionTable& Actions;           // not owned
    std::unique_ptr<char[]> Buffer;       // owned; the target outside of other vectors
    char* Target;                         // not owned: Buffer or a vector of the caller
    StateMap CellMap;                     // where the model's state vector lives in memory
    bool MapUsable = false;               // CellMap does what the model's SetState/CurrentState do
    unsigned char AfterFire = 0;          // what fire() does beyond the firing: EagerRewards
                                          // (models with phase actions), TallyImpulses
    ImpulseTally Tally;                   // the explored state's impulse rates
    ImpulseTally DeterministicTally;      // impulses of the deterministic firing made last
    double Rate = 0.0;                    // rate of the timed action fired last
    BaseActionClass* LastFired = nullptr; // not owned; the action that led to Target
    TraceFileContainer* Trace = nullptr;  // not owned; null: no trace
    const int* TraceLevel = nullptr;      // not owned; 0 to 4, read while Trace is set
};
