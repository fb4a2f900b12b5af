#pragma once
// erlangPV0: the performance variable "jobs", observed at time 50: the number of jobs in the
// system.

#include "pv/PerformanceVariableNode.h"

class erlangPV0 : public PerformanceVariableNode {
public:
    explicit erlangPV0(int timeIndex);
    // Deletes the workers, then the base part.
    ~erlangPV0() override;
    erlangPV0(const erlangPV0&) = delete;
    erlangPV0& operator=(const erlangPV0&) = delete;

    void CreateWorkerList() override;

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
