#pragma once
// BaseActionClass: the root of everything that can fire in a model (activities,
// groups, generated activity classes). The generator and the reward model drive
// every action through the virtual operations below; the class also carries the
// book-keeping other subsystems hang on an action: ids, group id, distribution
// type, phase counter, state-variable lists and per-performance-variable sets.

#include "base/FastSet.h"
#include "base/List.h"

#include <iosfwd>

class BaseModelClass;
class BaseStateVariableClass;

// Delay distribution of an action. The generator handles Exponential,
// Deterministic, Erlang and Instantaneous and refuses any other value; the
// others name the remaining sampling kinds.
enum Distribution : int {
    Exponential = 1,
    Deterministic = 2,
    Uniform = 3,
    Geometric = 4,
    Weibull = 5,
    Normal = 6,
    Erlang = 7,
    Gamma = 8,
    Beta = 9,
    Binomial = 10,
    NegativeBinomial = 11,
    HyperExponential = 12,
    HypoExponential = 13,
    Triangular = 14,
    Lognormal = 15,
    Pareto = 16,
    ConditionalWeibull = 17,
    Instantaneous = 18,
};

// Execution policy of an action: stored and printed only.
enum ExecutionPolicyType : int {
    DefaultPolicy = 1,
};

class BaseActionClass {
public:
    BaseActionClass();
    BaseActionClass(const char* name, int groupId, Distribution dist, ExecutionPolicyType policy,
                    int numAffected, int numEnabling, bool reactivation);
    BaseActionClass(const BaseActionClass&) = delete;
    BaseActionClass& operator=(const BaseActionClass&) = delete;

    // Virtual operations, in this order.
    virtual ~BaseActionClass();
    virtual bool isSync();                             // false
    virtual bool Enabled();                            // false
    virtual double Weight();                           // 0.0
    virtual double Rate();                             // 0.0
    virtual bool ReactivationPredicate();              // false
    virtual bool ReactivationFunction();               // false
    virtual double SampleDistribution();               // 0.0
    virtual double* ReturnDistributionParameters();    // null; else owned by the action
    virtual void SetFired(int fired);                  // Fired = (fired != 0)
    virtual BaseActionClass* Fire();                   // null
    virtual int Rank();                                // 0
    virtual bool EnablingChange();                     // false
    virtual bool IsAMember(BaseActionClass* a);        // a == this
    virtual double Probability(BaseActionClass* a);    // 1.0
    virtual void printAffectedState(std::ostream* os); // printState of each of AffectedSVs
    virtual void printEnablingState(std::ostream* os); // printState of each of EnablingSVs
    virtual BaseActionClass* getPrintedAction();       // this
    virtual double ErlangParamM();                     // 1.0

    // Replaces the name and sets the group id, distribution, policy and
    // reactivation flag. The two counts are accepted and not stored.
    void BaseActionClassInitialize(const char* name, int groupId, Distribution dist,
                                   ExecutionPolicyType policy, int numAffected, int numEnabling,
                                   bool reactivation);
    char* defineName(const char* name); // replaces the name by a copy; returns the copy

    // A leaf variable goes into the list itself; a structured one adds its leaves.
    void addEnablingSV(BaseStateVariableClass* sv);
    void removeEnablingSV(BaseStateVariableClass* sv);
    void addAffectedSV(BaseStateVariableClass* sv);
    void removeAffectedSV(BaseStateVariableClass* sv);

    // Per-performance-variable structures (n = number of performance variables).
    bool IsPVRateDSAllocated() const { return PVRateWorkers != nullptr; }
    bool IsPVImpulseDSAllocated() const { return PVImpulseSets != nullptr; }
    void AllocatePVRateDS(int n);
    void AllocatePVImpulseDS(int n);
    void DeallocatePVRateDS(); // and clears the pointer
    void
    DeallocatePVImpulseDS(); // the outer arrays, not the blocks they point to; clears the pointers

    // Phase counter of Erlang actions.
    void ResetPhase() { Phase = 1; }
    void Age() { ++Phase; }
    bool ReadyToFire() { return static_cast<double>(Phase) == ErlangParamM(); }

    void PrintInfo(); // description on standard output

    static int MaxID; // id of the next action constructed

    int GroupID; // index of the action's group in its model's group list
    ExecutionPolicyType ExecutionPolicy;
    bool Disabled; // not part of the last group selection
    bool Reactivation;
    char* Name; // owned
    bool Fired;
    Distribution DistributionType;
    BaseModelClass* ParentModel;          // not owned: the model that holds the action
    FastSet AffectedNodesByImpulseReward; // performance variables with an impulse on the action
    FastSet* PVImpulseSets;               // per performance variable: impulse numbers; owned array
    int*** PVImpulseWorkers;     // per variable, per impulse: worker numbers; outer array owned
    int** PVImpulseWorkerCounts; // per variable, per impulse: entry counts; outer array owned
    FastSet* PVRateWorkers;      // per performance variable: rate-worker numbers; owned array
    FastSet AffectedNodes;       // union of the two node sets
    FastSet AffectedNodesByRateReward; // performance variables whose rate reward it can change
    short Phase;                       // Erlang phase counter, from 1
    int ID;                            // unique number, in construction order from 0
    List<BaseStateVariableClass> AffectedSVs; // variables it changes (not owned)
    List<BaseStateVariableClass> EnablingSVs; // variables its enabling reads (not owned)
};
