#pragma once
// erlangPV1: the performance variable "idle", observed at time 50: 1 while no job is in the system.

#include "pv/PerformanceVariableNode.h"

class erlangPV1 : public PerformanceVariableNode {
public:
    explicit erlangPV1(int timeIndex);
    // Deletes the workers, then the base part.
    ~erlangPV1() override;
    erlangPV1(const erlangPV1&) = delete;
    erlangPV1& operator=(const erlangPV1&) = delete;

    void CreateWorkerList() override;

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
