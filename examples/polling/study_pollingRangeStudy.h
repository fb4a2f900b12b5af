#pragma once
// study_pollingRangeStudy: the polling model's study, nineteen experiments over
// the one global variable N (int), the number of stations: experiment k (from 0)
// has N = k + 2, so N ranges over 2 .. 20.

#include "study/BaseStudyClass.h"

class study_pollingRangeStudy : public BaseStudyClass {
public:
    study_pollingRangeStudy();
    // Deletes the value array and the reward model, if one was built.
    ~study_pollingRangeStudy() override;
    study_pollingRangeStudy(const study_pollingRangeStudy&) = delete;
    study_pollingRangeStudy& operator=(const study_pollingRangeStudy&) = delete;

    PVModel* GetPVModel(bool expandTimePoints) override;
    void SetGVs(int exp) override;
    void PrintGlobalValues(int exp) override;
    void* GetGVValue(const char* name) override;
    void OverrideGVValue(const char* name, const void* value) override;

    // Fills N's value array with its column of the experiment table.
    void SetValues_N();

private:
    int* NValues; // owned, NumExps entries
};
