#pragma once
// reliabPVModel: the reward model over the SAN computerSAN, with the one
// performance variable "reliability".

#include "pv/PVModel.h"

class reliabPVModel : public PVModel {
public:
    // Builds the SAN and the variable's node(s); expandTimePoints gives one node
    // per time point of a variable with several.
    explicit reliabPVModel(bool expandTimePoints);
    ~reliabPVModel() override = default;
    reliabPVModel(const reliabPVModel&) = delete;
    reliabPVModel& operator=(const reliabPVModel&) = delete;

    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
