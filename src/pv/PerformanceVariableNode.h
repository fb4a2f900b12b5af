#pragma once
// PerformanceVariableNode: one performance (reward) variable at one time
// interval. It creates one worker per combination of the submodel instances
// its model dependencies name, sums their rewards into RateReward after every
// firing, and adds the impulse rewards that the fired action triggers.
// Generated code derives one node class per variable.

#include "pv/ActionModelPairClass.h"
#include "pv/ModelGroupClass.h"
#include "pv/VarModelPairClass.h"

class BaseActionClass;
class BaseModelClass;
class ImpulseNodeClass;
class PerformanceVariableWorker;

// The kind of a performance variable, written to the .pvtype file.
enum RewardType : int {
    InstantOfTimeType = 0,
    IntervalOfTimeType = 1,
    TimeAveragedIntervalOfTimeType = 2,
    SteadyStateType = 3,
};

class PerformanceVariableNode {
public:
    PerformanceVariableNode() = default;
    // Releases everything the node owns; the workers, impulse workers and
    // registered impulse nodes belong to the generated node, which deletes them first.
    virtual ~PerformanceVariableNode();
    PerformanceVariableNode(const PerformanceVariableNode&) = delete;
    PerformanceVariableNode& operator=(const PerformanceVariableNode&) = delete;

    // Creates the NumWorkers workers of the generated class into Workers.
    virtual void CreateWorkerList() = 0;
    // All rewards to 0.0, AccumulationState to 0, every worker and impulse worker reset.
    virtual void Reset();

    // Takes the node's number, copies the time points and name, and sets the
    // room for impulses, model dependencies and variable dependencies.
    void Initialize(char const* name, RewardType type, int numTimePoints, double* starts,
                    double* stops, int timeIndex, int numImpulses, int numModelDeps,
                    int numVarDeps);
    void InitializeTimeArrays(int n, double* starts, double* stops);
    void AddVariableDependency(const char* variable, const char* model);
    void AddModelDependency(const char* model);
    bool IsDependentOnModel(const char* model) const;

    // Set-up steps the PV model runs once, in this order.
    void FixReferences(BaseModelClass* model);
    void GetNumberOfWorkers();
    void CreateModelGroupList();
    void FixWorkerList();
    void AddPVWorkersToAction(BaseActionClass* action, BaseModelClass* model);
    void DefineName(const char* name);

    // Impulse rewards.
    void AddImpulse(const char* action, const char* model, ImpulseNodeClass* node);
    void AddImpulseModelDependency(const char* model, ImpulseNodeClass* node);
    void AddImpulseModelDependency(const char* model, int impulse);
    void AddImpulseActionDependency(const char* action, const char* model, int impulse);
    bool IsDependentOnImpulseModel(const char* model, int impulse) const;
    int GetImpulseNumber(const ImpulseNodeClass* node) const;
    bool ImpulseAffectedBy(BaseActionClass* action) const;
    void GetNumberOfImpulseWorkers();
    void CreateImpulseWorkerLists();
    void CreateImpulseModelGroupList();
    void FixImpulseWorkerLists();

    // Rate reward in the current state plus the impulse reward of the action
    // that has just fired. Runs once per transition: no allocation.
    void CurrentReward(BaseActionClass* action);
    // The impulse reward of `action`, which has just fired, for the state the
    // model holds; the node's own rewards stay as they are. No allocation.
    double FiringImpulse(BaseActionClass* action);

    RewardType GetRewardType() const { return Type; }
    int GetNumTimePoints() const { return NumTimePoints; }
    double GetStartTime(int k) const { return StartTimes[k]; }
    double GetStopTime(int k) const { return StopTimes[k]; }

