#pragma once
// reliabPV0Worker: the worker of the variable "reliability": 1.0 while the
// computer has not failed, 0.0 once it has.

#include "pv/InstantOfTime.h"

class computerSAN;

class reliabPV0Worker : public InstantOfTime {
public:
    reliabPV0Worker();
    ~reliabPV0Worker() override;
    reliabPV0Worker(const reliabPV0Worker&) = delete;
    reliabPV0Worker& operator=(const reliabPV0Worker&) = delete;

    double Reward_Function() override;

    computerSAN* computer = nullptr; // not owned: the instance the reward reads, set by the node
};
