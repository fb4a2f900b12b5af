#pragma once
// ActionModelPairClass: the action of an impulse reward, named by the model
// that holds it and the action's own name.

class ActionModelPairClass {
public:
    ActionModelPairClass() = default;
    ~ActionModelPairClass();
    ActionModelPairClass(const ActionModelPairClass&) = delete;
    ActionModelPairClass& operator=(const ActionModelPairClass&) = delete;

    // Releases the old names and stores copies of the new ones.
    void SetPair(const char* action, const char* model);

    char* Model = nullptr;  // owned (array new); null until set
    char* Action = nullptr; // owned (array new); null until set
};
