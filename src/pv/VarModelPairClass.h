#pragma once
// VarModelPairClass: one variable dependency of a performance variable, the
// name of a state variable and the name of the model that holds it.

class VarModelPairClass {
public:
    VarModelPairClass() = default;
    ~VarModelPairClass();
    VarModelPairClass(const VarModelPairClass&) = delete;
    VarModelPairClass& operator=(const VarModelPairClass&) = delete;

    // Stores copies of both names, releasing the previous ones.
    void SetPair(const char* variable, const char* model);

    char* Model = nullptr;    // owned (strdup, released with free); null until set
    char* Variable = nullptr; // owned (strdup, released with free); null until set
};
