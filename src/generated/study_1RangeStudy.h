#pragma once
// study_1RangeStudy: the shipped model's study, ten experiments over the global
// variables alpha, beta, lambda_i and lambda_w (all double).

#include "study/BaseStudyClass.h"

class study_1RangeStudy : public BaseStudyClass {
public:
    study_1RangeStudy();
    ~study_1RangeStudy() override;
    study_1RangeStudy(const study_1RangeStudy&) = delete;
    study_1RangeStudy& operator=(const study_1RangeStudy&) = delete;

    PVModel* GetPVModel(bool expandTimePoints) override;
    void SetGVs(int exp) override;
    void PrintGlobalValues(int exp) override;
    void* GetGVValue(const char* name) override;
    void OverrideGVValue(const char* name, const void* value) override;

    // Each fills one variable's value array with its column of the experiment table.
    void SetValues_alpha();
    void SetValues_beta();
    void SetValues_lambda_i();
    void SetValues_lambda_w();

private:
    double* alphaValues;    // owned, NumExps entries
    double* betaValues;     // owned, NumExps entries
    double* lambda_iValues; // owned, NumExps entries
    double* lambda_wValues; // owned, NumExps entries
};
