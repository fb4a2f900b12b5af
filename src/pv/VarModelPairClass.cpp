#include "pv/VarModelPairClass.h"

#include "base/Errors.h"

#include <cstdlib>
#include <cstring>

namespace {

char* duplicate(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}

} // namespace

VarModelPairClass::~VarModelPairClass() {
    free(Model);
    free(Variable);
}

void VarModelPairClass::SetPair(const char* variable, const char* model) {
    char* newModel = duplicate(model);
    char* newVariable = duplicate(variable);
    free(Model);
    free(Variable);
    Model = newModel;
    Variable = newVariable;
}
