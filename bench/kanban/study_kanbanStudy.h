#pragma once
// study_kanbanStudy: the kanban model's study, six experiments over the one
// global variable N (int), the kanban cards per station: experiment k (from 0)
// has N = k + 1, so N ranges over 1 .. 6.

#include "study/BaseStudyClass.h"

class study_kanbanStudy : public BaseStudyClass {
public:
    study_kanbanStudy();
    // Deletes the value array and the reward model, if one was built.
    ~study_kanbanStudy() override;
    study_kanbanStudy(const study_kanbanStudy&) = delete;
    study_kanbanStudy& operator=(const study_kanbanStudy&) = delete;

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
