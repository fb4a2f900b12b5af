#include "study_timer.h"

#include "GlobalVariables.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "timerPVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

// The model's global variables: set by the study, read by the SAN and the reward model.
int R = 0;
double P = 0;
double T = 0;
double mu = 0;
double loss = 0;

namespace {

constexpr int numGlobals = 5;
constexpr int numExperiments = 5;

const char* const globalNames[numGlobals] = {"R", "P", "T", "mu", "loss"};
const char* const globalTypes[numGlobals] = {"int", "double", "double", "double", "double"};

// Experiment 3 gives both timers the same delay; experiment 4 has a perfect link.
constexpr int RColumn[numExperiments] = {1, 3, 2, 2, 10};
constexpr double PColumn[numExperiments] = {10.0, 10.0, 2.0, 10.0, 10.0};
constexpr double TColumn[numExperiments] = {2.0, 2.0, 2.0, 2.0, 2.5};
constexpr double lossColumn[numExperiments] = {0.25, 0.25, 0.25, 0.0, 0.1};

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

// Position of the global variable named `name`, or -1.
int findGlobal(const char* name) {
    for (int i = 0; i < numGlobals; ++i)
        if (std::strcmp(name, globalNames[i]) == 0)
            return i;
    return -1;
}

double* doubleGlobal(int i) {
    double* const variables[numGlobals] = {nullptr, &P, &T, &mu, &loss};
    return variables[i];
}

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_timer();
    return GlobalStudyPtr;
}

study_timer::study_timer() {
    NumGVs = numGlobals;
    NumExps = numExperiments;
    GVNames = new char*[NumGVs];
    GVTypes = new char*[NumGVs];
    for (int i = 0; i < NumGVs; ++i) {
        GVNames[i] = duplicate(globalNames[i]);
        GVTypes[i] = duplicate(globalTypes[i]);
    }
    RValues = newColumn<int>();
    PValues = newColumn<double>();
    TValues = newColumn<double>();
    muValues = newColumn<double>();
    lossValues = newColumn<double>();
    SetValues_R();
    SetValues_P();
    SetValues_T();
    SetValues_mu();
    SetValues_loss();
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

study_timer::~study_timer() {
    delete[] RValues;
    delete[] PValues;
    delete[] TValues;
    delete[] muValues;
    delete[] lossValues;
    delete ThePVModel;
}

void study_timer::SetValues_R() {
    copyColumn(RValues, RColumn);
}
void study_timer::SetValues_P() {
    copyColumn(PValues, PColumn);
}
void study_timer::SetValues_T() {
    copyColumn(TValues, TColumn);
}

void study_timer::SetValues_mu() {
    for (int e = 0; e < numExperiments; ++e)
        muValues[e] = 0.5;
}

void study_timer::SetValues_loss() {
    copyColumn(lossValues, lossColumn);
}

PVModel* study_timer::GetPVModel(bool expandTimePoints) {
    delete ThePVModel;
    ThePVModel = new timerPVModel(expandTimePoints);
    return ThePVModel;
}

void study_timer::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_timer");
    R = RValues[exp];
    P = PValues[exp];
    T = TValues[exp];
    mu = muValues[exp];
    loss = lossValues[exp];
}

void study_timer::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    std::cout << "R\tint\t" << R << std::endl;
    std::cout << "P\tdouble\t" << P << std::endl;
    std::cout << "T\tdouble\t" << T << std::endl;
    std::cout << "mu\tdouble\t" << mu << std::endl;
    std::cout << "loss\tdouble\t" << loss << std::endl;
}

void* study_timer::GetGVValue(const char* name) {
    int i = findGlobal(name);
    if (i < 0) {
        std::cerr << "!! study_timer::GetGVValue: Global Variable " << name << " does not exist."
                  << std::endl;
        return nullptr;
    }
    if (i == 0)
        return &R;
    return doubleGlobal(i);
}

void study_timer::OverrideGVValue(const char* name, const void* value) {
    int i = findGlobal(name);
    if (i < 0) {
        std::cerr << "!! study_timer::OverrideGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return;
    }
    if (i == 0)
        R = *static_cast<const int*>(value);
    else
        *doubleGlobal(i) = *static_cast<const double*>(value);
}
