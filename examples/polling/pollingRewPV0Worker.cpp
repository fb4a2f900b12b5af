#include "pollingRewPV0Worker.h"

#include "pollingSAN.h"

pollingRewPV0Worker::pollingRewPV0Worker() {
    NumModelRefs = 1;
    // The node stores the worker's pollingSAN instance through this entry;
    // pollingSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass** [1] { reinterpret_cast<BaseModelClass**>(&polling) };
}

pollingRewPV0Worker::~pollingRewPV0Worker() {
    delete[] ModelRefs;
}

double pollingRewPV0Worker::Reward_Function() {
    const pollingSAN::stationsArray& stations = *polling->stations;
    int jobs = 0;
    for (int i = 0; i < stations.size; ++i)
        jobs += stations.mark(i);
    return jobs;
}
