#include "study_1RangeStudy.h"

#include "GlobalVariables.h"
#include "reliabPVModel.h"
#include "base/Assert.h"
#include "base/Errors.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

// The model's global variables: set by the study, read by the SAN.
double alpha = 0;
double beta = 0;
double lambda_i = 0;
double lambda_w = 0;

namespace {

constexpr int numGlobals = 4;
constexpr int numExperiments = 10;

const char* const globalNames[numGlobals] = {"alpha", "beta", "lambda_i", "lambda_w"};

// lambda_w ranges from 1e-6 in steps of 1e-6, each entry the previous one plus 1e-6
// in double arithmetic (hence 4.9999999999999996e-6 rather than 5e-6).
constexpr double lambda_wColumn[numExperiments] = {
    1e-6, 2e-6, 3e-6, 4e-6, 4.9999999999999996e-6, 5.999999999999999e-6, 6.999999999999999e-6,
    8e-6, 9e-6, 1e-5};

char* duplicate(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}

double* newColumn() {
    return new double[numExperiments];
}

void fillColumn(double* column, double value) {
    for (int e = 0; e < numExperiments; ++e)
        column[e] = value;
}

// The global variable named `name`, or null.
double* findGlobal(const char* name) {
    double* const variables[numGlobals] = {&alpha, &beta, &lambda_i, &lambda_w};
    for (int i = 0; i < numGlobals; ++i)
        if (std::strcmp(name, globalNames[i]) == 0)
            return variables[i];
    return nullptr;
}

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_1RangeStudy();
    return GlobalStudyPtr;
}

study_1RangeStudy::study_1RangeStudy() {
    NumGVs = numGlobals;
    NumExps = numExperiments;
    GVNames = new char*[NumGVs];
    GVTypes = new char*[NumGVs];
    for (int i = 0; i < NumGVs; ++i) {
        GVNames[i] = duplicate(globalNames[i]);
        GVTypes[i] = duplicate("double");
    }
    alphaValues = newColumn();
    betaValues = newColumn();
    lambda_iValues = newColumn();
    lambda_wValues = newColumn();
    SetValues_alpha();
    SetValues_beta();
    SetValues_lambda_i();
    SetValues_lambda_w();
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

study_1RangeStudy::~study_1RangeStudy() {
    delete[] alphaValues;
    delete[] betaValues;
    delete[] lambda_iValues;
    delete[] lambda_wValues;
    delete ThePVModel;
}

void study_1RangeStudy::SetValues_alpha() {
    fillColumn(alphaValues, 1000.0);
}
void study_1RangeStudy::SetValues_beta() {
    fillColumn(betaValues, 10000.0);
}
void study_1RangeStudy::SetValues_lambda_i() {
    fillColumn(lambda_iValues, 1e-7);
}

void study_1RangeStudy::SetValues_lambda_w() {
    for (int e = 0; e < numExperiments; ++e)
        lambda_wValues[e] = lambda_wColumn[e];
}

PVModel* study_1RangeStudy::GetPVModel(bool expandTimePoints) {
    // A second call replaces the first model, which is destroyed before the next is built.
    delete ThePVModel;
    ThePVModel = nullptr;
    ThePVModel = new reliabPVModel(expandTimePoints);
    return ThePVModel;
}

void study_1RangeStudy::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_1RangeStudy");
    alpha = alphaValues[exp];
    beta = betaValues[exp];
    lambda_i = lambda_iValues[exp];
    lambda_w = lambda_wValues[exp];
}

void study_1RangeStudy::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    std::cout << "alpha\tdouble\t" << alpha << std::endl;
    std::cout << "beta\tdouble\t" << beta << std::endl;
    std::cout << "lambda_i\tdouble\t" << lambda_i << std::endl;
    std::cout << "lambda_w\tdouble\t" << lambda_w << std::endl;
}

void* study_1RangeStudy::GetGVValue(const char* name) {
    double* variable = findGlobal(name);
    if (variable == nullptr)
        std::cerr << "!! study_1RangeStudy::GetGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
    return variable;
}

void study_1RangeStudy::OverrideGVValue(const char* name, const void* value) {
    double* variable = findGlobal(name);
    if (variable == nullptr) {
        std::cerr << "!! study_1RangeStudy::OverrideGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return;
    }
    *variable = *static_cast<const double*>(value);
}
