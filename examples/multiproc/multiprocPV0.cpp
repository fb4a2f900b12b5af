#include "multiprocPV0.h"

#include "multiprocPV0Worker.h"

multiprocPV0::multiprocPV0(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {10.0, 100.0, 1000.0};
    double stops[] = {10.0, 100.0, 1000.0};
    Initialize("availability", InstantOfTimeType, 3, starts, stops, timeIndex, 0, 1, 2);
    AddVariableDependency("up", "multiproc");
    AddVariableDependency("crashed", "multiproc");
}

multiprocPV0::~multiprocPV0() {
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

void multiprocPV0::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new multiprocPV0Worker();
}
