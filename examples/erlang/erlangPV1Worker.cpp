#include "erlangPV1Worker.h"

#include "erlangSAN.h"

erlangPV1Worker::erlangPV1Worker() {
    NumModelRefs = 1;
    // The node stores the worker's erlangSAN instance through this entry;
    // erlangSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&erlang);
}

erlangPV1Worker::~erlangPV1Worker() {
    delete[] ModelRefs;
}

double erlangPV1Worker::Reward_Function() {
    return erlang->qa->getMark() + erlang->qb->getMark() == 0 ? 1.0 : 0.0;
}
