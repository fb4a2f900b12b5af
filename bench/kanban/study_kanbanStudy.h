#pragma once
// study_kanbanStudy: the kanban model's study, six experiments over the one
// global variable N (int), the kanban cards per station: experiment k (from 0)
// has N = k + 1, so N ranges over 1 .. 6.

#include "study/TabulatedStudy.h"

class study_kanbanStudy : public TabulatedStudy {
public:
    // Declares N and its column.
    study_kanbanStudy();
    study_kanbanStudy(const study_kanbanStudy&) = delete;
    study_kanbanStudy& operator=(const study_kanbanStudy&) = delete;

    // Builds the reward model kanbanRewPVModel, replacing the one built before.
    PVModel* GetPVModel(bool expandTimePoints) override;
};
