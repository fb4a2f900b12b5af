#pragma once
// multiprocPVModel: the reward model over the SAN multiprocSAN, with the
// performance variables "availability" and "cost".

#include "pv/PVModel.h"

class multiprocPVModel : public PVModel {
public:
    // Builds the SAN and the variables' nodes; expandTimePoints gives one node per
    // time point of a variable with several.
    explicit multiprocPVModel(bool expandTimePoints);
    ~multiprocPVModel() override = default;
    multiprocPVModel(const multiprocPVModel&) = delete;
    multiprocPVModel& operator=(const multiprocPVModel&) = delete;

    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
