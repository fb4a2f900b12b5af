#pragma once
// BaseGroupClass: an action made of member actions. It answers the action
// questions on behalf of its members, selects one enabled member at random in
// proportion to the weights of those of the highest rank, and fires it.

#include "actions/BaseActionClass.h"

class BaseGroupClass : public BaseActionClass {
public:
    // One entry of the selection table: cumulative weight up to and including
    // `member`.
    struct WeightEntry {
        double weight;
        BaseGroupClass* member; // not owned
    };

    BaseGroupClass();
    BaseGroupClass(const char* name, int groupId, Distribution dist, ExecutionPolicyType policy,
                   int numAffected, int numEnabling, bool reactivation);
    // Reserves room for n members.
    BaseGroupClass(const char* name, int groupId, Distribution dist, ExecutionPolicyType policy,
                   int numAffected, int numEnabling, bool reactivation, int n);
    ~BaseGroupClass() override;

    bool Enabled() override;                         // any member enabled; every member is asked
    double Weight() override;                        // of SelectedAction
    double Rate() override;                          // of SelectedAction
    bool ReactivationPredicate() override;           // false
    bool ReactivationFunction() override;            // false
    double SampleDistribution() override;            // of SelectedAction
    BaseActionClass* Fire() override;                // fires SelectedAction, then clears it
    int Rank() override;                             // of SelectedAction
    bool EnablingChange() override;                  // any member's; every member is asked
    bool IsAMember(BaseActionClass* a) override;     // one of Members (not recursive)
    double Probability(BaseActionClass* a) override; // chance that `a` is the one chosen
    void printEnablingState(std::ostream* os) override;
    BaseActionClass* getPrintedAction() override; // first member, or the group itself
    virtual bool SelectAction();                  // draws one uniform and picks a member
    virtual void setGroupId(int id);              // on every member; GroupID itself unchanged

    void BaseGroupClassInitialize(const char* name, int groupId, Distribution dist,
                                  ExecutionPolicyType policy, int numAffected, int numEnabling,
                                  bool reactivation);
    // Room for n members and n weights, a new name, no selection.
    void initialize(int n, const char* name);
    // Stores `member` at `index` (< NumMembers) and returns the index; otherwise
    // reports the index as out of bounds and returns -1.
    int setMember(BaseGroupClass* member, int index);
    int appendGroup(BaseGroupClass* member);  // returns the new NumMembers
    int appendMembers(BaseGroupClass* other); // returns the new NumMembers
    void enlargeArrays(int n);                // capacity exactly n; weight table rebuilt later
    void replaceMember(BaseActionClass* oldMember, BaseActionClass* newMember);
    // Builds the selection table; returns the candidates' total weight, or -1.0
    // when no member is enabled.
    double CalculateWeightDistribution();
    void Check() {}
    void printGroup();
    void printGroup(const char* prefix, int indent);
    void PrintInfo();

    BaseGroupClass** Members;        // owned array; members not owned
    BaseActionClass* SelectedAction; // not owned; chosen by the last SelectAction
    WeightEntry* WeightDistribution; // owned; Capacity entries once it exists
    int MaxRank;
    int NumMembers;
    int NumWeights; // valid entries of WeightDistribution
    int Capacity;   // length of Members (and of WeightDistribution)
};
