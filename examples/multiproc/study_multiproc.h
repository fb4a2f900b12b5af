#pragma once
// study_multiproc: the multiprocessor model's study, six experiments over the
// global variables K (int), lambda, mu, rho, coverage and crash_cost (double).

#include "study/BaseStudyClass.h"

class study_multiproc : public BaseStudyClass {
public:
    study_multiproc();
    ~study_multiproc() override;
    study_multiproc(const study_multiproc&) = delete;
    study_multiproc& operator=(const study_multiproc&) = delete;

    PVModel* GetPVModel(bool expandTimePoints) override;
    void SetGVs(int exp) override;
    void PrintGlobalValues(int exp) override;
    void* GetGVValue(const char* name) override;
    void OverrideGVValue(const char* name, const void* value) override;

    // Each fills one variable's value array with its column of the experiment table.
    void SetValues_K();
    void SetValues_lambda();
    void SetValues_mu();
    void SetValues_rho();
    void SetValues_coverage();
    void SetValues_crash_cost();

private:
    int* KValues;             // owned, NumExps entries
    double* lambdaValues;     // owned, NumExps entries
    double* muValues;         // owned, NumExps entries
    double* rhoValues;        // owned, NumExps entries
    double* coverageValues;   // owned, NumExps entries
    double* crash_costValues; // owned, NumExps entries
};
