#pragma once
// study_timer: the sensor-report model's study, five experiments over the global
// variables R (int), P, T, mu and loss (double).

#include "study/BaseStudyClass.h"

class study_timer : public BaseStudyClass {
public:
    study_timer();
    ~study_timer() override;
    study_timer(const study_timer&) = delete;
    study_timer& operator=(const study_timer&) = delete;

    PVModel* GetPVModel(bool expandTimePoints) override;
    void SetGVs(int exp) override;
    void PrintGlobalValues(int exp) override;
    void* GetGVValue(const char* name) override;
    void OverrideGVValue(const char* name, const void* value) override;

    // Each fills one variable's value array with its column of the experiment table.
    void SetValues_R();
    void SetValues_P();
    void SetValues_T();
    void SetValues_mu();
    void SetValues_loss();

private:
    int* RValues;       // owned, NumExps entries
    double* PValues;    // owned, NumExps entries
    double* TValues;    // owned, NumExps entries
    double* muValues;   // owned, NumExps entries
    double* lossValues; // owned, NumExps entries
};
