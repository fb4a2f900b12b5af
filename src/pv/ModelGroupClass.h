#pragma once
// ModelGroupClass: the combination of submodel instances that one worker of a
// performance variable evaluates, one instance per model dependency.

class BaseModelClass;

class ModelGroupClass {
public:
    ModelGroupClass() = default;
    ~ModelGroupClass();
    ModelGroupClass(const ModelGroupClass&) = delete;
    ModelGroupClass& operator=(const ModelGroupClass&) = delete;

    // Allocates room for n models, all null (a previous list is released).
    void CreateModelList(int n);
    void SetModel(int i, BaseModelClass* model) { Models[i] = model; }
    // True when some entry is the model (compared by identity).
    bool IsDependentOnModel(const BaseModelClass* model) const;

    BaseModelClass** Models = nullptr; // owned array; the models are not owned
    int NumModels = 0;                 // entries of Models
};
