#pragma once
// study_pollingRangeStudy: the polling model's study, nineteen experiments over
// the one global variable N (int), the number of stations: experiment k (from 0)
// has N = k + 2, so N ranges over 2 .. 20.

#include "study/TabulatedStudy.h"

class study_pollingRangeStudy : public TabulatedStudy {
public:
    // Declares N and its column.
    study_pollingRangeStudy();
    study_pollingRangeStudy(const study_pollingRangeStudy&) = delete;
    study_pollingRangeStudy& operator=(const study_pollingRangeStudy&) = delete;

    // Builds the reward model pollingRewPVModel, replacing the one built before.
    PVModel* GetPVModel(bool expandTimePoints) override;
};
