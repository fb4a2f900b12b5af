#pragma once
// study_1RangeStudy: the shipped model's study, ten experiments over the global
// variables alpha, beta, lambda_i and lambda_w (all double).

#include "study/TabulatedStudy.h"

class study_1RangeStudy : public TabulatedStudy {
public:
    // Declares the four variables and their columns.
    study_1RangeStudy();
    study_1RangeStudy(const study_1RangeStudy&) = delete;
    study_1RangeStudy& operator=(const study_1RangeStudy&) = delete;

    // Builds the reward model reliabPVModel, replacing the one built before.
    PVModel* GetPVModel(bool expandTimePoints) override;
};
