#include "actions/EmptyGroup.h"

#include "base/Errors.h"

EmptyGroup::EmptyGroup() {
    defineName("ImmediateGroup");
    GroupID = 0;
    NumMembers = 0;
    MaxRank = 0;
    SelectedAction = nullptr;
    WeightDistribution = nullptr;
}

EmptyGroup::~EmptyGroup() = default;

bool EmptyGroup::Enabled() {
    return false;
}
double EmptyGroup::Weight() {
    return 0.0;
}
double EmptyGroup::Rate() {
    return 0.0;
}
bool EmptyGroup::ReactivationPredicate() {
    return false;
}
bool EmptyGroup::ReactivationFunction() {
    return false;
}
double EmptyGroup::SampleDistribution() {
    return 0.0;
}
BaseActionClass* EmptyGroup::Fire() {
    return nullptr;
}
int EmptyGroup::Rank() {
    return 0;
}
bool EmptyGroup::EnablingChange() {
    return false;
}
double EmptyGroup::Probability(BaseActionClass*) {
    return 0.0;
}

bool EmptyGroup::SelectAction() {
    InconsistantState();
    return false;
}

void EmptyGroup::SetAction(BaseActionClass*) {}
