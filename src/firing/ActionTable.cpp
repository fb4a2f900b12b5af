#include "firing/ActionTable.h"

#include "base/NewArray.h"
#include "firing/ModelChecks.h"
#include "pv/PVModel.h"

ActionTable::ActionTable(PVModel* model) {
    model->listActions(&ActionList);
    int numActions = model->NumActions;
    if (numActions > ActionList.getNumItems())
        numActions = ActionList.getNumItems();
    model->listGroups(&GroupList);
    Groups = GroupList.getList();

    // Mistakes of the model's author are refused before anything is explored.
    BaseActionClass** actions = ActionList.getList();
    checkGroupIds(actions, numActions, Groups, GroupList.getNumItems());
    checkMarkingsBound(actions, numActions);
    classify(numActions);
}

void ActionTable::classify(int numActions) {
    // Count, then fill arrays of exactly those sizes.
    BaseActionClass** actions = ActionList.getList();
    for (int i = 0; i < numActions; ++i) {
        switch (actions[i]->DistributionType) {
        case Instantaneous:
            ++NumInstant;
            DistributionMask |= MaskTimedOrInstant;
            break;
        case Exponential:
            ++NumTimed;
            DistributionMask |= MaskTimedOrInstant;
            break;
        case Deterministic:
            ++NumTimed;
            DistributionMask |= MaskDeterministic;
            break;
        case Erlang:
            ++NumTimed;
            ++NumPhase;
            DistributionMask |= MaskErlang;
            break;
        default:
            ++NumTimed;
            DistributionMask = MaskUnsupported;
            break;
        }
    }
    Instant = newArray<BaseActionClass*>(NumInstant);
    Timed = newArray<BaseActionClass*>(NumTimed);
    Phase = newArray<BaseActionClass*>(NumPhase);
    std::uint32_t instant = 0, timed = 0, phase = 0;
    for (int i = 0; i < numActions; ++i) {
        BaseActionClass* action = actions[i];
        if (action->DistributionType == Instantaneous) {
            Instant[instant++] = action;
        } else {
            Timed[timed++] = action;
            if (action->DistributionType == Erlang)
                Phase[phase++] = action;
        }
    }
}
