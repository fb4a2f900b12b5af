#include "multiprocPV1.h"

multiprocPV1::multiprocPV1(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {0.0};
    double stops[] = {1000.0};
    Initialize("cost", IntervalOfTimeType, 1, starts, stops, timeIndex, 2, 0, 0);
    AddImpulse("uncovered", "multiproc", &Impulse0);
    AddImpulse("repair", "multiproc", &Impulse1);
}

multiprocPV1::~multiprocPV1() {
    if (ImpulseWorkers == nullptr)
        return;
    for (int i = 0; i < NumImpulses; ++i) {
        if (ImpulseWorkers[i] == nullptr)
            continue;
        for (int k = 0; k < NumImpulseWorkers[i]; ++k)
            delete ImpulseWorkers[i][k];
    }
}
