#include "pollingRewPVModel.h"

#include "pollingRewPV0.h"
#include "pollingSAN.h"

pollingRewPVModel::pollingRewPVModel(bool expandTimePoints) {
    SubModel = new pollingSAN();
    DefineName("pollingRewPVModel");
    CreatePVList(1, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* pollingRewPVModel::createPVNode(int pvIndex, int timeIndex) {
    if (pvIndex == 0)
        return new pollingRewPV0(timeIndex);
    return nullptr;
}
