#pragma once
// pollingRewPVModel: the reward model over the SAN pollingSAN, with the one
// performance variable "waiting", the expected number of waiting jobs.

#include "pv/PVModel.h"

class pollingRewPVModel : public PVModel {
public:
    // Builds the SAN (for the current value of N) and the variable's node(s);
    // expandTimePoints gives one node per time point of a variable with several.
    explicit pollingRewPVModel(bool expandTimePoints);
    ~pollingRewPVModel() override = default;
    pollingRewPVModel(const pollingRewPVModel&) = delete;
    pollingRewPVModel& operator=(const pollingRewPVModel&) = delete;

    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
