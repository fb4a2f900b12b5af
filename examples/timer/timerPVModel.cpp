#include "timerPVModel.h"

#include "timerPV0.h"
#include "timerPV1.h"
#include "timerSAN.h"

timerPVModel::timerPVModel(bool expandTimePoints) {
    SubModel = new timerSAN();
    DefineName("timerPVModel");
    CreatePVList(2, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* timerPVModel::createPVNode(int pvIndex, int timeIndex) {
    switch (pvIndex) {
    case 0:
        return new timerPV0(timeIndex);
    case 1:
        return new timerPV1(timeIndex);
    default:
        return nullptr;
    }
}
