#pragma once
// timerPV0: the performance variable "outstanding", observed at time 100: 1 while
// the sensor waits for the acknowledgement of a report.

#include "pv/PerformanceVariableNode.h"

class timerPV0 : public PerformanceVariableNode {
public:
    explicit timerPV0(int timeIndex);
    // Deletes the workers, then the base part.
    ~timerPV0() override;
    timerPV0(const timerPV0&) = delete;
    timerPV0& operator=(const timerPV0&) = delete;

    void CreateWorkerList() override;

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
