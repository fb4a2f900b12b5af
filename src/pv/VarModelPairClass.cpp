#include "pv/VarModelPairClass.h"

#include "base/DuplicateText.h"

#include <cstdlib>

VarModelPairClass::~VarModelPairClass() {
    free(Model);
    free(Variable);
}

void VarModelPairClass::SetPair(const char* variable, const char* model) {
    char* newModel = duplicateText(model);
    char* newVariable = duplicateText(variable);
    free(Model);
    free(Variable);
    Model = newModel;
    Variable = newVariable;
}
