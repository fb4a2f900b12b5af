#pragma once
// counterPVModel: the reward model over counterSAN, without performance
// variables (the .var records hold only the state numbers).

#include "pv/PVModel.h"

class counterPVModel : public PVModel {
public:
    explicit counterPVModel(bool expandTimePoints);
    ~counterPVModel() override = default;
    counterPVModel(const counterPVModel&) = delete;
    counterPVModel& operator=(const counterPVModel&) = delete;

    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
};
