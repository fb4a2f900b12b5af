#include "erlangPV0.h"

#include "erlangPV0Worker.h"

erlangPV0::erlangPV0(int timeIndex) {
    ModelRefs = &ModelSlot;
    double starts[] = {50.0};
    double stops[] = {50.0};
    Initialize("jobs", InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1, 2);
    AddVariableDependency("qa", "erlang");
    AddVariableDependency("qb", "erlang");
}

erlangPV0::~erlangPV0() {
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

void erlangPV0::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new erlangPV0Worker();
}
