#include "actions/SingleGroup.h"

#include "base/Assert.h"
#include "base/Errors.h"
#include "state/BaseStateVariableClass.h"

#include <new>

// A single group always has a one-entry member array, so that the member array
// and Action can be kept in step.
SingleGroup::SingleGroup() : Action(nullptr), CurrentEnabled(0), PreviousEnabled(0) {
    Members = new (std::nothrow) BaseGroupClass*[1]();
    if (Members == nullptr)
        MemoryAllocationError();
    Capacity = 1;
    NumMembers = 0;
    MaxRank = 0;
    SelectedAction = nullptr;
    WeightDistribution = nullptr;
}

SingleGroup::SingleGroup(BaseGroupClass* g) : SingleGroup() {
    if (g != nullptr) {
        SetAction(g);
        defineName(g->Name);
    }
}

// The base class releases the member array.
SingleGroup::~SingleGroup() = default;

void SingleGroup::SetAction(BaseActionClass* a) {
    BaseGroupClass* member = dynamic_cast<BaseGroupClass*>(a);
    // The generator reads the member array: the wrapped action must be a group.
    GEN_ASSERT(member != nullptr || a == nullptr, "SingleGroup");
    Action = a;
    Members[0] = member;
    NumMembers = a != nullptr ? 1 : 0;
}

bool SingleGroup::Enabled() {
    PreviousEnabled = CurrentEnabled;
    CurrentEnabled = (Action != nullptr && Action->Enabled()) ? 1 : 0;
    return CurrentEnabled != 0;
}

double SingleGroup::Weight() {
    return Action != nullptr ? Action->Weight() : 0.0;
}

double SingleGroup::Rate() {
    return Action != nullptr ? Action->Rate() : 0.0;
}

bool SingleGroup::ReactivationPredicate() {
    return Action != nullptr && Action->ReactivationPredicate();
}

bool SingleGroup::ReactivationFunction() {
    return Action != nullptr && Action->ReactivationFunction();
}

double SingleGroup::SampleDistribution() {
    return Action != nullptr ? Action->SampleDistribution() : 0.0;
}

BaseActionClass* SingleGroup::Fire() {
    return Action != nullptr ? Action->Fire() : nullptr;
}

int SingleGroup::Rank() {
    return Action != nullptr ? Action->Rank() : 0;
}

bool SingleGroup::EnablingChange() {
    return CurrentEnabled != PreviousEnabled;
}

bool SingleGroup::IsAMember(BaseActionClass* a) {
    return Action != nullptr && a == Action;
}

double SingleGroup::Probability(BaseActionClass* a) {
    return Action != nullptr && a == Action ? 1.0 : 0.0;
}

void SingleGroup::printEnablingState(std::ostream* os) {
    BaseActionClass* shown = Action != nullptr ? Action : this;
    for (int i = 0; i < shown->EnablingSVs.getNumItems(); ++i)
        shown->EnablingSVs[i]->printState(os);
}

BaseActionClass* SingleGroup::getPrintedAction() {
    return Action != nullptr ? Action : this;
}

bool SingleGroup::SelectAction() {
    InconsistantState();
    if (Action == nullptr || !Action->Enabled())
        return false;
    SelectedAction = Action;
    Action->Disabled = false;
    ExecutionPolicy = Action->ExecutionPolicy;
    Disabled = false;
    Reactivation = Action->Reactivation;
    return true;
}

void SingleGroup::setGroupId(int id) {
    if (Members[0] != nullptr)
        Members[0]->setGroupId(id);
}
