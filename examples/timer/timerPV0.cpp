#include "timerPV0.h"

#include "timerPV0Worker.h"

timerPV0::timerPV0(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {100.0};
    double stops[] = {100.0};
    Initialize("outstanding", InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1, 1);
    AddVariableDependency("idle", "timer");
}

timerPV0::~timerPV0() {
    if (Workers == nullptr)
        return;
    for (int w = 0; w < NumWorkers; ++w) {
        if (Workers[w] == nullptr)
            continue;
        delete[] Workers[w]->Name; // the node frees each worker's name, then the worker
        delete Workers[w];
        Workers[w] = nullptr;
    }
}

void timerPV0::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new timerPV0Worker();
}
