#pragma once
// timerPV1: the performance variable "losses" over the interval [0, 100]: no rate
// reward, an impulse of 1 for each transmission that the link loses.

#include "pv/PerformanceVariableNode.h"
#include "timerPV1Impulse0.h"

class timerPV1 : public PerformanceVariableNode {
public:
    explicit timerPV1(int timeIndex);
    // Deletes the impulse workers, then the base part.
    ~timerPV1() override;
    timerPV1(const timerPV1&) = delete;
    timerPV1& operator=(const timerPV1&) = delete;

    // The variable has no rate reward, hence no worker.
    void CreateWorkerList() override {}

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
    timerPV1Impulse0 Impulse0;           // registered for the impulse on lose
};
