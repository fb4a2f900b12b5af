#include "pv/ActionModelPairClass.h"

#include "base/Errors.h"

ActionModelPairClass::~ActionModelPairClass() {
    delete[] Model;
    delete[] Action;
}

void ActionModelPairClass::SetPair(const char* action, const char* model) {
    char* newModel = copyText(model);
    char* newAction = copyText(action);
    delete[] Model;
    delete[] Action;
    Model = newModel;
    Action = newAction;
}
