#pragma once
// multiprocPV0: the performance variable "availability", observed at times 10,
// 100 and 1000: 1 while at least one processor works and the system has not
// crashed.

#include "pv/PerformanceVariableNode.h"

class multiprocPV0 : public PerformanceVariableNode {
public:
    explicit multiprocPV0(int timeIndex);
    // Deletes the workers, then the base part.
    ~multiprocPV0() override;
    multiprocPV0(const multiprocPV0&) = delete;
    multiprocPV0& operator=(const multiprocPV0&) = delete;

    void CreateWorkerList() override;

    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
