#pragma once
// multiprocPV1: the performance variable "cost" over the interval [0, 1000]: no
// rate reward, an impulse of crash_cost for each uncovered failure and of 1 for
// each repair.

#include "multiprocPV1Impulse0.h"
#include "multiprocPV1Impulse1.h"
#include "pv/PerformanceVariableNode.h"

class multiprocPV1 : public PerformanceVariableNode {
public:
    explicit multiprocPV1(int timeIndex);
    // Deletes the impulse workers, then the base part.
    ~multiprocPV1() override;
    multiprocPV1(const multiprocPV1&) = delete;
    multiprocPV1& operator=(const multiprocPV1&) = delete;

    // The variable has no rate reward, hence no worker.
    void CreateWorkerList() override {}

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
    multiprocPV1Impulse0 Impulse0;       // registered for the impulse on uncovered
    multiprocPV1Impulse1 Impulse1;       // registered for the impulse on repair
};
