#include "kanbanRewPVModel.h"

#include "kanbanRewPV.h"
#include "kanbanSAN.h"

kanbanRewPVModel::kanbanRewPVModel(bool expandTimePoints) {
    SubModel = new kanbanSAN();
    DefineName("kanbanRewPVModel");
    CreatePVList(NumVariables, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* kanbanRewPVModel::createPVNode(int pvIndex, int timeIndex) {
    if (pvIndex >= 0 && pvIndex < NumVariables)
        return new kanbanRewPV(pvIndex, timeIndex);
    return nullptr;
}
