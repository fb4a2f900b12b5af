#include "erlangPVModel.h"

#include "erlangPV0.h"
#include "erlangPV1.h"
#include "erlangSAN.h"

erlangPVModel::erlangPVModel(bool expandTimePoints) {
    SubModel = new erlangSAN();
    DefineName("erlangPVModel");
    CreatePVList(2, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* erlangPVModel::createPVNode(int pvIndex, int timeIndex) {
    switch (pvIndex) {
    case 0:
        return new erlangPV0(timeIndex);
    case 1:
        return new erlangPV1(timeIndex);
    default:
        return nullptr;
    }
}
