#include "emit/StudyEmitter.h"

namespace {

void studyHeader(const EmitContext& c, const std::string& cls) {
    const CheckedModel& m = c.m;
    Writer h = c.open(cls + ".h");
    h << "#pragma once\n";
    c.header(h, cls + ": the study of the model " + m.modelName + ", " +
                    std::to_string(m.numExperiments) + " experiment" +
                    (m.numExperiments == 1 ? "" : "s") + ".");
    h << "\n#include \"study/BaseStudyClass.h\"\n\n";
    openClass(h, "", cls, "BaseStudyClass");
    h << "    " << cls << "();\n";
    h << "    // Deletes the value arrays and the reward model, if one was built.\n";
    h << "    ~" << cls << "() override;\n";
    deletedCopy(h, "    ", cls);
    h << "\n    PVModel* GetPVModel(bool expandTimePoints) override;\n";
    h << "    void SetGVs(int exp) override;\n";
    h << "    void PrintGlobalValues(int exp) override;\n";
    h << "    void* GetGVValue(const char* name) override;\n";
    h << "    void OverrideGVValue(const char* name, const void* value) override;\n\n";
    for (const CheckedGlobal& g : m.globals)
        h << "    void SetValues_" << g.name << "(); // fills " << g.name
          << "Values with its column\n";
    if (!m.globals.empty())
        h << "\nprivate:\n";
    for (const CheckedGlobal& g : m.globals)
        h << "    " << typeName(g.type) << "* " << g.name
          << "Values = nullptr; // owned, NumExps entries\n";
    h << "};\n";
    c.save(cls + ".h", h);
}

bool experimentsNamed(const CheckedModel& m) {
    for (const std::string& n : m.experimentNames)
        if (!n.empty())
            return true;
    return false;
}

// The includes, the globals' definitions and the file's private helpers.
void studyPrelude(const EmitContext& c, Writer& w, const std::string& cls) {
    const CheckedModel& m = c.m;
    c.header(w, cls + ": the study of the model " + m.modelName + ".");
    w << "\n#include \"" << cls << ".h\"\n\n#include \"GlobalVariables.h\"\n#include \"" << m.stem
      << "PVModel.h\"\n#include \"base/Assert.h\"\n#include \"base/Errors.h\"\n\n";
    w << "#include <cstring>\n#include <iostream>\n\n";
    if (!m.globals.empty())
        w << "// The model's global variables: set by the study, read by the model.\n";
    for (const CheckedGlobal& g : m.globals)
        w << typeName(g.type) << " " << g.name << " = 0;\n";
    w << "\nnamespace {\n\n";
    w << "constexpr int studyGlobals = " << static_cast<int>(m.globals.size()) << ";\n";
    w << "constexpr int studyExperiments = " << m.numExperiments << ";\n";
    if (experimentsNamed(m)) {
        w << "\n// The experiments' names; an empty name stands for the default one.\n";
        w << "const char* const studyExperimentNames[studyExperiments] = {";
        for (std::size_t e = 0; e < m.experimentNames.size(); ++e)
            w << (e ? ", " : "") << quoted(m.experimentNames[e]);
        w << "};\n";
    }
    w << "\n[[maybe_unused]] char* studyDuplicate(const char* text) {\n";
    w << "    char* copy = strdup(text);\n    if (copy == nullptr)\n        "
         "MemoryAllocationError();\n"
      << "    return copy;\n}\n\n} // namespace\n\n";
    w << "BaseStudyClass* GenerateStudy() {\n    if (GlobalStudyPtr == nullptr)\n        "
         "GlobalStudyPtr = new "
      << cls << "();\n    return GlobalStudyPtr;\n}\n\n";
}

void studyLifetime(const EmitContext& c, Writer& w, const std::string& cls) {
    const CheckedModel& m = c.m;
    w << cls << "::" << cls << "() {\n";
    w << "    NumGVs = studyGlobals;\n    NumExps = studyExperiments;\n";
    w << "    GVNames = new char*[NumGVs];\n    GVTypes = new char*[NumGVs];\n";
    for (std::size_t i = 0; i < m.globals.size(); ++i) {
        w << "    GVNames[" << static_cast<int>(i) << "] = studyDuplicate("
          << quoted(m.globals[i].name) << ");\n";
        w << "    GVTypes[" << static_cast<int>(i) << "] = studyDuplicate("
          << quoted(typeName(m.globals[i].type)) << ");\n";
    }
    for (const CheckedGlobal& g : m.globals)
        w << "    " << g.name << "Values = new " << typeName(g.type) << "[NumExps];\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    SetValues_" << g.name << "();\n";
    w << "    SetDefaultVantorRoot(\"/usr/share/vantor-2.4/\");\n}\n\n";
    w << cls << "::~" << cls << "() {\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    delete[] " << g.name << "Values;\n";
    w << "    delete ThePVModel;\n    ThePVModel = nullptr;\n}\n\n";
}

// SetValues_<global>: one loop for a value shared by every experiment, else a column.
void studyColumns(const EmitContext& c, Writer& w, const std::string& cls) {
    for (const CheckedGlobal& g : c.m.globals) {
        w << "void " << cls << "::SetValues_" << g.name << "() {\n";
        bool same = true;
        for (const std::string& v : g.values)
            same = same && v == g.values[0];
        if (same) {
            w << "    for (int e = 0; e < studyExperiments; ++e)\n        " << g.name
              << "Values[e] = " << g.values[0] << ";\n}\n\n";
            continue;
        }
        w << "    static const " << typeName(g.type) << " column[studyExperiments] = {";
        for (std::size_t e = 0; e < g.values.size(); ++e)
            w << (e ? ", " : "") << g.values[e];
        w << "};\n    for (int e = 0; e < studyExperiments; ++e)\n        " << g.name
          << "Values[e] = column[e];\n}\n\n";
    }
}

void studySelection(const EmitContext& c, Writer& w, const std::string& cls) {
    const CheckedModel& m = c.m;
    w << "PVModel* " << cls << "::GetPVModel(bool expandTimePoints) {\n";
    w << "    // A second call replaces the first model, which is destroyed before the next is "
         "built.\n";
    w << "    delete ThePVModel;\n    ThePVModel = nullptr;\n";
    w << "    ThePVModel = new " << m.stem
      << "PVModel(expandTimePoints);\n    return ThePVModel;\n}\n\n";
    w << "void " << cls << "::SetGVs(int exp) {\n";
    w << "    GEN_ASSERT(exp >= 0 && exp < NumExps, " << quoted(cls) << ");\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    " << g.name << " = " << g.name << "Values[exp];\n";
    w << "}\n\n";
    w << "void " << cls << "::PrintGlobalValues(int exp) {\n";
    w << "    if (NumGVs == 0) {\n        std::cout << \"There are no global variables.\" << "
         "std::endl;\n"
      << "        return;\n    }\n";
    w << "    SetGVs(exp);\n";
    if (experimentsNamed(m))
        w << "    const char* name = studyExperimentNames[exp][0] != '\\0' ? "
             "studyExperimentNames[exp] : GetExpName(exp);\n"
          << "    std::cout << \"The Global Variable values for experiment \" << name << \" are:\" "
             "<< std::endl;\n";
    else
        w << "    std::cout << \"The Global Variable values for experiment \" << GetExpName(exp)\n"
          << "              << \" are:\" << std::endl;\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    std::cout << " << quoted(g.name + "\t" + typeName(g.type) + "\t") << " << "
          << g.name << " << std::endl;\n";
    w << "}\n\n";
}

void studyAccess(const EmitContext& c, Writer& w, const std::string& cls) {
    const CheckedModel& m = c.m;
    w << "void* " << cls << "::GetGVValue(const char* name) {\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    if (std::strcmp(name, " << quoted(g.name) << ") == 0)\n        return &" << g.name
          << ";\n";
    w << "    std::cerr << \"!! " << cls
      << "::GetGVValue: Global Variable \" << name << \" does not exist.\"\n"
      << "              << std::endl;\n    return nullptr;\n}\n\n";
    w << "void " << cls << "::OverrideGVValue(const char* name, const void* value) {\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    if (std::strcmp(name, " << quoted(g.name) << ") == 0) {\n        " << g.name
          << " = *static_cast<const " << typeName(g.type) << "*>(value);\n        return;\n    }\n";
    if (m.globals.empty())
        w << "    (void)value;\n";
    w << "    std::cerr << \"!! " << cls
      << "::OverrideGVValue: Global Variable \" << name << \" does not exist.\"\n"
      << "              << std::endl;\n}\n";
}

} // namespace

