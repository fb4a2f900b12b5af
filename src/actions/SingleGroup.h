#pragma once
// SingleGroup: a group that wraps exactly one action. The action is kept both in
// `Action` (which the forwarding operations use) and as the single entry of the
// member array (which the generator and the inherited operations read); the
// constructors and SetAction always fill both, so they never disagree.

#include "actions/BaseGroupClass.h"

class SingleGroup : public BaseGroupClass {
public:
    SingleGroup();                           // no action yet: NumMembers 0
    explicit SingleGroup(BaseGroupClass* g); // wraps g (none when g is null)
    ~SingleGroup() override;

    bool Enabled() override; // Action's; remembers the previous result
    double Weight() override;
    double Rate() override;
    bool ReactivationPredicate() override;
    bool ReactivationFunction() override;
    double SampleDistribution() override;
    BaseActionClass* Fire() override;
    int Rank() override;
    bool EnablingChange() override;                  // CurrentEnabled != PreviousEnabled
    bool IsAMember(BaseActionClass* a) override;     // a is Action
    double Probability(BaseActionClass* a) override; // 1.0 for Action, else 0.0
    void printEnablingState(std::ostream* os) override;
    BaseActionClass* getPrintedAction() override; // Action, or the group itself
    bool SelectAction() override;
    void setGroupId(int id) override; // on Action
    // Wraps `a`, which must be a group (an Activity) or null (no action).
    virtual void SetAction(BaseActionClass* a);

    BaseActionClass* Action; // not owned; also Members[0]
    int CurrentEnabled;      // Enabled() of Action at the latest Enabled(), 0 or 1
    int PreviousEnabled;     // the value before it
};
