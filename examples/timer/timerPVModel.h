#pragma once
// timerPVModel: the reward model over the SAN timerSAN, with the performance
// variables "outstanding" and "losses".

#include "pv/PVModel.h"

class timerPVModel : public PVModel {
public:
    // Builds the SAN and the variables' nodes; expandTimePoints gives one node per
    // time point of a variable with several.
    explicit timerPVModel(bool expandTimePoints);
    ~timerPVModel() override = default;
    timerPVModel(const timerPVModel&) = delete;
    timerPVModel& operator=(const timerPVModel&) = delete;

    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
