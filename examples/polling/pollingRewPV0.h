#pragma once
// pollingRewPV0: the performance variable "waiting", the number of stations of
// the model polling that hold a job, observed at time 1000.

#include "pv/PerformanceVariableNode.h"

class pollingRewPV0 : public PerformanceVariableNode {
public:
    explicit pollingRewPV0(int timeIndex);
    // Frees each worker's name and deletes the workers, then the base part.
    ~pollingRewPV0() override;
    pollingRewPV0(const pollingRewPV0&) = delete;
    pollingRewPV0& operator=(const pollingRewPV0&) = delete;

    void CreateWorkerList() override;

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
