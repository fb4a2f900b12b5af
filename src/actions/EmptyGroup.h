#pragma once
// EmptyGroup: a group with nothing in it, named "ImmediateGroup". Every question
// gets a negative answer and selection reports an inconsistent state.

#include "actions/SingleGroup.h"

class EmptyGroup : public SingleGroup {
public:
    EmptyGroup();
    ~EmptyGroup() override;

    bool Enabled() override;                         // false
    double Weight() override;                        // 0.0
    double Rate() override;                          // 0.0
    bool ReactivationPredicate() override;           // false
    bool ReactivationFunction() override;            // false
    double SampleDistribution() override;            // 0.0
    BaseActionClass* Fire() override;                // null
    int Rank() override;                             // 0
    bool EnablingChange() override;                  // false
    double Probability(BaseActionClass* a) override; // 0.0
    bool SelectAction() override;                    // reports an inconsistent state; false
    void SetAction(BaseActionClass* a) override;     // nothing

    void SetImpulseList(int, double) {}
    void CreateImpulseList(int) {}
};
