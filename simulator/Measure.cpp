#include "Measure.h"

#include "pv/PVModel.h"

#include <algorithm>
#include <cstring>
#include <limits>

std::vector<Measure> listMeasures(PVModel* model) {
    std::vector<Measure> measures;
    for (int p = 0; p < model->NumPVs; ++p) {
        PerformanceVariableNode* node = model->PVList[p];
        const bool untilAbsorption =
            std::any_of(model->UntilAbsorption, model->UntilAbsorption + model->NumUntilAbsorption,
                        [&](const char* name) { return std::strcmp(name, node->Name) == 0; });
        if (untilAbsorption) {
            measures.push_back({p, IntervalOfTimeType, 0.0, std::numeric_limits<double>::infinity(),
                                node->Name, true});
            continue;
        }
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
