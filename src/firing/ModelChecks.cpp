#include "firing/ModelChecks.h"

#include "actions/Activity.h"
#include "actions/BaseGroupClass.h"
#include "models/SANModel.h"
#include "state/Place.h"
#include "state/SharableSV.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <set>
#include <vector>

namespace {

const char* modelName(const BaseActionClass* action) {
    const BaseModelClass* model = action->ParentModel;
    return model != nullptr && model->Name != nullptr ? model->Name : "(unnamed)";
}

// True when `group` is `action` or holds it, directly or through nested groups.
bool holds(BaseGroupClass* group, const BaseActionClass* action, int depth = 0) {
    if (group == action)
        return true;
    if (group == nullptr || group->Members == nullptr || depth > 64)
        return false;
    for (int i = 0; i < group->NumMembers; ++i)
        if (holds(group->Members[i], action, depth + 1))
            return true;
    return false;
}

std::uintptr_t address(const void* p) {
    return reinterpret_cast<std::uintptr_t>(p);
}

// A framework object of a SAN that a registered pointer may lie in: an activity,
// or (activity null) a place or structured variable.
struct ObjectStart {
    std::uintptr_t start;
    Activity* activity;
    bool operator<(const ObjectStart& other) const { return start < other.start; }
};

// The places of `san` (own and read-only), their leaves and the representatives
// of the leaves' sharing groups, which hold every registered pointer.
void collectPlaces(SANModel* san, std::vector<ObjectStart>& objects,
                   std::set<SharableSV<short>*>& holders) {
    auto take = [&](BaseStateVariableClass* variable) {
        if (variable == nullptr)
            return;
        objects.push_back({address(dynamic_cast<const void*>(variable)), nullptr});
        List<BaseStateVariableClass>* leaves = variable->getLeafNodes();
        for (int i = 0; i < leaves->getNumItems(); ++i) {
            BaseStateVariableClass* leaf = leaves->getItem(i);
            objects.push_back({address(dynamic_cast<const void*>(leaf)), nullptr});
            if (auto* scalar = dynamic_cast<SharableSV<short>*>(leaf))
                holders.insert(scalar->getRepresentative());
        }
        delete leaves;
    };
    int own = san->NumStateVariables - san->NumReadOnlyPlaces;
    for (int i = 0; i < own; ++i)
        take(san->Places[i]);
    for (int i = 0; i < san->NumReadOnlyPlaces; ++i)
        take(san->ReadOnlyPlaces[i]);
}

} // namespace

void checkGroupIds(BaseActionClass* const* actions, int numActions, BaseGroupClass* const* groups,
                   int numGroups) {
    for (int i = 0; i < numActions; ++i) {
        BaseActionClass* action = actions[i];
        int id = action->GroupID;
        if (id < 0 || id >= numGroups) {
            std::cerr << "Error: action " << action->Name << " of model " << modelName(action)
                      << " names group " << id << ", but the model has " << numGroups << " groups"
                      << std::endl;
            std::exit(1);
        }
        if (!holds(groups[id], action)) {
            std::cerr << "Error: action " << action->Name << " of model " << modelName(action)
                      << " names group " << id << ", but group " << id << " (" << groups[id]->Name
                      << ") does not hold it: a group id is the position of the action's group "
                         "in the model's group list"
                      << std::endl;
            std::exit(1);
        }
    }
}

namespace {
// True when every variable is one of the SAN's own scalar places (not a field of
// a structured variable, whose pointers may be kept in arrays elsewhere).
bool onlyScalarPlaces(SANModel* san, const List<BaseStateVariableClass>& svs) {
    for (int i = 0; i < svs.getNumItems(); ++i) {
        bool found = false;
        for (int j = 0; j < san->NumStateVariables - san->NumReadOnlyPlaces && !found; ++j)
            found = san->Places[j] == svs[i] && dynamic_cast<Place*>(san->Places[j]) != nullptr;
        if (!found)
            return false;
    }
    return true;
}
} // namespace

void checkMarkingsBound(BaseActionClass* const* actions, int numActions) {
    std::vector<SANModel*> sans;
    for (int i = 0; i < numActions; ++i) {
        auto* san = dynamic_cast<SANModel*>(actions[i]->ParentModel);
        if (san != nullptr && std::find(sans.begin(), sans.end(), san) == sans.end())
            sans.push_back(san);
    }
    for (SANModel* san : sans) {
        // Each registered pointer of no variable (an activity's marking pointer, a
        // place's own Mark) belongs to the object that starts last at or before
        // its address: objects do not overlap.
        std::vector<ObjectStart> objects;
        std::set<SharableSV<short>*> holders;
        std::vector<Activity*> activities;
        for (int i = 0; i < san->NumActions; ++i) {
            auto* activity = dynamic_cast<Activity*>(san->Actions[i]);
            if (activity == nullptr)
                continue;
            activities.push_back(activity);
            objects.push_back({address(dynamic_cast<const void*>(activity)), activity});
        }
        collectPlaces(san, objects, holders);
        std::sort(objects.begin(), objects.end());

        std::set<Activity*> bound;
        for (SharableSV<short>* holder : holders) {
            for (auto* e = holder->getHead(); e != nullptr; e = e->getNext()) {
                if (e->getOwner() != nullptr)
                    continue;
                auto after = std::upper_bound(objects.begin(), objects.end(),
                                              ObjectStart{address(e->pointer), nullptr});
                if (after != objects.begin() && std::prev(after)->activity != nullptr)
                    bound.insert(std::prev(after)->activity);
            }
        }
        // A model whose activities reach their places another way binds nothing.
        if (bound.empty())
            continue;
        for (Activity* activity : activities) {
            bool connected =
                activity->EnablingSVs.getNumItems() > 0 || activity->AffectedSVs.getNumItems() > 0;
            // Pointers to the elements of a structured variable may be kept in an
            // array outside the activity object, where they cannot be attributed:
            // such an activity is not judged.
            if (!onlyScalarPlaces(san, activity->EnablingSVs) ||
                !onlyScalarPlaces(san, activity->AffectedSVs))
                continue;
            if (connected && bound.count(activity) == 0) {
                std::cerr << "Error: activity " << activity->Name << " of model "
                          << modelName(activity)
                          << " has bound no marking pointer: its LinkVariables() was not called"
                          << std::endl;
                std::exit(1);
            }
        }
    }
}
