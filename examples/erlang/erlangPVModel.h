#pragma once
// erlangPVModel: the reward model over the SAN erlangSAN, with the performance
// variables "jobs" and "idle".

#include "pv/PVModel.h"

class erlangPVModel : public PVModel {
public:
    // Builds the SAN and the variables' nodes; expandTimePoints gives one node per
    // time point of a variable with several.
    explicit erlangPVModel(bool expandTimePoints);
    ~erlangPVModel() override = default;
    erlangPVModel(const erlangPVModel&) = delete;
    erlangPVModel& operator=(const erlangPVModel&) = delete;

    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
