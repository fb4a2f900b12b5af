#pragma once
// kanbanRewPVModel: the reward model over the SAN kanbanSAN, with five
// performance variables observed at time 10: wip1 .. wip4, the parts at each
// station (in work, in rework or finished), and free_kanbans, the free cards
// of all stations.

#include "pv/PVModel.h"

class kanbanRewPVModel : public PVModel {
public:
    // Builds the SAN (for the current value of N) and the variables' nodes.
    explicit kanbanRewPVModel(bool expandTimePoints);
    ~kanbanRewPVModel() override = default;
    kanbanRewPVModel(const kanbanRewPVModel&) = delete;
    kanbanRewPVModel& operator=(const kanbanRewPVModel&) = delete;

    static constexpr int NumVariables = 5;
    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
