#include "timerPV1Impulse0.h"

#include "timerSAN.h"

timerPV1Impulse0::timerPV1Impulse0() {
    NumModelRefs = 1;
    // The node stores the worker's timerSAN instance through this entry;
    // timerSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&timer);
}

timerPV1Impulse0::~timerPV1Impulse0() {
    delete[] ModelRefs;
}

void timerPV1Impulse0::EndAccumulate(double) {}

double timerPV1Impulse0::Impulse_Function() {
    return 1.0;
}

void timerPV1Impulse0::Accumulate(double now, double) {
    if (now < StartTime || now > StopTime)
        return;
    double value = Impulse_Function();
    Value += value;
    ValueSquared += value * value;
}

void timerPV1Impulse0::CurrentReward() {
    Value = Impulse_Function();
    ValueSquared = Value * Value;
}

ImpulseNodeClass** timerPV1Impulse0::CreateWorkerList(int count) {
    ImpulseNodeClass** workers = new ImpulseNodeClass*[count];
    for (int k = 0; k < count; ++k)
        workers[k] = new timerPV1Impulse0();
    return workers;
}
