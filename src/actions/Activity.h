#pragma once
// Activity: a SAN activity, a group that is its own selected action, so that a
// plain activity can stand wherever a group is expected. Generated activity
// classes derive from it and supply the model-specific behaviour.

#include "actions/BaseGroupClass.h"

class Activity : public BaseGroupClass {
public:
    Activity();
    Activity(const char* name, int groupId, Distribution dist, ExecutionPolicyType policy,
             int numAffected, int numEnabling, bool reactivation);
    ~Activity() override;

    // Generated classes override these; the defaults are the action's harmless
    // ones (an activity must not forward to itself as its own selected action).
    double Weight() override;             // 0.0
    double Rate() override;               // 0.0
    double SampleDistribution() override; // 0.0
    BaseActionClass* Fire() override = 0;
    int Rank() override;                             // 0
    bool EnablingChange() override;                  // Enabled() again; did the result change?
    double Probability(BaseActionClass* a) override; // 1.0 for itself, else 0.0
    bool SelectAction() override;                    // Enabled()
    void setGroupId(int id) override;                // sets GroupID
    virtual void LinkVariables() = 0;                // binds the marking pointers

    void ActivityInitialize(const char* name, int groupId, Distribution dist,
                            ExecutionPolicyType policy, int numAffected, int numEnabling,
                            bool reactivation);
    // True when sv is one of AffectedSVs (pointer identity).
    bool IsAnAffectingStateVariable(BaseStateVariableClass* sv);

    bool CurrentEnabled;  // latest Enabled() result of the generated class
    bool PreviousEnabled; // the one before it
};
