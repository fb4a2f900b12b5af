#include "study_erlang.h"

#include "GlobalVariables.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "erlangPVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

// The model's global variables: set by the study, read by the SAN and the reward model.
int C = 0;
double lambda_a = 0;
double lambda_b = 0;
double mu = 0;
double w_a = 0;
double w_b = 0;
int k_arrival = 0;
int k_service = 0;

namespace {

constexpr int numGlobals = 8;
constexpr int numExperiments = 6;

const char* const globalNames[numGlobals] = {"C",   "lambda_a", "lambda_b",  "mu",
                                             "w_a", "w_b",      "k_arrival", "k_service"};
const char* const globalTypes[numGlobals] = {"int",    "double", "double", "double",
                                             "double", "double", "int",    "int"};

// Experiments 1 to 5 grow the buffers and vary the phases; experiment 6 weighs
// both classes alike.
constexpr int CColumn[numExperiments] = {1, 2, 3, 5, 10, 2};
constexpr int k_arrivalColumn[numExperiments] = {2, 2, 3, 2, 3, 2};
constexpr int k_serviceColumn[numExperiments] = {2, 3, 2, 4, 3, 2};
constexpr double w_aColumn[numExperiments] = {3.0, 3.0, 3.0, 3.0, 3.0, 1.0};

char* duplicate(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}

template <class Cell> Cell* newColumn() {
    return new Cell[numExperiments];
}

template <class Cell> void copyColumn(Cell* column, const Cell* values) {
    for (int e = 0; e < numExperiments; ++e)
        column[e] = values[e];
}

void fillColumn(double* column, double value) {
    for (int e = 0; e < numExperiments; ++e)
        column[e] = value;
}

// Position of the global variable named `name`, or -1.
int findGlobal(const char* name) {
    for (int i = 0; i < numGlobals; ++i)
        if (std::strcmp(name, globalNames[i]) == 0)
            return i;
    return -1;
}

// The int variable at position i, or null when it is a double.
int* intGlobal(int i) {
    int* const variables[numGlobals] = {&C,      nullptr, nullptr,    nullptr,
                                        nullptr, nullptr, &k_arrival, &k_service};
    return variables[i];
}

double* doubleGlobal(int i) {
    double* const variables[numGlobals] = {nullptr, &lambda_a, &lambda_b, &mu,
                                           &w_a,    &w_b,      nullptr,   nullptr};
    return variables[i];
}

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_erlang();
    return GlobalStudyPtr;
}

study_erlang::study_erlang() {
    NumGVs = numGlobals;
    NumExps = numExperiments;
    GVNames = new char*[NumGVs];
    GVTypes = new char*[NumGVs];
    for (int i = 0; i < NumGVs; ++i) {
        GVNames[i] = duplicate(globalNames[i]);
        GVTypes[i] = duplicate(globalTypes[i]);
    }
    CValues = newColumn<int>();
    lambda_aValues = newColumn<double>();
    lambda_bValues = newColumn<double>();
    muValues = newColumn<double>();
    w_aValues = newColumn<double>();
    w_bValues = newColumn<double>();
    k_arrivalValues = newColumn<int>();
    k_serviceValues = newColumn<int>();
    SetValues_C();
    SetValues_lambda_a();
    SetValues_lambda_b();
    SetValues_mu();
    SetValues_w_a();
    SetValues_w_b();
    SetValues_k_arrival();
    SetValues_k_service();
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

study_erlang::~study_erlang() {
    delete[] CValues;
    delete[] lambda_aValues;
    delete[] lambda_bValues;
    delete[] muValues;
    delete[] w_aValues;
    delete[] w_bValues;
    delete[] k_arrivalValues;
    delete[] k_serviceValues;
    delete ThePVModel;
}

void study_erlang::SetValues_C() {
    copyColumn(CValues, CColumn);
}
void study_erlang::SetValues_lambda_a() {
    fillColumn(lambda_aValues, 0.5);
}
void study_erlang::SetValues_lambda_b() {
    fillColumn(lambda_bValues, 0.25);
}
void study_erlang::SetValues_mu() {
    fillColumn(muValues, 4.0);
}
void study_erlang::SetValues_w_a() {
    copyColumn(w_aValues, w_aColumn);
}
void study_erlang::SetValues_w_b() {
    fillColumn(w_bValues, 1.0);
}
void study_erlang::SetValues_k_arrival() {
    copyColumn(k_arrivalValues, k_arrivalColumn);
}
void study_erlang::SetValues_k_service() {
    copyColumn(k_serviceValues, k_serviceColumn);
}

PVModel* study_erlang::GetPVModel(bool expandTimePoints) {
    delete ThePVModel;
    ThePVModel = new erlangPVModel(expandTimePoints);
    return ThePVModel;
}

void study_erlang::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_erlang");
    C = CValues[exp];
    lambda_a = lambda_aValues[exp];
    lambda_b = lambda_bValues[exp];
    mu = muValues[exp];
    w_a = w_aValues[exp];
    w_b = w_bValues[exp];
    k_arrival = k_arrivalValues[exp];
    k_service = k_serviceValues[exp];
}

void study_erlang::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    std::cout << "C\tint\t" << C << std::endl;
    std::cout << "lambda_a\tdouble\t" << lambda_a << std::endl;
    std::cout << "lambda_b\tdouble\t" << lambda_b << std::endl;
    std::cout << "mu\tdouble\t" << mu << std::endl;
    std::cout << "w_a\tdouble\t" << w_a << std::endl;
    std::cout << "w_b\tdouble\t" << w_b << std::endl;
    std::cout << "k_arrival\tint\t" << k_arrival << std::endl;
    std::cout << "k_service\tint\t" << k_service << std::endl;
}

void* study_erlang::GetGVValue(const char* name) {
    int i = findGlobal(name);
    if (i < 0) {
        std::cerr << "!! study_erlang::GetGVValue: Global Variable " << name << " does not exist."
                  << std::endl;
        return nullptr;
    }
    if (int* variable = intGlobal(i))
        return variable;
    return doubleGlobal(i);
}

void study_erlang::OverrideGVValue(const char* name, const void* value) {
    int i = findGlobal(name);
    if (i < 0) {
        std::cerr << "!! study_erlang::OverrideGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return;
    }
    if (int* variable = intGlobal(i))
        *variable = *static_cast<const int*>(value);
    else
        *doubleGlobal(i) = *static_cast<const double*>(value);
}
