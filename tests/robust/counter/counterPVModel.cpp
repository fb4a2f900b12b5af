#include "counterPVModel.h"

#include "counterSAN.h"

counterPVModel::counterPVModel(bool expandTimePoints) {
    SubModel = new counterSAN();
    DefineName("counterPVModel");
    CreatePVList(0, expandTimePoints);
    Initialize();
}

PerformanceVariableNode* counterPVModel::createPVNode(int, int) {
    return nullptr;
}
