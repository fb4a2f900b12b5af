#include "study_pollingRangeStudy.h"

#include "GlobalVariables.h"
#include "pollingRewPVModel.h"

#include <numeric>
#include <vector>

// The model's global variables: set by the study, read by the SAN.
int N = 0;

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_pollingRangeStudy();
    return GlobalStudyPtr;
}

study_pollingRangeStudy::study_pollingRangeStudy() : TabulatedStudy("study_pollingRangeStudy", 19) {
    std::vector<int> stations(19);
    std::iota(stations.begin(), stations.end(), 2);
    addVariable("N", N, std::move(stations));
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

PVModel* study_pollingRangeStudy::GetPVModel(bool expandTimePoints) {
    releasePVModel();
    ThePVModel = new pollingRewPVModel(expandTimePoints);
    return ThePVModel;
}
