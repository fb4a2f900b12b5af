#pragma once
// multiprocPV0Worker: the worker of the variable "availability": 1.0 while a
// processor works and the system has not crashed, else 0.0.

#include "pv/InstantOfTime.h"

class multiprocSAN;

class multiprocPV0Worker : public InstantOfTime {
public:
    multiprocPV0Worker();
    ~multiprocPV0Worker() override;
    multiprocPV0Worker(const multiprocPV0Worker&) = delete;
    multiprocPV0Worker& operator=(const multiprocPV0Worker&) = delete;

    double Reward_Function() override;

    multiprocSAN* multiproc = nullptr; // not owned: the instance the reward reads, set by the node
};
