#include "generated/reliabPV0.h"

#include "generated/reliabPV0Worker.h"

reliabPV0::reliabPV0(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {24.0};
    double stops[] = {24.0};
    Initialize("reliability", InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1, 1);
    AddVariableDependency("failed", "computer");
}

reliabPV0::~reliabPV0() {
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

void reliabPV0::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new reliabPV0Worker();
}
