#include "multiprocPV1Impulse0.h"

#include "GlobalVariables.h"
#include "multiprocSAN.h"

multiprocPV1Impulse0::multiprocPV1Impulse0() {
    NumModelRefs = 1;
    // The node stores the worker's multiprocSAN instance through this entry;
    // multiprocSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&multiproc);
}

multiprocPV1Impulse0::~multiprocPV1Impulse0() {
    delete[] ModelRefs;
}

void multiprocPV1Impulse0::EndAccumulate(double) {}

double multiprocPV1Impulse0::Impulse_Function() {
    return crash_cost;
}

void multiprocPV1Impulse0::Accumulate(double now, double) {
    if (now < StartTime || now > StopTime)
        return;
    double value = Impulse_Function();
    Value += value;
    ValueSquared += value * value;
}

void multiprocPV1Impulse0::CurrentReward() {
    Value = Impulse_Function();
    ValueSquared = Value * Value;
}

ImpulseNodeClass** multiprocPV1Impulse0::CreateWorkerList(int count) {
    ImpulseNodeClass** workers = new ImpulseNodeClass*[count];
    for (int k = 0; k < count; ++k)
        workers[k] = new multiprocPV1Impulse0();
    return workers;
}
