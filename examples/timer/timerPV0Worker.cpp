#include "timerPV0Worker.h"

#include "timerSAN.h"

timerPV0Worker::timerPV0Worker() {
    NumModelRefs = 1;
    // The node stores the worker's timerSAN instance through this entry;
    // timerSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&timer);
}

timerPV0Worker::~timerPV0Worker() {
    delete[] ModelRefs;
}

double timerPV0Worker::Reward_Function() {
    return timer->idle->getMark() == 0 ? 1.0 : 0.0;
}
