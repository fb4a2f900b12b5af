#include "kanbanRewPVWorker.h"

#include "kanbanSAN.h"

kanbanRewPVWorker::kanbanRewPVWorker(int variable) : Variable(variable) {
    NumModelRefs = 1;
    // The node stores the worker's kanbanSAN instance through this entry;
    // kanbanSAN derives from BaseModelClass alone, so both pointers are the same.
    ModelRefs = new BaseModelClass** [1] { reinterpret_cast<BaseModelClass**>(&kanban) };
}

kanbanRewPVWorker::~kanbanRewPVWorker() {
    delete[] ModelRefs;
}

double kanbanRewPVWorker::Reward_Function() {
    if (Variable < kanbanSAN::NumStations) {
        int i = Variable;
        return kanban->Pm[i]->getMark() + kanban->Pback[i]->getMark() + kanban->Pout[i]->getMark();
    }
    int free = 0;
    for (int i = 0; i < kanbanSAN::NumStations; ++i)
        free += kanban->Pkan[i]->getMark();
    return free;
}
