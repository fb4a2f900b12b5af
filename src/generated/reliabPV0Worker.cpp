#include "generated/reliabPV0Worker.h"

#include "generated/computerSAN.h"

reliabPV0Worker::reliabPV0Worker() {
    NumModelRefs = 1;
    // The node stores the worker's computerSAN instance through this entry;
    // computerSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&computer);
}

reliabPV0Worker::~reliabPV0Worker() {
    delete[] ModelRefs;
}

double reliabPV0Worker::Reward_Function() {
    return computer->failed->getMark() == 0 ? 1.0 : 0.0;
}
