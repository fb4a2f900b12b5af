#include "pv/ModelGroupClass.h"

#include "base/Errors.h"

#include <new>

ModelGroupClass::~ModelGroupClass() {
    delete[] Models;
}

void ModelGroupClass::CreateModelList(int n) {
    delete[] Models;
    Models = new (std::nothrow) BaseModelClass*[n > 0 ? n : 1]();
    if (Models == nullptr)
        MemoryAllocationError();
    NumModels = n;
}

bool ModelGroupClass::IsDependentOnModel(const BaseModelClass* model) const {
    for (int i = 0; i < NumModels; ++i)
        if (Models[i] == model)
            return true;
    return false;
}
