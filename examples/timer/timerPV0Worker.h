#pragma once
// timerPV0Worker: the worker of the variable "outstanding": 1.0 while the sensor
// is not idle, else 0.0.

#include "pv/InstantOfTime.h"

class timerSAN;

class timerPV0Worker : public InstantOfTime {
public:
    timerPV0Worker();
    ~timerPV0Worker() override;
    timerPV0Worker(const timerPV0Worker&) = delete;
    timerPV0Worker& operator=(const timerPV0Worker&) = delete;

    double Reward_Function() override;

    timerSAN* timer = nullptr; // not owned: the instance the reward reads, set by the node
};