void emitGlobals(const EmitContext& c) {
    Writer w = c.open("GlobalVariables.h");
    w << "#pragma once\n";
    c.header(w, "The global variables of the model " + c.m.modelName +
                    ": written by the study, read by the model's code.");
    if (!c.m.globals.empty())
        w << "\n";
    for (const CheckedGlobal& g : c.m.globals)
        w << "extern " << typeName(g.type) << " " << g.name << ";\n";
    if (!c.m.code.empty())
        w << "\n#include \"HelperCode.h\"\n";
    c.save("GlobalVariables.h", w);
    if (c.m.code.empty())
        return;
    // The model's helper code, after the globals it may read, before every class.
    Writer h = c.open("HelperCode.h");
    h << "#pragma once\n";
    c.header(h, "The helper code of the model " + c.m.modelName +
                    ": functions, constants and types for every fragment.");
    h << "\n";
    for (const Fragment& f : c.m.code)
        h.fragment(f);
    c.save("HelperCode.h", h);
}

void emitStudy(const EmitContext& c) {
    const std::string cls = "study_" + c.m.studyName;
    studyHeader(c, cls);
    Writer w = c.open(cls + ".cpp");
    studyPrelude(c, w, cls);
    studyLifetime(c, w, cls);
    studyColumns(c, w, cls);
    studySelection(c, w, cls);
    studyAccess(c, w, cls);
    c.save(cls + ".cpp", w);
}
