#pragma once
// ModelUnderTest: a test suite on the model that its test executable links,
// experiment 0, with the model's action table: both built once for the suite
// and torn down after it.

#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <memory>

class ModelUnderTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        BaseStudyClass* study = GenerateStudy();
        study->SetGVs(0);
        Model = study->GetPVModel(false);
        Actions = std::make_unique<ActionTable>(Model);
    }
    static void TearDownTestSuite() {
        Actions.reset();
        DestructStudy();
    }

    static inline PVModel* Model = nullptr;             // not owned: the study's
    static inline std::unique_ptr<ActionTable> Actions; // owned
};
