#include "study/TabulatedStudy.h"

#include "base/Assert.h"
#include "base/DuplicateText.h"
#include "base/Errors.h"
#include "pv/PVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

namespace {

// The table grown by one entry, the old array deleted.
char** append(char** table, int size, char* entry) {
    char** grown = new char*[size + 1];
    for (int i = 0; i < size; ++i)
        grown[i] = table[i];
    grown[size] = entry;
    delete[] table;
    return grown;
}

} // namespace

TabulatedStudy::TabulatedStudy(const char* className, int experiments) : className_(className) {
    NumExps = experiments;
}

TabulatedStudy::~TabulatedStudy() {
    releasePVModel();
}

void TabulatedStudy::releasePVModel() {
    delete ThePVModel;
    ThePVModel = nullptr;
}

void TabulatedStudy::addColumn(const char* name, const char* type, int rows,
                               std::unique_ptr<Column> column) {
    GEN_ASSERT(rows == NumExps, className_);
    GVNames = append(GVNames, NumGVs, duplicateText(name));
    GVTypes = append(GVTypes, NumGVs, duplicateText(type));
    ++NumGVs;
    columns_.push_back(std::move(column));
}

void TabulatedStudy::SetGVs(int exp) {
    GEN_ASSERT(exp >= 0 && exp < NumExps, className_);
    for (const std::unique_ptr<Column>& column : columns_)
        column->set(exp);
}

void TabulatedStudy::PrintGlobalValues(int exp) {
    if (NumGVs == 0) {
        std::cout << "There are no global variables." << std::endl;
        return;
    }
    SetGVs(exp);
    std::cout << "The Global Variable values for experiment " << GetExpName(exp)
              << " are:" << std::endl;
    for (int i = 0; i < NumGVs; ++i) {
        std::cout << GVNames[i] << '\t' << GVTypes[i] << '\t';
        columns_[i]->print(std::cout);
        std::cout << std::endl;
    }
}

TabulatedStudy::Column* TabulatedStudy::find(const char* name, const char* operation) {
    for (int i = 0; i < NumGVs; ++i)
        if (std::strcmp(name, GVNames[i]) == 0)
            return columns_[i].get();
    std::cerr << "!! " << className_ << "::" << operation << ": Global Variable " << name
              << " does not exist." << std::endl;
    return nullptr;
}

void* TabulatedStudy::GetGVValue(const char* name) {
    Column* column = find(name, "GetGVValue");
    return column == nullptr ? nullptr : column->address();
}

void TabulatedStudy::OverrideGVValue(const char* name, const void* value) {
    if (Column* column = find(name, "OverrideGVValue"))
        column->store(value);
}