    // Accumulation over time for simulation; the generator does not use it.
    void Accumulate(double now, double last, BaseActionClass* action);
    void EndAccumulate(double now, double last, BaseActionClass* action);
    void UpdateAccumulate(double now);
    void CommonAccumulate(double now, double last, BaseActionClass* action);
    void TotalAccumulation();
    // Counts this node as updated for each of its actions; an action whose
    // nodes have all updated has its AffectedNodes cleared.
    void UpdateDependencies();
    // Drops the update count kept for an action that is going away.
    static void ForgetUpdates(const BaseActionClass* action);

    // The member actions of a synchronizing action (one whose isSync() is
    // true): a synchronizing action is a group, its members are the group's members.
    static int NumSyncMembers(BaseActionClass* action);
    static BaseActionClass* SyncMember(BaseActionClass* action, int i);

    static int the_id; // number given to the next initialized node

    BaseModelClass** ModelRefs = nullptr; // the derived node's slots; entry 0 gets the submodel
    char* Name = nullptr;                 // owned (array new)
    double RateReward = 0.0;              // sum of the workers' rewards in the current state
    double RateRewardSquared = 0.0;       // sum of their squares
    double StartTime = -1.0;              // this node's time interval
    double StopTime = -1.0;
    int NumTimePoints = 0;
    double* StartTimes = nullptr; // owned, NumTimePoints entries
    double* StopTimes = nullptr;  // owned, NumTimePoints entries
    double ImpulseReward = 0.0;   // impulse reward of the last firing
    double ImpulseRewardSquared = 0.0;
    double IntervalLength = 0.0;
    RewardType Type = InstantOfTimeType;
    int AccumulationState = 0; // 0 not started, 1 accumulating, 2 finished
    int Id = -1;               // the node's number, also its position in the PV model's list
    BaseActionClass** NodeActions = nullptr; // owned array; the actions that affect the node
    int NumNodeActions = 0;
    int NodeActionRoom = 0;                 // entries allocated in NodeActions
    ModelGroupClass* ModelGroups = nullptr; // owned, NumWorkers groups
    int NumWorkers = 0;
    // Owned array. The workers and their names belong to the derived node, whose
    // destructor frees each worker's Name (delete[]) and then deletes the worker.
    PerformanceVariableWorker** Workers = nullptr;
    VarModelPairClass* VarDeps = nullptr; // owned
    int NumVarDeps = 0;

    // Impulses: one entry per impulse in each array.
    int NumImpulses = 0;
    int* ImpulseModelDepCounts = nullptr;      // owned
    int* NumImpulseWorkers = nullptr;          // owned
    int* ImpulseActionModelCounts = nullptr;   // owned
    ImpulseNodeClass** ImpulseNodes = nullptr; // owned array; the registered nodes are not owned
    // Per impulse, the array that the registered node's CreateWorkerList returned
    // (array new): this node frees the arrays; the derived node deletes the
    // workers themselves (each worker's destructor frees its own Name).
    ImpulseNodeClass*** ImpulseWorkers = nullptr;
    ActionModelPairClass* ImpulsePairs = nullptr;   // owned
    char*** ImpulseModelDeps = nullptr;             // owned arrays of owned texts (array new)
    ModelGroupClass** ImpulseModelGroups = nullptr; // owned, NumImpulseWorkers groups per impulse

    char** ModelDeps = nullptr; // owned array of owned texts (array new)
    int NumModelDeps = 0;

private:
    // Room given to Initialize; additions beyond it are refused.
    int VarDepRoom = 0;
    int ModelDepRoom = 0;
    int ImpulseRoom = 0;

    // Adds the impulse values (and their squares) of the action's own
    // structures for this node to `sum` (and `squares`).
    void AddImpulseValues(BaseActionClass* action, double& sum, double& squares);
    // Adds those of every member of a synchronizing action, depth first.
    void AddMemberImpulseValues(BaseActionClass* action, double& sum, double& squares);
    void AccumulateImpulseWorkers(double now, double last, BaseActionClass* action);
    int ImpulseModelDepRoom(int impulse) const;
};
