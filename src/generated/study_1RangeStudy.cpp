#include "study_1RangeStudy.h"

#include "GlobalVariables.h"
#include "reliabPVModel.h"

#include <iterator>
#include <vector>

// The model's global variables: set by the study, read by the SAN.
double alpha = 0;
double beta = 0;
double lambda_i = 0;
double lambda_w = 0;

namespace {

constexpr int numExperiments = 10;

// lambda_w ranges from 1e-6 in steps of 1e-6, each entry the previous one plus 1e-6
// in double arithmetic (hence 4.9999999999999996e-6 rather than 5e-6).
constexpr double lambda_wColumn[numExperiments] = {
    1e-6, 2e-6, 3e-6, 4e-6, 4.9999999999999996e-6, 5.999999999999999e-6, 6.999999999999999e-6,
    8e-6, 9e-6, 1e-5};

} // namespace

BaseStudyClass* GenerateStudy() {
    if (GlobalStudyPtr == nullptr)
        GlobalStudyPtr = new study_1RangeStudy();
    return GlobalStudyPtr;
}

study_1RangeStudy::study_1RangeStudy() : TabulatedStudy("study_1RangeStudy", numExperiments) {
    addVariable("alpha", alpha, 1000.0);
    addVariable("beta", beta, 10000.0);
    addVariable("lambda_i", lambda_i, 1e-7);
    addVariable("lambda_w", lambda_w,
                std::vector<double>(std::begin(lambda_wColumn), std::end(lambda_wColumn)));
    SetDefaultVantorRoot("/usr/share/vantor-2.4/");
}

PVModel* study_1RangeStudy::GetPVModel(bool expandTimePoints) {
    releasePVModel();
    ThePVModel = new reliabPVModel(expandTimePoints);
    return ThePVModel;
}
