#include "firing/Firing.h"

#include "actions/BaseGroupClass.h"
#include "base/NewArray.h"

Firing::Firing(PVModel* model, const ActionTable& actions, std::uint32_t stateSize)
    : Model(model), Actions(actions), Buffer(newArray<char>(stateSize)), Target(Buffer.get()),
      Tally(model), DeterministicTally(model) {
    MapUsable = Model->GetStateMap(CellMap) && CellMap.agreesWith(Model, stateSize);
    // Rewards are computed for new states only, from the state and the action
    // that reached it. Erlang phases are not part of the state vector and
    // change between a firing and the lookup of its target, so with phase
    // actions the rewards are computed right after each firing, as the model's
    // own FireAction does.
    if (Actions.numPhase() > 0)
        AfterFire |= EagerRewards;
    if (Tally.active())
        AfterFire |= TallyImpulses;
}

void Firing::fireAction(BaseActionClass* action, char* state) {
    if (traces(1))
        Trace->printFireAction(action, 0.0);
    if (action->DistributionType == Erlang && !action->ReadyToFire()) {
        age(action, state);
        return;
    }
    double rate = action->Rate();
    Rate = Actions.groupOf(action)->Probability(action) * rate;
    fire(action);
    resetDisabledPhases();
    // Phases are not part of the state vector and Enabled() only reads the
    // marking, so the state that fire() wrote is still current: writing it
    // into the target once more would change nothing.
}

void Firing::age(BaseActionClass* action, char* state) {
    Model->AgeAction(state, action);
    LastFired = &Model->NoActionFiredYet;
    BaseGroupClass* group = Actions.groupOf(action);
    if (group->NumMembers < 1) {
        action->Age();
        Rate = action->Rate();
    } else {
        for (int m = 0; m < group->NumMembers; ++m)
            group->Members[m]->Age();
        Rate = action->Rate() / group->NumMembers;
    }
    store(Target);
}

void Firing::resetDisabledPhases() {
    BaseActionClass* const* phase = Actions.phase();
    for (std::uint32_t i = 0; i < Actions.numPhase(); ++i) {
        if (!phase[i]->Enabled())
            phase[i]->ResetPhase();
    }
}
