#include "study_kanbanStudy.h"

#include "GlobalVariables.h"
#include "kanbanRewPVModel.h"

#include <vector>

// The model's global variables: set by the study, read by the SAN.
int N = 0;

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_kanbanStudy();
    return GlobalStudyPtr;
}

study_kanbanStudy::study_kanbanStudy() : TabulatedStudy("study_kanbanStudy", 6) {
    addVariable("N", N, std::vector<int>{1, 2, 3, 4, 5, 6});
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

PVModel* study_kanbanStudy::GetPVModel(bool expandTimePoints) {
    releasePVModel();
    ThePVModel = new kanbanRewPVModel(expandTimePoints);
    return ThePVModel;
}
