#pragma once
// kanbanRewPVWorker: the worker of kanban variable k (see kanbanRewPV): the
// sum of its places' markings in the submodel instance it watches.

#include "pv/InstantOfTime.h"

class kanbanSAN;

class kanbanRewPVWorker : public InstantOfTime {
public:
    explicit kanbanRewPVWorker(int variable);
    ~kanbanRewPVWorker() override;
    kanbanRewPVWorker(const kanbanRewPVWorker&) = delete;
    kanbanRewPVWorker& operator=(const kanbanRewPVWorker&) = delete;

    double Reward_Function() override;

    int Variable;                // k
    kanbanSAN* kanban = nullptr; // not owned: the instance the reward reads, set by the node
};
