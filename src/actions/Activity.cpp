#include "actions/Activity.h"

Activity::Activity() : CurrentEnabled(false), PreviousEnabled(false) {
    Disabled = true;
    Reactivation = false;
    SelectedAction = this;
}

Activity::Activity(const char* name, int groupId, Distribution dist, ExecutionPolicyType policy,
                   int numAffected, int numEnabling, bool reactivation)
    : Activity() {
    ActivityInitialize(name, groupId, dist, policy, numAffected, numEnabling, reactivation);
}

Activity::~Activity() = default;

void Activity::ActivityInitialize(const char* name, int groupId, Distribution dist,
                                  ExecutionPolicyType policy, int numAffected, int numEnabling,
                                  bool reactivation) {
    BaseActionClassInitialize(name, groupId, dist, policy, numAffected, numEnabling, reactivation);
}

double Activity::Weight() {
    return BaseActionClass::Weight();
}

double Activity::Rate() {
    return BaseActionClass::Rate();
}

double Activity::SampleDistribution() {
    return BaseActionClass::SampleDistribution();
}

int Activity::Rank() {
    return BaseActionClass::Rank();
}

bool Activity::EnablingChange() {
    Enabled(); // the generated Enabled() shifts CurrentEnabled into PreviousEnabled
    return PreviousEnabled != CurrentEnabled;
}

double Activity::Probability(BaseActionClass* a) {
    return a == this ? 1.0 : 0.0;
}

bool Activity::SelectAction() {
    return Enabled();
}

void Activity::setGroupId(int id) {
    GroupID = id;
}

bool Activity::IsAnAffectingStateVariable(BaseStateVariableClass* sv) {
    return AffectedSVs.contains(sv);
}
