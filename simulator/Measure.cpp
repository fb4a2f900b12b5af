#include "Measure.h"

#include "pv/PVModel.h"

std::vector<Measure> listMeasures(PVModel* model) {
    std::vector<Measure> measures;
    for (int p = 0; p < model->NumPVs; ++p) {
        PerformanceVariableNode* node = model->PVList[p];
        if (node->GetRewardType() == SteadyStateType) {
            measures.push_back({p, SteadyStateType, 0.0, 0.0, node->Name});
            continue;
        }
        for (int k = 0; k < node->GetNumTimePoints(); ++k)
            measures.push_back({p, node->GetRewardType(), node->GetStartTime(k),
                                node->GetStopTime(k), node->Name});
    }
    return measures;
}
