#include "firing/ImpulseTally.h"

#include "base/NewArray.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"

ImpulseTally::ImpulseTally(PVModel* model)
    : Model(model), Count(static_cast<std::uint32_t>(model->NumPVs > 0 ? model->NumPVs : 0)),
      Sums(newArray<double>(Count)) {
    for (std::uint32_t p = 0; p < Count; ++p)
        Active = Active || Model->PVList[p]->NumImpulses > 0;
    clear();
}

void ImpulseTally::add(BaseActionClass* action, double weight) {
    PerformanceVariableNode** nodes = Model->PVList;
    for (std::uint32_t p = 0; p < Count; ++p) {
        if (nodes[p]->NumImpulses > 0)
            Sums[p] += weight * nodes[p]->FiringImpulse(action);
    }
}

void ImpulseTally::clear() {
    for (std::uint32_t p = 0; p < Count; ++p)
        Sums[p] = 0.0;
}
