#pragma once
// reliabPV0: the performance variable "reliability", observed at time 24, over
// the place failed of the model computer.

#include "pv/PerformanceVariableNode.h"

class reliabPV0 : public PerformanceVariableNode {
public:
    explicit reliabPV0(int timeIndex);
    // Frees each worker's name and deletes the workers, then the base part.
    ~reliabPV0() override;
    reliabPV0(const reliabPV0&) = delete;
    reliabPV0& operator=(const reliabPV0&) = delete;

    void CreateWorkerList() override;

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
