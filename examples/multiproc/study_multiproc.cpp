#include "study_multiproc.h"

#include "GlobalVariables.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "multiprocPVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

// The model's global variables: set by the study, read by the SAN and the reward model.
int K = 0;
double lambda = 0;
double mu = 0;
double rho = 0;
double coverage = 0;
double crash_cost = 0;

namespace {

constexpr int numGlobals = 6;
constexpr int numExperiments = 6;

const char* const globalNames[numGlobals] = {"K", "lambda", "mu", "rho", "coverage", "crash_cost"};
const char* const globalTypes[numGlobals] = {"int",    "double", "double",
                                             "double", "double", "double"};

// Experiments 1 to 5 grow the machine; experiment 6 has perfect coverage.
constexpr int KColumn[numExperiments] = {2, 3, 5, 10, 20, 3};
constexpr double coverageColumn[numExperiments] = {0.95, 0.95, 0.95, 0.95, 0.95, 1.0};

char* duplicate(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}

template <class Cell> Cell* newColumn() {
    return new Cell[numExperiments];
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

double* doubleGlobal(int i) {
    double* const variables[numGlobals] = {nullptr, &lambda, &mu, &rho, &coverage, &crash_cost};
    return variables[i];
}

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_multiproc();
    return GlobalStudyPtr;
}

study_multiproc::study_multiproc() {
    NumGVs = numGlobals;
    NumExps = numExperiments;
    GVNames = new char*[NumGVs];
    GVTypes = new char*[NumGVs];
    for (int i = 0; i < NumGVs; ++i) {
        GVNames[i] = duplicate(globalNames[i]);
        GVTypes[i] = duplicate(globalTypes[i]);
    }
    KValues = newColumn<int>();
    lambdaValues = newColumn<double>();
    muValues = newColumn<double>();
    rhoValues = newColumn<double>();
    coverageValues = newColumn<double>();
    crash_costValues = newColumn<double>();
    SetValues_K();
    SetValues_lambda();
    SetValues_mu();
    SetValues_rho();
    SetValues_coverage();
    SetValues_crash_cost();
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

study_multiproc::~study_multiproc() {
    delete[] KValues;
    delete[] lambdaValues;
    delete[] muValues;
    delete[] rhoValues;
    delete[] coverageValues;
    delete[] crash_costValues;
    delete ThePVModel;
}

void study_multiproc::SetValues_K() {
    for (int e = 0; e < numExperiments; ++e)
        KValues[e] = KColumn[e];
}

void study_multiproc::SetValues_lambda() {
    fillColumn(lambdaValues, 0.001);
}
void study_multiproc::SetValues_mu() {
    fillColumn(muValues, 0.1);
}
void study_multiproc::SetValues_rho() {
    fillColumn(rhoValues, 1.0);
}

void study_multiproc::SetValues_coverage() {
    for (int e = 0; e < numExperiments; ++e)
        coverageValues[e] = coverageColumn[e];
}

void study_multiproc::SetValues_crash_cost() {
    fillColumn(crash_costValues, 100.0);
}

PVModel* study_multiproc::GetPVModel(bool expandTimePoints) {
    delete ThePVModel;
    ThePVModel = new multiprocPVModel(expandTimePoints);
    return ThePVModel;
}

void study_multiproc::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_multiproc");
    K = KValues[exp];
    lambda = lambdaValues[exp];
    mu = muValues[exp];
    rho = rhoValues[exp];
    coverage = coverageValues[exp];
    crash_cost = crash_costValues[exp];
}

void study_multiproc::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    std::cout << "K\tint\t" << K << std::endl;
    std::cout << "lambda\tdouble\t" << lambda << std::endl;
    std::cout << "mu\tdouble\t" << mu << std::endl;
    std::cout << "rho\tdouble\t" << rho << std::endl;
    std::cout << "coverage\tdouble\t" << coverage << std::endl;
    std::cout << "crash_cost\tdouble\t" << crash_cost << std::endl;
}

void* study_multiproc::GetGVValue(const char* name) {
    int i = findGlobal(name);
    if (i < 0) {
        std::cerr << "!! study_multiproc::GetGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return nullptr;
    }
    if (i == 0)
        return &K;
    return doubleGlobal(i);
}

void study_multiproc::OverrideGVValue(const char* name, const void* value) {
    int i = findGlobal(name);
    if (i < 0) {
        std::cerr << "!! study_multiproc::OverrideGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return;
    }
    if (i == 0)
        K = *static_cast<const int*>(value);
    else
        *doubleGlobal(i) = *static_cast<const double*>(value);
}
