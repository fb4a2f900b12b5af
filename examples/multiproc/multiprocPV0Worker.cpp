#include "multiprocPV0Worker.h"

#include "multiprocSAN.h"

multiprocPV0Worker::multiprocPV0Worker() {
    NumModelRefs = 1;
    // The node stores the worker's multiprocSAN instance through this entry;
    // multiprocSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&multiproc);
}

multiprocPV0Worker::~multiprocPV0Worker() {
    delete[] ModelRefs;
}

double multiprocPV0Worker::Reward_Function() {
    return multiproc->up->getMark() > 0 && multiproc->crashed->getMark() == 0 ? 1.0 : 0.0;
}
