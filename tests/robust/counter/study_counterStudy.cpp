#include "study_counterStudy.h"

#include "GlobalVariables.h"
#include "counterPVModel.h"

#include <vector>

int Size = 0;
int Width = 0;

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_counterStudy();
    return GlobalStudyPtr;
}

study_counterStudy::study_counterStudy() : TabulatedStudy("study_counterStudy", 3) {
    addVariable("Size", Size, std::vector<int>{3, 100000, 13000000});
    addVariable("Width", Width, 0);
}

PVModel* study_counterStudy::GetPVModel(bool expandTimePoints) {
    releasePVModel();
    ThePVModel = new counterPVModel(expandTimePoints);
    return ThePVModel;
}
