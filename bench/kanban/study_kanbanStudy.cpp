#include "study_kanbanStudy.h"

#include "GlobalVariables.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "kanbanRewPVModel.h"

#include <cstring>
#include <iostream>

// The model's global variables: set by the study, read by the SAN.
int N = 0;

namespace {

constexpr int numGlobals = 1;
constexpr int numExperiments = 6;

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
        GlobalStudyPtr = new study_kanbanStudy();
    return GlobalStudyPtr;
}

study_kanbanStudy::study_kanbanStudy() {
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

study_kanbanStudy::~study_kanbanStudy() {
    delete[] NValues;
    delete ThePVModel;
    ThePVModel = nullptr;
}

void study_kanbanStudy::SetValues_N() {
    for (int e = 0; e < numExperiments; ++e)
        NValues[e] = e + 1;
}

PVModel* study_kanbanStudy::GetPVModel(bool expandTimePoints) {
    delete ThePVModel;
    ThePVModel = nullptr;
    ThePVModel = new kanbanRewPVModel(expandTimePoints);
    return ThePVModel;
}

void study_kanbanStudy::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_kanbanStudy");
    N = NValues[exp];
}

void study_kanbanStudy::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    std::cout << "N\tint\t" << N << std::endl;
}

void* study_kanbanStudy::GetGVValue(const char* name) {
    int* variable = findGlobal(name);
    if (variable == nullptr)
        std::cerr << "!! study_kanbanStudy::GetGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
    return variable;
}

void study_kanbanStudy::OverrideGVValue(const char* name, const void* value) {
    int* variable = findGlobal(name);
    if (variable == nullptr) {
        std::cerr << "!! study_kanbanStudy::OverrideGVValue: Global Variable " << name
                  << " does not exist." << std::endl;
        return;
    }
    *variable = *static_cast<const int*>(value);
}
