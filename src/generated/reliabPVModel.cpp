#include "generated/reliabPVModel.h"

#include "generated/computerSAN.h"
#include "generated/reliabPV0.h"

reliabPVModel::reliabPVModel(bool expandTimePoints) {
    SubModel = new computerSAN();
    DefineName("reliabPVModel");
    CreatePVList(1, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* reliabPVModel::createPVNode(int pvIndex, int timeIndex) {
    if (pvIndex == 0)
        return new reliabPV0(timeIndex);
    return nullptr;
}
