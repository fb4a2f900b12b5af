#include "study_pollingRangeStudy.h"

#include "GlobalVariables.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "pollingRewPVModel.h"

#include <cstring>
#include <iostream>

// The model's global variables: set by the study, read by the SAN.
int N = 0;

namespace {

constexpr int numGlobals = 1;
constexpr int numExperiments = 19;

char* duplicate(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}

// The global variable named `name`, or null.
int* findGlobal(const char* name) {
    return std::strcmp(name, "N") == 0 ? &N : nullptr;
}

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_pollingRangeStudy();
    return GlobalStudyPtr;
}

study_pollingRangeStudy::study_pollingRangeStudy() {
    NumGVs = numGlobals;
    NumExps = numExperiments;
    GVNames = new char*[NumGVs];
    GVTypes = new char*[NumGVs];
    GVNames[0] = duplicate("N");
    GVTypes[0] = duplicate("int");
    NValues = new int[NumExps];
    SetValues_N();
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

study_pollingRangeStudy::~study_pollingRangeStudy() {
    delete[] NValues;
    delete ThePVModel;
    ThePVModel = nullptr;
}

void study_pollingRangeStudy::SetValues_N() {
    for (int e = 0; e < numExperiments; ++e)
        NValues[e] = e + 2;
}

PVModel* study_pollingRangeStudy::GetPVModel(bool expandTimePoints) {
    delete ThePVModel;
    ThePVModel = nullptr;
    ThePVModel = new pollingRewPVModel(expandTimePoints);
    return ThePVModel;
}

void study_pollingRangeStudy::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_pollingRangeStudy");
    N = NValues[exp];
}

void study_pollingRangeStudy::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    std::cout << "N\tint\t" << N << std::endl;
}

void* study_pollingRangeStudy::GetGVValue(const char* name) {
    int* variable = findGlobal(name);
    if (variable == nullptr)
        std::cerr << "!! study_pollingRangeStudy::GetGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
    return variable;
}

void study_pollingRangeStudy::OverrideGVValue(const char* name, const void* value) {
    int* variable = findGlobal(name);
    if (variable == nullptr) {
        std::cerr << "!! study_pollingRangeStudy::OverrideGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return;
    }
    *variable = *static_cast<const int*>(value);
}
