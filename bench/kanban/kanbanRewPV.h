#pragma once
// kanbanRewPV: performance variable number k of the kanban reward model, the
// sum of a few places' markings observed at time 10: for k = 0 .. 3, wip of
// station k + 1 (Pm + Pback + Pout); for k = 4, free_kanbans (Pkan1 .. Pkan4).

#include "pv/PerformanceVariableNode.h"

class kanbanRewPV : public PerformanceVariableNode {
public:
    kanbanRewPV(int variable, int timeIndex);
    // Frees each worker's name and deletes the workers, then the base part.
    ~kanbanRewPV() override;
    kanbanRewPV(const kanbanRewPV&) = delete;
    kanbanRewPV& operator=(const kanbanRewPV&) = delete;

    void CreateWorkerList() override;

    int Variable;                        // k
    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned
};
