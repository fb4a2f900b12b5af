#include "pv/PerformanceVariableWorker.h"

#include "base/Errors.h"

#include <iostream>

// Name belongs to the node: the generated node's destructor frees each worker's
// name and then deletes the worker, so the worker leaves it alone.
PerformanceVariableWorker::~PerformanceVariableWorker() = default;

void PerformanceVariableWorker::CurrentReward() {
    std::cerr << "!! Calling PerformanceVariableWorker::CurrentReward()" << std::endl;
}

void PerformanceVariableWorker::Reset() {
    Reward = 0.0;
    RewardSquared = 0.0;
}

void PerformanceVariableWorker::DefineName(const char* name, int number) {
    char* copy = copyText(name);
    delete[] Name;
    Name = copy;
    WorkerNumber = number;
}
