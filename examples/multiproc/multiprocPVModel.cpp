#include "multiprocPVModel.h"

#include "multiprocPV0.h"
#include "multiprocPV1.h"
#include "multiprocSAN.h"

multiprocPVModel::multiprocPVModel(bool expandTimePoints) {
    SubModel = new multiprocSAN();
    DefineName("multiprocPVModel");
    CreatePVList(2, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* multiprocPVModel::createPVNode(int pvIndex, int timeIndex) {
    switch (pvIndex) {
    case 0:
        return new multiprocPV0(timeIndex);
    case 1:
        return new multiprocPV1(timeIndex);
    default:
        return nullptr;
    }
}
