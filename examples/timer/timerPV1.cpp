#include "timerPV1.h"

timerPV1::timerPV1(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {0.0};
    double stops[] = {100.0};
    Initialize("losses", IntervalOfTimeType, 1, starts, stops, timeIndex, 1, 0, 0);
    AddImpulse("lose", "timer", &Impulse0);
}

timerPV1::~timerPV1() {
    if (ImpulseWorkers == nullptr)
        return;
    for (int i = 0; i < NumImpulses; ++i) {
        if (ImpulseWorkers[i] == nullptr)
            continue;
        for (int k = 0; k < NumImpulseWorkers[i]; ++k)
            delete ImpulseWorkers[i][k];
    }
}
