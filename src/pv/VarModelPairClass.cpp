#include "pv/VarModelPairClass.h"

#include "base/CopyText.h"

#include <cstdlib>

VarModelPairClass::~VarModelPairClass() {
    free(Model);
    free(Variable);
}

void VarModelPairClass::SetPair(const char* variable, const char* model) {
    char* newModel = copyText(model);
    char* newVariable = copyText(variable);
    free(Model);
    free(Variable);
    Model = newModel;
    Variable = newVariable;
}
