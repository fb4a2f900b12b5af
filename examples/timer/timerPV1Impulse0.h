#pragma once
// timerPV1Impulse0: the impulse of the variable "losses" on the activity lose of
// the model timer: each lost transmission counts 1.

#include "pv/ImpulseNodeClass.h"

class timerSAN;

class timerPV1Impulse0 : public ImpulseNodeClass {
public:
    timerPV1Impulse0();
    ~timerPV1Impulse0() override;
    timerPV1Impulse0(const timerPV1Impulse0&) = delete;
    timerPV1Impulse0& operator=(const timerPV1Impulse0&) = delete;

    void EndAccumulate(double now) override;
    double Impulse_Function() override;
    // Adds the impulse when the firing falls into the variable's interval.
    void Accumulate(double now, double last) override;
    void CurrentReward() override;
    void Reset() override { ImpulseNodeClass::Reset(); }
    ImpulseNodeClass** CreateWorkerList(int count) override;

    timerSAN* timer = nullptr; // not owned: the instance the worker watches
};
