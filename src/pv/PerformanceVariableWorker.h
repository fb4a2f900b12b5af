#pragma once
// PerformanceVariableWorker: evaluates a performance variable's reward function
// over one combination of submodel instances. Generated code derives one worker
// class per variable, holds typed pointers to its submodels there and supplies
// Reward_Function.

class BaseModelClass;

class PerformanceVariableWorker {
public:
    PerformanceVariableWorker() = default;
    // Releases nothing: the node frees Name (delete[]) before it deletes the
    // worker; ModelRefs belongs to the derived worker.
    virtual ~PerformanceVariableWorker();
    PerformanceVariableWorker(const PerformanceVariableWorker&) = delete;
    PerformanceVariableWorker& operator=(const PerformanceVariableWorker&) = delete;

    virtual double Reward_Function() = 0;
    virtual void Accumulate(double now, double last) = 0;
    // Base version only reports that it was called; the values stay unchanged.
    virtual void CurrentReward();
    // Reward and RewardSquared to 0.0.
    virtual void Reset();

    // Name becomes a fresh copy of name (the old copy is released).
    void DefineName(const char* name, int number);

    // Entry d addresses the derived worker's model-pointer field for the node's
    // model dependency d; the array is owned by the derived worker.
    BaseModelClass*** ModelRefs = nullptr;
    int NumModelRefs = 0;  // entries of ModelRefs, set by the derived worker
    char* Name = nullptr;  // the node's name (array new), null until named; freed by the node
    int WorkerNumber = -1; // position in the node's Workers
    int PVId = -1;         // the node's Id
    double Reward = 0.0;
    double RewardSquared = 0.0;
    double Weight = 0.0; // weight of Reward in the node's total accumulation
    double StartTime = -1.0;
    double StopTime = -1.0;
};
