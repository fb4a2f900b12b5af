#pragma once
// study_erlang: the two-class server model's study, six experiments over the
// global variables C, k_arrival, k_service (int) and lambda_a, lambda_b, mu, w_a,
// w_b (double).

#include "study/BaseStudyClass.h"

class study_erlang : public BaseStudyClass {
public:
    study_erlang();
    ~study_erlang() override;
    study_erlang(const study_erlang&) = delete;
    study_erlang& operator=(const study_erlang&) = delete;

    PVModel* GetPVModel(bool expandTimePoints) override;
    void SetGVs(int exp) override;
    void PrintGlobalValues(int exp) override;
    void* GetGVValue(const char* name) override;
    void OverrideGVValue(const char* name, const void* value) override;

    // Each fills one variable's value array with its column of the experiment table.
    void SetValues_C();
    void SetValues_lambda_a();
    void SetValues_lambda_b();
    void SetValues_mu();
    void SetValues_w_a();
    void SetValues_w_b();
    void SetValues_k_arrival();
    void SetValues_k_service();

private:
    int* CValues;           // owned, NumExps entries
    double* lambda_aValues; // owned, NumExps entries
    double* lambda_bValues; // owned, NumExps entries
    double* muValues;       // owned, NumExps entries
    double* w_aValues;      // owned, NumExps entries
    double* w_bValues;      // owned, NumExps entries
    int* k_arrivalValues;   // owned, NumExps entries
    int* k_serviceValues;   // owned, NumExps entries
};
