#include "pollingRewPV0.h"

#include "pollingRewPV0Worker.h"

pollingRewPV0::pollingRewPV0(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {1000.0};
    double stops[] = {1000.0};
    Initialize("waiting", InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1, 1);
    AddVariableDependency("stations", "polling");
}

pollingRewPV0::~pollingRewPV0() {
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

void pollingRewPV0::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new pollingRewPV0Worker();
}
