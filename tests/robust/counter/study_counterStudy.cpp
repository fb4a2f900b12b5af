#include "study_counterStudy.h"

#include "GlobalVariables.h"
#include "base/Assert.h"
#include "counterPVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>

int Size = 0;
int Width = 0;

namespace {

constexpr int SizeValues[] = {3, 100000, 13000000};

int* findGlobal(const char* name) {
    if (std::strcmp(name, "Size") == 0)
        return &Size;
    if (std::strcmp(name, "Width") == 0)
        return &Width;
    return nullptr;
}

void reportUnknown(const char* operation, const char* name) {
    std::cerr << "!! study_counterStudy::" << operation << ": Global Variable " << name
              << " does not exist." << std::endl;
}

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_counterStudy();
    return GlobalStudyPtr;
}

study_counterStudy::study_counterStudy() {
    NumGVs = 2;
    NumExps = static_cast<int>(std::size(SizeValues));
    GVNames = new char* [2] { strdup("Size"), strdup("Width") };
    GVTypes = new char* [2] { strdup("int"), strdup("int") };
}

study_counterStudy::~study_counterStudy() {
    delete ThePVModel;
}

PVModel* study_counterStudy::GetPVModel(bool expandTimePoints) {
    delete ThePVModel;
    ThePVModel = new counterPVModel(expandTimePoints);
    return ThePVModel;
}

void study_counterStudy::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, "study_counterStudy");
    Size = SizeValues[exp];
    Width = 0;
}

void study_counterStudy::PrintGlobalValues(int exp) {
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl
              << "Size\tint\t" << Size << std::endl
              << "Width\tint\t" << Width << std::endl;
}

void* study_counterStudy::GetGVValue(const char* name) {
    int* variable = findGlobal(name);
    if (variable == nullptr)
        reportUnknown("GetGVValue", name);
    return variable;
}

void study_counterStudy::OverrideGVValue(const char* name, const void* value) {
    int* variable = findGlobal(name);
    if (variable == nullptr)
        reportUnknown("OverrideGVValue", name);
    else
        *variable = *static_cast<const int*>(value);
}
