#include "kanbanRewPV.h"

#include "kanbanRewPVWorker.h"

#include <string>

kanbanRewPV::kanbanRewPV(int variable, int timeIndex) : Variable(variable) {
    ModelRefs = &ModelSlot;
    double starts[] = {10.0};
    double stops[] = {10.0};
    if (variable < 4) {
        std::string station = std::to_string(variable + 1);
        Initialize(("wip" + station).c_str(), InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1,
                   3);
        for (const char* place : {"Pm", "Pback", "Pout"})
            AddVariableDependency((place + station).c_str(), "kanban");
    } else {
        Initialize("free_kanbans", InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1, 4);
        for (int i = 1; i <= 4; ++i)
            AddVariableDependency(("Pkan" + std::to_string(i)).c_str(), "kanban");
    }
}

kanbanRewPV::~kanbanRewPV() {
    if (Workers == nullptr)
        return;
    for (int w = 0; w < NumWorkers; ++w) {
        if (Workers[w] == nullptr)
            continue;
        delete[] Workers[w]->Name;
        Workers[w]->Name = nullptr;
        delete Workers[w];
        Workers[w] = nullptr;
    }
}

void kanbanRewPV::CreateWorkerList() {
    for (int w = 0; w < NumWorkers; ++w)
        Workers[w] = new kanbanRewPVWorker(Variable);
}
