#pragma once
// BaseStudyClass: the global variables of a model and their values in each
// experiment of a study. A generated study derives from it, fills the tables and
// creates the reward model (a study written by hand derives from TabulatedStudy,
// which fills the tables from its declared columns); there is one study per
// process (GlobalStudyPtr).

class PVModel;

class BaseStudyClass {
public:
    BaseStudyClass();
    virtual ~BaseStudyClass();
    BaseStudyClass(const BaseStudyClass&) = delete;
    BaseStudyClass& operator=(const BaseStudyClass&) = delete;

    // Builds the reward model (the study keeps it); the base returns ThePVModel.
    virtual PVModel* GetPVModel(bool expandTimePoints);
    // Assigns experiment exp's values to the global variables.
    virtual void SetGVs(int exp);
    // Prints experiment exp's values on standard output.
    virtual void PrintGlobalValues(int exp);
    // Address of the named global variable, or null after a report.
    virtual void* GetGVValue(const char* name);
    // Stores *value, read as the variable's declared type, into the named variable.
    virtual void OverrideGVValue(const char* name, const void* value);

    int GetNumGVs() const { return NumGVs; }
    const char* GetGVName(int i) const { return GVNames[i]; }
    const char* GetGVType(int i) const { return GVTypes[i]; }
    int GetNumExps() const { return NumExps; }
    // "Experiment <i+1>" in a static buffer shared by all calls: valid until the next call.
    static const char* GetExpName(int i);
    const char* GetDefaultVantorRoot() const { return DefaultVantorRoot; }
    void SetDefaultVantorRoot(const char* root);

    // Applies an override string "type:name:value[:type:name:value...]" through
    // OverrideGVValue. A value that does not convert, or whose type letter does not
    // match the variable's declared type, is refused with a message on standard error.
    void overrideGVs(const char* overrides);

protected:
    char** GVNames = nullptr;      // owned array of NumGVs owned texts (strdup / free)
    char** GVTypes = nullptr;      // owned array of NumGVs owned type names, e.g. "double"
    PVModel* ThePVModel = nullptr; // owned by the generated study: the last reward model built
    int NumGVs = 0;
    int NumExps = 0;
    char* DefaultVantorRoot; // owned (array new): the tool's installation root
};

// The one study of the process; null until GenerateStudy() creates it.
extern BaseStudyClass* GlobalStudyPtr;

// Returns the study, creating the model's generated study on the first call. Supplied
// by the generated code: the one place that names the concrete study class.
BaseStudyClass* GenerateStudy();

// Deletes the study, if any, and clears GlobalStudyPtr.
void DestructStudy();
