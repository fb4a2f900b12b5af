#include "erlangPV0Worker.h"

#include "erlangSAN.h"

erlangPV0Worker::erlangPV0Worker() {
    NumModelRefs = 1;
    // The node stores the worker's erlangSAN instance through this entry;
    // erlangSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass**[1];
    ModelRefs[0] = reinterpret_cast<BaseModelClass**>(&erlang);
}

erlangPV0Worker::~erlangPV0Worker() {
    delete[] ModelRefs;
}

double erlangPV0Worker::Reward_Function() {
    return erlang->qa->getMark() + erlang->qb->getMark();
}
