#pragma once
// study_counterStudy: the counter model's study over its global variables Size
// and Width (both int). Size is 3, 100000 (an .arm file of about 3 MB) and
// 13000000 (an index of 31000303 entries) in experiments 0 to 2; Width is 0
// (overrides set it, and Size beyond them: bench/large.sh runs past 35.5 million).

#include "study/TabulatedStudy.h"

class study_counterStudy : public TabulatedStudy {
public:
    // Declares Size and Width and their columns.
    study_counterStudy();
    study_counterStudy(const study_counterStudy&) = delete;
    study_counterStudy& operator=(const study_counterStudy&) = delete;

    // Builds the reward model counterPVModel, replacing the one built before.
    PVModel* GetPVModel(bool expandTimePoints) override;
};
