#include "Emitter.h"

#include <cstdio>
#include <set>

namespace {

const char* cppType(ValueType t) {
    switch (t) {
    case ValueType::Short:
        return "short";
    case ValueType::Int:
        return "int";
    case ValueType::Long:
        return "long";
    case ValueType::Float:
        return "float";
    case ValueType::Double:
        return "double";
    case ValueType::Char:
        return "char";
    case ValueType::Bool:
        return "bool";
    }
    return "int";
}

const char* elementType(ValueType t) {
    switch (t) {
    case ValueType::Short:
        return "ShortElement";
    case ValueType::Int:
        return "IntElement";
    case ValueType::Float:
        return "FloatElement";
    case ValueType::Double:
        return "DoubleElement";
    default:
        return "CharElement"; // char and bool: one byte
    }
}

std::string quoted(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\')
            out += '\\';
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        if (c == '\t') {
            out += "\\t";
            continue;
        }
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\%03o", static_cast<unsigned char>(c));
            out += buf;
            continue;
        }
        out += c;
    }
    return out + "\"";
}

std::string timeLiteral(double v) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", v);
    std::string s = buf;
    if (s.find_first_of(".en") == std::string::npos)
        s += ".0";
    return s;
}

// One generated file: its text, and the count of its lines for #line directives.
class Writer {
public:
    Writer(std::string path, std::string modelFile)
        : path(std::move(path)), modelFile(std::move(modelFile)) {}

    Writer& operator<<(const std::string& s) {
        text += s;
        for (char c : s)
            lines += c == '\n';
        return *this;
    }
    Writer& operator<<(int v) { return *this << std::to_string(v); }

    // The fragment's text at its own line and column of the model file, between
    // #line directives; the writer must be at the start of a line.
    void fragment(const Fragment& f) {
        *this << "#line " << f.at.line << " " << quoted(modelFile) << "\n";
        *this << std::string(static_cast<std::size_t>(f.at.column > 0 ? f.at.column - 1 : 0), ' ')
              << f.text << "\n";
        *this << "#line " << (lines + 2) << " " << quoted(path) << "\n";
    }

    std::string text;

private:
    int lines = 0;
    std::string path;
    std::string modelFile;
};

class Emitter {
public:
    Emitter(const CheckedModel& m, std::string dir) : m(m), dir(std::move(dir)) {
        san = m.modelName + "SAN";
        study = "study_" + m.studyName;
    }
    std::map<std::string, std::string> run();

private:
    Writer open(const std::string& name) { return Writer(dir + "/" + name, m.file); }
    void header(Writer& w, const std::string& what);
    void emitGlobals();
    void emitSAN();
    void emitSANHeader();
    void emitSANSource();
    void emitActivityClass(Writer& w, const CheckedActivity& a);
    void emitActivityMethods(Writer& w, const CheckedActivity& a);
    void emitPlaceLocals(Writer& w, const CheckedActivity& a, const std::vector<int>& places,
                         bool writable);
    static bool ownElement(const CheckedActivity& a, int p) {
        for (int x : a.ownElementArrays)
            if (x == p)
                return true;
        return false;
    }
    void emitWorkerLocals(Writer& w, const std::vector<int>& places);
    void emitValue(Writer& w, const CheckedFragment& f, const char* type);
    void emitStatePacking(Writer& w);
    void emitPVModel();
    void emitNode(int k);
    void emitNodeDestructor(Writer& w, const std::string& cls, bool impulses);
    void emitWorker(int k);
    void emitImpulse(int k, int j);
    void emitStudy();
    std::string nodeClass(int k) const { return m.stem + "PV" + std::to_string(k); }
    std::string activityRef(const CheckedActivity& a) const {
        return a.family ? "&" + a.name + "[k]" : "&" + a.name;
    }
    // `body` for the activity, inside a loop over its members when it is a family.
    void forEach(Writer& w, const CheckedActivity& a, const std::string& body,
                 const std::string& indent = "    ") {
        if (!a.family) {
            w << indent << body << "\n";
            return;
        }
        w << indent << "for (int k = 0; k < " << a.name << "_Count; ++k)\n";
        w << indent << "    " << body << "\n";
    }
    std::string placeOf(int p) const { return m.places[static_cast<std::size_t>(p)].name; }

    const CheckedModel& m;
    std::string dir;
    std::string san;
    std::string study;
    std::map<std::string, std::string> files;
};

void Emitter::header(Writer& w, const std::string& what) {
    w << "// " << what << "\n// Generated by gen-compile from " << m.file << "; edit the model file, not this one.\n";
}

void Emitter::emitValue(Writer& w, const CheckedFragment& f, const char* type) {
    if (f.code.block) {
        w << "    return [&]() -> " << type << " {\n";
        w.fragment(f.code);
        w << "    }();\n";
    } else {
        w << "    return static_cast<" << type << ">(\n";
        w.fragment(f.code);
        w << "    );\n";
    }
}

void Emitter::emitPlaceLocals(Writer& w, const CheckedActivity& a, const std::vector<int>& places,
                              bool writable) {
    for (int p : places) {
        const CheckedPlace& pl = m.places[static_cast<std::size_t>(p)];
        if (ownElement(a, p)) {
            w << "    const Element<" << (writable ? "short" : "const short") << "> " << pl.name << "("
              << pl.name << "_Mark);\n";
        } else if (pl.kind == CheckedPlace::Scalar) {
            if (writable)
                w << "    short& " << pl.name << " = *" << pl.name << "_Mark;\n";
            else
                w << "    const short& " << pl.name << " = *" << pl.name << "_Mark;\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "    const Cells<" << (writable ? "short" : "const short") << "> " << pl.name << "("
              << pl.name << "_Marks.get(), " << pl.name << "_Count);\n";
        } else {
            const CheckedStruct& s = m.structs[static_cast<std::size_t>(pl.structType)];
            w << "    const " << s.name << " " << pl.name << "{";
            for (std::size_t f = 0; f < s.fields.size(); ++f)
                w << (f ? ", " : "") << "*" << pl.name << "_" << s.fields[f].name << "_Mark";
            w << "};\n";
        }
    }
}

void Emitter::emitWorkerLocals(Writer& w, const std::vector<int>& places) {
    if (places.empty())
        return;
    const std::string& model = m.modelName;
    w << "    const " << san << "& " << model << " = static_cast<const " << san << "&>(*ModelSlot);\n";
    for (int p : places) {
        const CheckedPlace& pl = m.places[static_cast<std::size_t>(p)];
        if (pl.kind == CheckedPlace::Scalar) {
            w << "    const short " << pl.name << " = " << model << "." << pl.name << "->getMark();\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "    const " << san << "::Cells<const short> " << pl.name << "(" << model << "."
              << pl.name << "->cells.get(), " << model << "." << pl.name << "->size);\n";
        } else {
            const CheckedStruct& s = m.structs[static_cast<std::size_t>(pl.structType)];
            w << "    const " << san << "::" << s.name << " " << pl.name << "{";
            for (std::size_t f = 0; f < s.fields.size(); ++f)
                w << (f ? ", " : "") << "*" << model << "." << pl.name << "->" << s.fields[f].name
                  << "->value";
            w << "};\n";
        }
    }
}

// The one place where a SAN, once every pointer to a marking is registered,
// could hand its markings to a packed state buffer; the framework offers no
// such call yet, so nothing is written.
void Emitter::emitStatePacking(Writer& w) {
    (void)w;
}

std::map<std::string, std::string> Emitter::run() {
    emitGlobals();
    emitSAN();
    emitPVModel();
    for (std::size_t k = 0; k < m.rewards.size(); ++k) {
        emitNode(static_cast<int>(k));
        if (m.rewards[k].hasRate)
            emitWorker(static_cast<int>(k));
        for (std::size_t j = 0; j < m.rewards[k].impulses.size(); ++j)
            emitImpulse(static_cast<int>(k), static_cast<int>(j));
    }
    emitStudy();
    Writer all = open("GeneratedModel.cpp");
    header(all, "Every generated source of the model " + m.modelName + ", compiled as one unit.");
    all << "\n";
    for (const auto& [name, text] : files)
        if (name.size() > 4 && name.compare(name.size() - 4, 4, ".cpp") == 0)
            all << "#include " << quoted(name) << "\n";
    files["GeneratedModel.cpp"] = all.text;
    return files;
}

void Emitter::emitGlobals() {
    Writer w = open("GlobalVariables.h");
    w << "#pragma once\n";
    header(w, "The global variables of the model " + m.modelName +
                  ": written by the study, read by the model's code.");
    if (!m.globals.empty())
        w << "\n";
    for (const CheckedGlobal& g : m.globals)
        w << "extern " << cppType(g.type) << " " << g.name << ";\n";
    files["GlobalVariables.h"] = w.text;
}

void Emitter::emitSAN() {
    emitSANHeader();
    emitSANSource();
}

void Emitter::emitActivityClass(Writer& w, const CheckedActivity& a) {
    const std::string cls = a.name + "Activity";
    const bool timed = a.kind != ActivityKind::Instantaneous;
    static const char* const kinds[] = {"exponential", "deterministic", "Erlang", "instantaneous"};
    w << "    // The " << kinds[static_cast<int>(a.kind)] << " activity " << a.name
      << (a.family ? "[" + a.index + "], one member per index" : "") << ".\n";
    w << "    class " << cls << " : public Activity {\n    public:\n";
    w << "        " << cls << "();\n";
    w << "        ~" << cls << "() override;\n";
    w << "        " << cls << "(const " << cls << "&) = delete;\n";
    w << "        " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
    if (a.family)
        w << "        // Names the member after its index.\n        void initialize(int index);\n";
    w << "        bool Enabled() override;\n";
    if (a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang)
        w << "        double Rate() override;\n";
    w << "        double Weight() override;\n";
    w << "        int Rank() override;\n";
    w << "        bool ReactivationPredicate() override { return false; }\n";
    w << "        bool ReactivationFunction() override { return false; }\n";
    if (timed) {
        w << "        double SampleDistribution() override;\n";
        w << "        double* ReturnDistributionParameters() override;\n";
    }
    if (a.kind == ActivityKind::Erlang)
        w << "        double ErlangParamM() override; // the number of phases\n";
    if (a.kind == ActivityKind::Deterministic)
        w << "        double Delay();\n";
    w << "        BaseActionClass* Fire() override;\n";
    w << "        // Binds the marking pointers and registers them with their places.\n";
    w << "        void LinkVariables() override;\n\n";
    if (a.family)
        w << "        int " << a.index << " = 0; // the member's index\n";
    for (int p : a.linkedPlaces) {
        const CheckedPlace& pl = m.places[static_cast<std::size_t>(p)];
        if (ownElement(a, p)) {
            w << "        " << pl.name << "Array* " << pl.name << " = nullptr; // not owned\n";
            w << "        short* " << pl.name << "_Mark = nullptr; // element [" << a.index
              << "] alone, bound by LinkVariables\n";
        } else if (pl.kind == CheckedPlace::Scalar) {
            w << "        Place* " << pl.name << " = nullptr; // not owned: the model's place\n";
            w << "        short* " << pl.name << "_Mark = nullptr; // its marking, bound by LinkVariables\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "        " << pl.name << "Array* " << pl.name << " = nullptr; // not owned\n";
            w << "        // Owned: one pointer per element's marking, bound by LinkVariables.\n";
            w << "        std::unique_ptr<short*[]> " << pl.name << "_Marks;\n";
            w << "        int " << pl.name << "_Count = 0;\n";
        } else {
            const CheckedStruct& s = m.structs[static_cast<std::size_t>(pl.structType)];
            w << "        " << s.name << "Struct* " << pl.name << " = nullptr; // not owned\n";
            for (const CheckedField& f : s.fields)
                w << "        " << cppType(f.type) << "* " << pl.name << "_" << f.name
                  << "_Mark = nullptr; // bound by LinkVariables\n";
        }
    }
    if (timed)
        w << "        double* DistributionParameters = nullptr; // owned: "
          << (a.kind == ActivityKind::Erlang ? "phases and mean" : a.kind == ActivityKind::Deterministic ? "the delay" : "the rate")
          << "\n";
    w << "    };\n\n";
}

void Emitter::emitSANHeader() {
    Writer w = open(san + ".h");
    bool arrays = false, structs = !m.structs.empty(), families = false;
    for (const CheckedPlace& p : m.places)
        arrays = arrays || p.kind == CheckedPlace::Array;
    for (const CheckedActivity& a : m.activities)
        families = families || a.family;
    w << "#pragma once\n";
    header(w, san + ": the SAN of the model " + m.modelName + ".");
    w << "\n#include \"GlobalVariables.h\"\n";
    w << "#include \"actions/Activity.h\"\n";
    if (!m.groups.empty())
        w << "#include \"actions/BaseGroupClass.h\"\n";
    w << "#include \"actions/EmptyGroup.h\"\n";
    w << "#include \"models/SANModel.h\"\n";
    w << "#include \"state/Place.h\"\n";
    if (arrays || structs)
        w << "#include \"state/StructStateVariable.h\"\n";
    w << "\n#include <memory>\n\n";
    w << "class " << san << " : public SANModel {\npublic:\n";
    if (arrays) {
        w << "    // The markings of an array of places, element k (from 0) through cells[k].\n";
        w << "    template <class T> class Cells {\n    public:\n";
        w << "        Cells(T* const* cells, int count) : cells(cells), count(count) {}\n";
        w << "        T& operator[](int k) const { return *cells[k]; }\n";
        w << "        int size() const { return count; }\n\n    private:\n";
        w << "        T* const* cells;\n        int count;\n    };\n\n";
        if (families) {
            w << "    // The one element of an array that a family member uses, at its own index:\n";
            w << "    // the member binds that element alone, so a[i] is one load.\n";
            w << "    template <class T> class Element {\n    public:\n";
            w << "        explicit Element(T* cell) : cell(cell) {}\n";
            w << "        T& operator[](int) const { return *cell; }\n\n    private:\n";
            w << "        T* cell;\n    };\n\n";
        }
    }
    for (const CheckedStruct& s : m.structs) {
        w << "    // The fields of a place of structure " << s.name << ".\n";
        w << "    struct " << s.name << " {\n";
        for (const CheckedField& f : s.fields)
            w << "        " << cppType(f.type) << "& " << f.name << ";\n";
        w << "    };\n\n";
        const std::string cls = s.name + "Struct";
        w << "    // A structured state variable of type " << s.name << ": one shareable variable per field.\n";
        w << "    class " << cls << " : public BaseStructStateVariable {\n    public:\n";
        w << "        explicit " << cls << "(const char* name);\n";
        w << "        ~" << cls << "() override; // deletes the field variables\n";
        w << "        " << cls << "(const " << cls << "&) = delete;\n";
        w << "        " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
        for (const CheckedField& f : s.fields)
            w << "        SharableSV<" << cppType(f.type) << ">* " << f.name << "; // owned\n";
        w << "    };\n\n";
    }
    for (const CheckedPlace& p : m.places) {
        if (p.kind != CheckedPlace::Array)
            continue;
        const std::string cls = p.name + "Array";
        w << "    // The array of places " << p.name << ": one short field per element, the places "
          << p.name << "[0], " << p.name << "[1], ...\n";
        w << "    class " << cls << " : public BaseStructStateVariable {\n    public:\n";
        w << "        " << cls << "(const char* name, int size, short initial);\n";
        w << "        ~" << cls << "() override; // deletes the element places\n";
        w << "        " << cls << "(const " << cls << "&) = delete;\n";
        w << "        " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
        w << "        // The packed layout of the fields, copied straight from the markings.\n";
        w << "        void SetState(void* from) override;\n";
        w << "        void CurrentState(void* to) override;\n\n";
        w << "        Place** element; // owned, with the places: the fields in order\n";
        w << "        int size;        // number of elements\n";
        w << "        // Owned: one pointer per element's marking, registered with the places.\n";
        w << "        std::unique_ptr<short*[]> cells;\n";
        w << "    };\n\n";
    }
    for (const CheckedActivity& a : m.activities)
        emitActivityClass(w, a);
    w << "    " << san << "();\n";
    w << "    // Deletes the places; the activities and groups go with the object.\n";
    w << "    ~" << san << "() override;\n";
    w << "    " << san << "(const " << san << "&) = delete;\n";
    w << "    " << san << "& operator=(const " << san << "&) = delete;\n\n";
    for (const CheckedActivity& a : m.activities)
        if (a.family) {
            w << "    // The range of the family " << a.name << "'s index, from the global variables.\n";
            w << "    static int " << a.name << "_FirstIndex();\n";
            w << "    static int " << a.name << "_LastIndex();\n";
        }
    if (families)
        w << "\n";
    for (const CheckedPlace& p : m.places) {
        if (p.kind == CheckedPlace::Scalar)
            w << "    Place* " << p.name << " = nullptr; // owned\n";
        else if (p.kind == CheckedPlace::Array)
            w << "    " << p.name << "Array* " << p.name << " = nullptr; // owned\n";
        else
            w << "    " << m.structs[static_cast<std::size_t>(p.structType)].name << "Struct* " << p.name
              << " = nullptr; // owned\n";
    }
    for (const CheckedActivity& a : m.activities) {
        if (a.family) {
            w << "    const int " << a.name << "_First; // the first member's index\n";
            w << "    const int " << a.name << "_Count; // the number of members\n";
            w << "    std::unique_ptr<" << a.name << "Activity[]> " << a.name << ";\n";
        } else {
            w << "    " << a.name << "Activity " << a.name << ";\n";
        }
    }
    for (const CheckedGroup& g : m.groups)
        w << "    BaseGroupClass " << g.name << "; // an explicit group of activities\n";
    w << "    EmptyGroup ImmediateGroup; // not listed among the model's groups\n";
    w << "};\n";
    files[san + ".h"] = w.text;
}

void Emitter::emitActivityMethods(Writer& w, const CheckedActivity& a) {
    const std::string q = san + "::" + a.name + "Activity::";
    const bool timed = a.kind != ActivityKind::Instantaneous;
    const char* dist = a.kind == ActivityKind::Exponential     ? "Exponential"
                       : a.kind == ActivityKind::Deterministic ? "Deterministic"
                       : a.kind == ActivityKind::Erlang        ? "Erlang"
                                                               : "Instantaneous";
    w << "// " << a.name << "\n\n";
    w << q << a.name << "Activity() : Activity() {\n";
    if (timed)
        w << "    DistributionParameters = newParameters(" << (a.kind == ActivityKind::Erlang ? 2 : 1) << ");\n";
    if (!a.family)
        w << "    ActivityInitialize(" << quoted(a.name) << ", 0, " << dist << ", DefaultPolicy, "
          << static_cast<int>(a.affectedPlaces.size()) << ", "
          << static_cast<int>(a.enablingPlaces.size()) << ", false);\n";
    w << "}\n\n";
    w << q << "~" << a.name << "Activity() {\n";
    if (timed)
        w << "    delete[] DistributionParameters;\n";
    w << "}\n\n";
    if (a.family) {
        w << "void " << q << "initialize(int index) {\n";
        w << "    " << a.index << " = index;\n";
        w << "    ActivityInitialize((" << quoted(a.name + "[") << " + std::to_string(index) + \"]\").c_str(), 0, "
          << dist << ", DefaultPolicy, " << static_cast<int>(a.affectedPlaces.size()) << ", "
          << static_cast<int>(a.enablingPlaces.size()) << ", false);\n";
        w << "}\n\n";
    }
    // Enabled: input arcs, then the condition.
    std::vector<int> enabling;
    auto add = [](std::vector<int>& v, int p) {
        for (int x : v)
            if (x == p)
                return;
        v.push_back(p);
    };
    for (const CheckedArc& arc : a.inputs) {
        add(enabling, arc.place);
        for (int p : arc.index.places)
            add(enabling, p);
    }
    if (a.hasWhen)
        for (int p : a.when.places)
            add(enabling, p);
    w << "bool " << q << "Enabled() {\n";
    emitPlaceLocals(w, a, enabling, false);
    w << "    PreviousEnabled = CurrentEnabled;\n";
    if (a.inputs.empty() && !a.hasWhen) {
        w << "    CurrentEnabled = true;\n";
    } else {
        w << "    CurrentEnabled =";
        bool first = true;
        for (const CheckedArc& arc : a.inputs) {
            w << (first ? " " : " && ");
            first = false;
            if (arc.indexed) {
                w << placeOf(arc.place) << "[\n";
                w.fragment(arc.index.code);
                w << "    ] > 0";
            } else {
                w << placeOf(arc.place) << " > 0";
            }
        }
        if (a.hasWhen) {
            w << (first ? " " : " && ");
            if (a.when.code.block) {
                w << "[&]() -> bool {\n";
                w.fragment(a.when.code);
                w << "    }()";
            } else {
                w << "(\n";
                w.fragment(a.when.code);
                w << "    )";
            }
        }
        w << ";\n";
    }
    w << "    return CurrentEnabled;\n}\n\n";
    if (a.hasRate) {
        w << "double " << q << "Rate() {\n";
        emitPlaceLocals(w, a, a.rate.places, false);
        emitValue(w, a.rate, "double");
        w << "}\n\n";
    } else if (a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang) {
        w << "double " << q << "Rate() {\n    return 0.0;\n}\n\n";
    }
    w << "double " << q << "Weight() {\n";
    if (a.hasWeight) {
        emitPlaceLocals(w, a, a.weight.places, false);
        emitValue(w, a.weight, "double");
    } else {
        w << "    return 1.0;\n";
    }
    w << "}\n\n";
    w << "int " << q << "Rank() {\n";
    if (a.hasRank) {
        emitPlaceLocals(w, a, a.rank.places, false);
        emitValue(w, a.rank, "int");
    } else {
        w << "    return 1;\n";
    }
    w << "}\n\n";
    if (a.kind == ActivityKind::Erlang) {
        w << "double " << q << "ErlangParamM() {\n";
        emitPlaceLocals(w, a, a.phases.places, false);
        emitValue(w, a.phases, "double");
        w << "}\n\n";
    }
    if (a.kind == ActivityKind::Deterministic) {
        w << "double " << q << "Delay() {\n";
        emitPlaceLocals(w, a, a.delay.places, false);
        emitValue(w, a.delay, "double");
        w << "}\n\n";
    }
    if (a.kind == ActivityKind::Exponential) {
        w << "double " << q << "SampleDistribution() {\n    return TheDistribution->Exponential(Rate());\n}\n\n";
        w << "double* " << q << "ReturnDistributionParameters() {\n    DistributionParameters[0] = Rate();\n"
          << "    return DistributionParameters;\n}\n\n";
    } else if (a.kind == ActivityKind::Erlang) {
        w << "double " << q << "SampleDistribution() {\n"
          << "    return TheDistribution->Erlang(ErlangParamM(), ErlangParamM() / Rate());\n}\n\n";
        w << "double* " << q << "ReturnDistributionParameters() {\n"
          << "    DistributionParameters[0] = ErlangParamM();\n"
          << "    DistributionParameters[1] = ErlangParamM() / Rate();\n"
          << "    return DistributionParameters;\n}\n\n";
    } else if (a.kind == ActivityKind::Deterministic) {
        w << "double " << q << "SampleDistribution() {\n    return TheDistribution->Deterministic(Delay());\n}\n\n";
        w << "double* " << q << "ReturnDistributionParameters() {\n    DistributionParameters[0] = Delay();\n"
          << "    return DistributionParameters;\n}\n\n";
    }
    // Fire: the token moves of the arcs, then the effect.
    std::vector<int> firing;
    for (const CheckedArc& arc : a.inputs) {
        add(firing, arc.place);
        for (int p : arc.index.places)
            add(firing, p);
    }
    for (const CheckedArc& arc : a.outputs) {
        add(firing, arc.place);
        for (int p : arc.index.places)
            add(firing, p);
    }
    if (a.hasEffect)
        for (int p : a.effect.places)
            add(firing, p);
    w << "BaseActionClass* " << q << "Fire() {\n";
    emitPlaceLocals(w, a, firing, true);
    auto move = [&](const CheckedArc& arc, const char* op) {
        w << "    " << op << placeOf(arc.place);
        if (arc.indexed) {
            w << "[\n";
            w.fragment(arc.index.code);
            w << "    ]";
        }
        w << ";\n";
    };
    for (const CheckedArc& arc : a.inputs)
        move(arc, "--");
    for (const CheckedArc& arc : a.outputs)
        move(arc, "++");
    if (a.hasEffect) {
        if (a.effect.code.block) {
            w << "    {\n";
            w.fragment(a.effect.code);
            w << "    }\n";
        } else {
            Fragment f = a.effect.code;
            const char last = f.text.empty() ? ';' : f.text.back();
            if (last != ';' && last != '}')
                f.text += ';';
            w.fragment(f);
        }
    }
    w << "    return this;\n}\n\n";
    w << "void " << q << "LinkVariables() {\n";
    for (int p : a.linkedPlaces) {
        const CheckedPlace& pl = m.places[static_cast<std::size_t>(p)];
        if (ownElement(a, p)) {
            w << "    if (" << a.index << " < 0 || " << a.index << " >= " << pl.name << "->size) {\n";
            w << "        std::cerr << \"!! " << san << ": " << a.name << "[\" << " << a.index
              << " << \"] uses " << pl.name << "[\" << " << a.index << " << \"], outside 0..\" << "
              << pl.name << "->size - 1 << std::endl;\n";
            w << "        std::exit(1);\n    }\n";
            w << "    " << pl.name << "->element[" << a.index << "]->registerPointer(&" << pl.name << "_Mark);\n";
        } else if (pl.kind == CheckedPlace::Scalar) {
            w << "    " << pl.name << "->registerPointer(&" << pl.name << "_Mark);\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "    " << pl.name << "_Count = " << pl.name << "->size;\n";
            w << "    " << pl.name << "_Marks.reset(new (std::nothrow) short*[static_cast<std::size_t>("
              << pl.name << "_Count)]);\n";
            w << "    if (" << pl.name << "_Marks == nullptr)\n        MemoryAllocationError();\n";
            w << "    for (int k = 0; k < " << pl.name << "_Count; ++k)\n";
            w << "        " << pl.name << "->element[k]->registerPointer(&" << pl.name << "_Marks[k]);\n";
        } else {
            const CheckedStruct& s = m.structs[static_cast<std::size_t>(pl.structType)];
            for (const CheckedField& f : s.fields)
                w << "    " << pl.name << "->" << f.name << "->registerPointer(&" << pl.name << "_"
                  << f.name << "_Mark);\n";
        }
    }
    w << "}\n\n";
}

void Emitter::emitSANSource() {
    Writer w = open(san + ".cpp");
    header(w, san + ": the SAN of the model " + m.modelName + ".");
    w << "\n#include \"" << san << ".h\"\n\n";
    w << "#include \"base/Errors.h\"\n#include \"distributions/UserDistributions.h\"\n\n";
    w << "#include <algorithm>\n#include <cstdlib>\n#include <cstring>\n#include <iostream>\n#include <new>\n#include <string>\n#include <vector>\n\n";
    w << "namespace {\n\n";
    w << "// An owned array of `count` distribution parameters.\n";
    w << "[[maybe_unused]] double* newParameters(int count) {\n";
    w << "    double* parameters = new (std::nothrow) double[count];\n";
    w << "    if (parameters == nullptr)\n        MemoryAllocationError();\n    return parameters;\n}\n\n";
    w << "} // namespace\n\n";
    for (const CheckedStruct& s : m.structs) {
        const std::string q = san + "::" + s.name + "Struct::";
        w << "// ---- " << s.name << "Struct ----\n\n";
        w << q << s.name << "Struct(const char* name) : BaseStructStateVariable(name, \"\") {\n";
        w << "    const ArrayType types[] = {";
        for (std::size_t f = 0; f < s.fields.size(); ++f)
            w << (f ? ", " : "") << elementType(s.fields[f].type);
        w << "};\n";
        w << "    makeArrays(types, " << static_cast<int>(s.fields.size()) << ");\n";
        for (std::size_t f = 0; f < s.fields.size(); ++f) {
            const CheckedField& fd = s.fields[f];
            w << "    " << fd.name << " = new SharableSV<" << cppType(fd.type) << ">();\n";
            w << "    " << fd.name << "->SetName((std::string(name) + \"." << fd.name << "\").c_str());\n";
            if (fd.hasInit) {
                w << "    *" << fd.name << "->value = static_cast<" << cppType(fd.type) << ">(\n";
                w.fragment(fd.init);
                w << "    );\n";
            }
            w << "    fields[" << static_cast<int>(f) << "].var = " << fd.name << ";\n";
        }
        w << "}\n\n";
        w << q << "~" << s.name << "Struct() {\n";
        for (const CheckedField& fd : s.fields)
            w << "    delete " << fd.name << ";\n";
        w << "}\n\n";
    }
    for (const CheckedPlace& p : m.places) {
        if (p.kind != CheckedPlace::Array)
            continue;
        const std::string cls = p.name + "Array";
        const std::string q = san + "::" + cls + "::";
        w << "// ---- " << cls << " ----\n\n";
        w << q << cls << "(const char* name, int size, short initial)\n";
        w << "    : BaseStructStateVariable(name, \"\"), element(nullptr), size(size) {\n";
        w << "    const std::vector<ArrayType> types(static_cast<std::size_t>(size), ShortElement);\n";
        w << "    makeArrays(types.data(), size);\n";
        w << "    element = new (std::nothrow) Place*[static_cast<std::size_t>(size)];\n";
        w << "    if (element == nullptr)\n        MemoryAllocationError();\n";
        w << "    cells.reset(new (std::nothrow) short*[static_cast<std::size_t>(size)]);\n";
        w << "    if (cells == nullptr)\n        MemoryAllocationError();\n";
        w << "    for (int k = 0; k < size; ++k) {\n";
        w << "        element[k] = new Place((std::string(name) + \"[\" + std::to_string(k) + \"]\").c_str(), initial);\n";
        w << "        fields[static_cast<std::size_t>(k)].var = element[k];\n";
        w << "        element[k]->registerPointer(&cells[k]);\n    }\n}\n\n";
        w << q << "~" << cls << "() {\n    for (int k = 0; k < size; ++k)\n        delete element[k];\n"
          << "    delete[] element;\n}\n\n";
        w << "void " << q << "SetState(void* from) {\n";
        w << "    // Locals, since the byte copies could otherwise alias the members.\n";
        w << "    const char* p = static_cast<const char*>(from);\n";
        w << "    short* const* cell = cells.get();\n    const int n = size;\n";
        w << "    for (int k = 0; k < n; ++k, p += sizeof(short))\n";
        w << "        std::memcpy(cell[k], p, sizeof(short));\n}\n\n";
        w << "void " << q << "CurrentState(void* to) {\n";
        w << "    char* p = static_cast<char*>(to);\n";
        w << "    short* const* cell = cells.get();\n    const int n = size;\n";
        w << "    for (int k = 0; k < n; ++k, p += sizeof(short))\n";
        w << "        std::memcpy(p, cell[k], sizeof(short));\n}\n\n";
    }
    for (const CheckedActivity& a : m.activities)
        emitActivityMethods(w, a);
    // The model.
    w << "// ---- " << san << " ----\n\n";
    for (const CheckedActivity& a : m.activities) {
        if (!a.family)
            continue;
        w << "int " << san << "::" << a.name << "_FirstIndex() {\n";
        emitValue(w, a.first, "int");
        w << "}\n\n";
        w << "int " << san << "::" << a.name << "_LastIndex() {\n";
        emitValue(w, a.last, "int");
        w << "}\n\n";
    }
    w << san << "::" << san << "()\n    : SANModel()";
    for (const CheckedActivity& a : m.activities) {
        if (a.family) {
            w << ",\n      " << a.name << "_First(" << a.name << "_FirstIndex()),\n      " << a.name
              << "_Count(std::max(0, " << a.name << "_LastIndex() - " << a.name << "_First + 1)),\n      "
              << a.name << "(new " << a.name << "Activity[static_cast<std::size_t>(" << a.name << "_Count)])";
        } else {
            w << ",\n      " << a.name << "()";
        }
    }
    for (const CheckedGroup& g : m.groups)
        w << ",\n      " << g.name << "()";
    w << ",\n      ImmediateGroup() {\n";
    for (const CheckedActivity& a : m.activities)
        if (a.family)
            forEach(w, a, a.name + "[k].initialize(" + a.name + "_First + k);");
    for (const CheckedGroup& g : m.groups) {
        std::string count;
        int fixed = 0;
        for (int idx : g.members) {
            const CheckedActivity& a = m.activities[static_cast<std::size_t>(idx)];
            if (a.family)
                count += a.name + "_Count + ";
            else
                ++fixed;
        }
        w << "    " << g.name << ".initialize(" << count << fixed << ", " << quoted(g.name) << ");\n";
        for (int idx : g.members) {
            const CheckedActivity& a = m.activities[static_cast<std::size_t>(idx)];
            forEach(w, a, g.name + ".appendGroup(" + activityRef(a) + ");");
        }
    }
    w << "\n    // The activities in model order; every activity outside an explicit group is\n"
      << "    // its own group, and a group's id is its position in the group list.\n";
    w << "    std::vector<Activity*> activities;\n    std::vector<BaseGroupClass*> groups;\n";
    std::set<int> listedGroups;
    for (const CheckedActivity& a : m.activities) {
        forEach(w, a, "activities.push_back(" + activityRef(a) + ");");
        if (a.group < 0)
            forEach(w, a, "groups.push_back(" + activityRef(a) + ");");
        else if (listedGroups.insert(a.group).second)
            w << "    groups.push_back(&" << m.groups[static_cast<std::size_t>(a.group)].name << ");\n";
    }
    w << "    for (std::size_t g = 0; g < groups.size(); ++g)\n";
    w << "        groups[g]->setGroupId(static_cast<int>(g));\n\n";
    for (const CheckedPlace& p : m.places) {
        if (p.kind == CheckedPlace::Array && p.sizeIsGlobal) {
            w << "    if (" << p.size << " < 1 || " << p.size << " > 32767) {\n";
            w << "        std::cerr << \"!! " << san << "::" << san << ": the size of the place array "
              << p.name << ", " << p.size << " = \" << static_cast<long long>(" << p.size
              << ") << \", is outside 1..32767\" << std::endl;\n";
            w << "        std::exit(1);\n    }\n";
        }
    }
    for (const CheckedPlace& p : m.places) {
        if (p.kind == CheckedPlace::Struct) {
            w << "    " << p.name << " = new " << m.structs[static_cast<std::size_t>(p.structType)].name
              << "Struct(" << quoted(p.name) << ");\n";
            continue;
        }
        if (p.kind == CheckedPlace::Array)
            w << "    " << p.name << " = new " << p.name << "Array(" << quoted(p.name) << ", "
              << "static_cast<int>(" << p.size << "), ";
        else
            w << "    " << p.name << " = new Place(" << quoted(p.name) << ", ";
        if (p.hasInit) {
            w << "static_cast<short>(\n";
            w.fragment(p.init);
            w << "    ));\n";
        } else {
            w << "0);\n";
        }
    }
    if (m.places.empty()) {
        w << "    BaseStateVariableClass** places = nullptr;\n";
    } else {
        w << "    BaseStateVariableClass* places[] = {";
        for (std::size_t i = 0; i < m.places.size(); ++i)
            w << (i ? ", " : "") << m.places[i].name;
        w << "};\n";
    }
    w << "    initializeSANModelNow(" << quoted(m.modelName) << ", " << static_cast<int>(m.places.size())
      << ", places, 0, nullptr, static_cast<int>(activities.size()), activities.data(),\n"
      << "                          static_cast<int>(groups.size()), groups.data());\n\n";
    w << "    // The places each activity reads or writes.\n";
    for (const CheckedActivity& a : m.activities)
        for (int p : a.linkedPlaces)
            forEach(w, a, a.name + (a.family ? "[k]." : ".") + placeOf(p) + " = " + placeOf(p) + ";");
    w << "\n    // Affect arcs, then enable arcs, activity by activity.\n";
    for (const CheckedActivity& a : m.activities)
        for (int p : a.affectedPlaces)
            forEach(w, a, "AddAffectArc(" + placeOf(p) + ", " + activityRef(a) + ");");
    for (const CheckedActivity& a : m.activities)
        for (int p : a.enablingPlaces)
            forEach(w, a, "AddEnableArc(" + placeOf(p) + ", " + activityRef(a) + ");");
    w << "\n";
    for (const CheckedActivity& a : m.activities)
        forEach(w, a, a.name + (a.family ? "[k]" : "") + ".LinkVariables();");
    emitStatePacking(w);
    w << "}\n\n";
    w << san << "::~" << san << "() {\n";
    w << "    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)\n        delete Places[i];\n}\n";
    files[san + ".cpp"] = w.text;
}

void Emitter::emitPVModel() {
    const std::string cls = m.stem + "PVModel";
    Writer h = open(cls + ".h");
    h << "#pragma once\n";
    header(h, cls + ": the reward model over the SAN " + san + ".");
    h << "\n#include \"pv/PVModel.h\"\n\n";
    h << "class " << cls << " : public PVModel {\npublic:\n";
    h << "    // Builds the SAN and the reward variables' nodes; expandTimePoints gives one\n";
    h << "    // node per time point of a variable with several.\n";
    h << "    explicit " << cls << "(bool expandTimePoints);\n";
    h << "    ~" << cls << "() override = default;\n";
    h << "    " << cls << "(const " << cls << "&) = delete;\n";
    h << "    " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
    h << "    // A new node for variable pvIndex at time point timeIndex; null for an unknown variable.\n";
    h << "    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;\n};\n";
    files[cls + ".h"] = h.text;

    Writer w = open(cls + ".cpp");
    header(w, cls + ": the reward model over the SAN " + san + ".");
    w << "\n#include \"" << cls << ".h\"\n\n";
    for (std::size_t k = 0; k < m.rewards.size(); ++k)
        w << "#include \"" << nodeClass(static_cast<int>(k)) << ".h\"\n";
    w << "#include \"" << san << ".h\"\n\n";
    w << cls << "::" << cls << "(bool expandTimePoints) {\n";
    w << "    SubModel = new " << san << "();\n";
    w << "    DefineName(" << quoted(cls) << ");\n";
    w << "    CreatePVList(" << static_cast<int>(m.rewards.size()) << ", expandTimePoints);\n";
    w << "    Initialize();\n}\n\n";
    w << "PerformanceVariableNode* " << cls << "::createPVNode(int pvIndex, int timeIndex) {\n";
    if (m.rewards.empty()) {
        w << "    (void)pvIndex;\n    (void)timeIndex;\n    return nullptr;\n}\n";
    } else {
        w << "    switch (pvIndex) {\n";
        for (std::size_t k = 0; k < m.rewards.size(); ++k)
            w << "    case " << static_cast<int>(k) << ":\n        return new "
              << nodeClass(static_cast<int>(k)) << "(timeIndex);\n";
        w << "    default:\n        return nullptr;\n    }\n}\n";
    }
    files[cls + ".cpp"] = w.text;
}

// The node's destructor: what the framework leaves to the generated node. Kept
// in this one function so that a change of the ownership rule is one change here.
void Emitter::emitNodeDestructor(Writer& w, const std::string& cls, bool impulses) {
    w << cls << "::~" << cls << "() {\n";
    w << "    if (Workers != nullptr) {\n";
    w << "        for (int w = 0; w < NumWorkers; ++w) {\n";
    w << "            if (Workers[w] == nullptr)\n                continue;\n";
    w << "            delete[] Workers[w]->Name;\n";
    w << "            Workers[w]->Name = nullptr;\n";
    w << "            delete Workers[w];\n";
    w << "            Workers[w] = nullptr;\n        }\n    }\n";
    if (impulses) {
        w << "    if (ImpulseWorkers != nullptr)\n";
        w << "        for (int i = 0; i < NumImpulses; ++i)\n";
        w << "            if (ImpulseWorkers[i] != nullptr)\n";
        w << "                for (int k = 0; k < NumImpulseWorkers[i]; ++k)\n";
        w << "                    delete ImpulseWorkers[i][k];\n";
    }
    w << "}\n\n";
}

void Emitter::emitNode(int k) {
    const CheckedReward& r = m.rewards[static_cast<std::size_t>(k)];
    const std::string cls = nodeClass(k);
    static const char* const typeNames[] = {"instant of time", "interval of time",
                                            "time-averaged interval of time", "steady state"};
    static const char* const typeEnums[] = {"InstantOfTimeType", "IntervalOfTimeType",
                                            "TimeAveragedIntervalOfTimeType", "SteadyStateType"};
    const int type = static_cast<int>(r.kind);
    bool familyImpulses = false;
    for (const CheckedImpulse& imp : r.impulses)
        familyImpulses = familyImpulses || m.activities[static_cast<std::size_t>(imp.activity)].family;
    Writer h = open(cls + ".h");
    h << "#pragma once\n";
    header(h, cls + ": the reward variable \"" + r.name + "\" (" + typeNames[type] + ").");
    h << "\n";
    for (std::size_t j = 0; j < r.impulses.size(); ++j)
        h << "#include \"" << cls << "Impulse" << static_cast<int>(j) << ".h\"\n";
    h << "#include \"pv/PerformanceVariableNode.h\"\n";
    if (familyImpulses)
        h << "\n#include <memory>\n";
    h << "\nclass " << cls << " : public PerformanceVariableNode {\npublic:\n";
    h << "    explicit " << cls << "(int timeIndex);\n";
    h << "    // Frees each worker's name and deletes the workers and impulse workers, then the base part.\n";
    h << "    ~" << cls << "() override;\n";
    h << "    " << cls << "(const " << cls << "&) = delete;\n";
    h << "    " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
    if (r.hasRate)
        h << "    void CreateWorkerList() override;\n\n";
    else
        h << "    // The variable has no rate reward, hence no worker.\n    void CreateWorkerList() override {}\n\n";
    h << "    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not owned\n";
    for (std::size_t j = 0; j < r.impulses.size(); ++j) {
        const CheckedActivity& a = m.activities[static_cast<std::size_t>(r.impulses[j].activity)];
        const std::string ic = cls + "Impulse" + std::to_string(j);
        if (a.family)
            h << "    std::unique_ptr<" << ic << "[]> Impulse" << static_cast<int>(j)
              << "; // one per member of " << a.name << ", each registered for its member\n";
        else
            h << "    " << ic << " Impulse" << static_cast<int>(j) << "; // registered for the impulse on "
              << a.name << "\n";
    }
    h << "};\n";
    files[cls + ".h"] = h.text;

    Writer w = open(cls + ".cpp");
    header(w, cls + ": the reward variable \"" + r.name + "\" (" + typeNames[type] + ").");
    w << "\n#include \"" << cls << ".h\"\n\n";
    if (r.hasRate)
        w << "#include \"" << cls << "Worker.h\"\n";
    if (familyImpulses)
        w << "#include \"" << san << ".h\"\n\n#include <algorithm>\n#include <string>\n";
    w << "\n" << cls << "::" << cls << "(int timeIndex) {\n";
    w << "    ModelRefs = &ModelSlot;\n";
    w << "    double starts[] = {";
    for (std::size_t t = 0; t < r.starts.size(); ++t)
        w << (t ? ", " : "") << timeLiteral(r.starts[t]);
    w << "};\n    double stops[] = {";
    for (std::size_t t = 0; t < r.stops.size(); ++t)
        w << (t ? ", " : "") << timeLiteral(r.stops[t]);
    w << "};\n";
    int fixedImpulses = 0;
    std::string impulseCount;
    for (std::size_t j = 0; j < r.impulses.size(); ++j) {
        const CheckedActivity& a = m.activities[static_cast<std::size_t>(r.impulses[j].activity)];
        if (a.family) {
            w << "    const int first" << static_cast<int>(j) << " = " << san << "::" << a.name << "_FirstIndex();\n";
            w << "    const int count" << static_cast<int>(j) << " = std::max(0, " << san << "::" << a.name
              << "_LastIndex() - first" << static_cast<int>(j) << " + 1);\n";
            impulseCount += "count" + std::to_string(j) + " + ";
        } else {
            ++fixedImpulses;
        }
    }
    const int varDeps = r.hasRate ? static_cast<int>(r.rate.places.size()) : 0;
    const int modelDeps = r.hasRate ? 1 : 0;
    w << "    Initialize(" << quoted(r.name) << ", " << typeEnums[type] << ", "
      << static_cast<int>(r.starts.size()) << ", starts, stops, timeIndex, " << impulseCount
      << fixedImpulses << ", " << modelDeps << ", " << varDeps << ");\n";
    if (r.hasRate) {
        for (int p : r.rate.places)
            w << "    AddVariableDependency(" << quoted(placeOf(p)) << ", " << quoted(m.modelName) << ");\n";
        if (r.rate.places.empty())
            w << "    AddModelDependency(" << quoted(m.modelName) << ");\n";
    }
    for (std::size_t j = 0; j < r.impulses.size(); ++j) {
        const CheckedActivity& a = m.activities[static_cast<std::size_t>(r.impulses[j].activity)];
        const std::string ic = cls + "Impulse" + std::to_string(j);
        const std::string jj = std::to_string(j);
        if (a.family) {
            w << "    Impulse" << jj << ".reset(new " << ic << "[static_cast<std::size_t>(count" << jj << ")]);\n";
            w << "    for (int k = 0; k < count" << jj << "; ++k)\n";
            w << "        AddImpulse((" << quoted(a.name + "[") << " + std::to_string(first" << jj
              << " + k) + \"]\").c_str(), " << quoted(m.modelName) << ", &Impulse" << jj << "[k]);\n";
        } else {
            w << "    AddImpulse(" << quoted(a.name) << ", " << quoted(m.modelName) << ", &Impulse" << jj << ");\n";
        }
    }
    w << "}\n\n";
    emitNodeDestructor(w, cls, !r.impulses.empty());
    if (r.hasRate) {
        w << "void " << cls << "::CreateWorkerList() {\n";
        w << "    for (int w = 0; w < NumWorkers; ++w)\n        Workers[w] = new " << cls << "Worker();\n}\n";
    }
    files[cls + ".cpp"] = w.text;
}

void Emitter::emitWorker(int k) {
    const CheckedReward& r = m.rewards[static_cast<std::size_t>(k)];
    const std::string cls = nodeClass(k) + "Worker";
    static const char* const bases[] = {"InstantOfTime", "IntervalOfTime", "TimeAveragedIntervalOfTime",
                                        "SteadyState"};
    const char* base = bases[static_cast<int>(r.kind)];
    Writer h = open(cls + ".h");
    h << "#pragma once\n";
    header(h, cls + ": the rate reward of the variable \"" + r.name + "\".");
    h << "\n#include \"pv/" << base << ".h\"\n\n";
    h << "class " << cls << " : public " << base << " {\npublic:\n";
    h << "    " << cls << "();\n    ~" << cls << "() override;\n";
    h << "    " << cls << "(const " << cls << "&) = delete;\n";
    h << "    " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
    h << "    double Reward_Function() override;\n\n";
    h << "    // Not owned: the " << m.modelName << " instance the reward reads, set by the node through ModelRefs.\n";
    h << "    BaseModelClass* ModelSlot = nullptr;\n};\n";
    files[cls + ".h"] = h.text;

    Writer w = open(cls + ".cpp");
    header(w, cls + ": the rate reward of the variable \"" + r.name + "\".");
    w << "\n#include \"" << cls << ".h\"\n\n#include \"GlobalVariables.h\"\n#include \"" << san << ".h\"\n\n";
    w << cls << "::" << cls << "() {\n";
    w << "    NumModelRefs = 1;\n";
    w << "    ModelRefs = new BaseModelClass**[1];\n";
    w << "    ModelRefs[0] = &ModelSlot;\n}\n\n";
    w << cls << "::~" << cls << "() {\n    delete[] ModelRefs;\n}\n\n";
    w << "double " << cls << "::Reward_Function() {\n";
    emitWorkerLocals(w, r.rate.places);
    emitValue(w, r.rate, "double");
    w << "}\n";
    files[cls + ".cpp"] = w.text;
}

void Emitter::emitImpulse(int k, int j) {
    const CheckedReward& r = m.rewards[static_cast<std::size_t>(k)];
    const CheckedImpulse& imp = r.impulses[static_cast<std::size_t>(j)];
    const CheckedActivity& a = m.activities[static_cast<std::size_t>(imp.activity)];
    const std::string cls = nodeClass(k) + "Impulse" + std::to_string(j);
    Writer h = open(cls + ".h");
    h << "#pragma once\n";
    header(h, cls + ": the impulse of the variable \"" + r.name + "\" on the activity " + a.name + ".");
    h << "\n#include \"pv/ImpulseNodeClass.h\"\n\n";
    h << "class " << cls << " : public ImpulseNodeClass {\npublic:\n";
    h << "    " << cls << "();\n    ~" << cls << "() override;\n";
    h << "    " << cls << "(const " << cls << "&) = delete;\n";
    h << "    " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
    h << "    void EndAccumulate(double now) override;\n";
    h << "    double Impulse_Function() override;\n";
    h << "    // Adds the impulse when the firing falls into the variable's interval.\n";
    h << "    void Accumulate(double now, double last) override;\n";
    h << "    void CurrentReward() override;\n";
    h << "    void Reset() override { ImpulseNodeClass::Reset(); }\n";
    h << "    ImpulseNodeClass** CreateWorkerList(int count) override;\n\n";
    h << "    // Not owned: the " << m.modelName << " instance the worker watches, set by the node through ModelRefs.\n";
    h << "    BaseModelClass* ModelSlot = nullptr;\n};\n";
    files[cls + ".h"] = h.text;

    Writer w = open(cls + ".cpp");
    header(w, cls + ": the impulse of the variable \"" + r.name + "\" on the activity " + a.name + ".");
    w << "\n#include \"" << cls << ".h\"\n\n#include \"GlobalVariables.h\"\n#include \"" << san << ".h\"\n\n";
    w << cls << "::" << cls << "() {\n    NumModelRefs = 1;\n    ModelRefs = new BaseModelClass**[1];\n"
      << "    ModelRefs[0] = &ModelSlot;\n}\n\n";
    w << cls << "::~" << cls << "() {\n    delete[] ModelRefs;\n}\n\n";
    w << "void " << cls << "::EndAccumulate(double) {}\n\n";
    w << "double " << cls << "::Impulse_Function() {\n";
    emitWorkerLocals(w, imp.value.places);
    emitValue(w, imp.value, "double");
    w << "}\n\n";
    w << "void " << cls << "::Accumulate(double now, double) {\n";
    w << "    if (now < StartTime || now > StopTime)\n        return;\n";
    w << "    double value = Impulse_Function();\n    Value += value;\n    ValueSquared += value * value;\n}\n\n";
    w << "void " << cls << "::CurrentReward() {\n    Value = Impulse_Function();\n    ValueSquared = Value * Value;\n}\n\n";
    w << "ImpulseNodeClass** " << cls << "::CreateWorkerList(int count) {\n";
    w << "    ImpulseNodeClass** workers = new ImpulseNodeClass*[count];\n";
    w << "    for (int k = 0; k < count; ++k)\n        workers[k] = new " << cls << "();\n";
    w << "    return workers;\n}\n";
    files[cls + ".cpp"] = w.text;
}

void Emitter::emitStudy() {
    const std::string& cls = study;
    Writer h = open(cls + ".h");
    h << "#pragma once\n";
    header(h, cls + ": the study of the model " + m.modelName + ", " + std::to_string(m.numExperiments) +
                  " experiment" + (m.numExperiments == 1 ? "" : "s") + ".");
    h << "\n#include \"study/BaseStudyClass.h\"\n\n";
    h << "class " << cls << " : public BaseStudyClass {\npublic:\n";
    h << "    " << cls << "();\n";
    h << "    // Deletes the value arrays and the reward model, if one was built.\n";
    h << "    ~" << cls << "() override;\n";
    h << "    " << cls << "(const " << cls << "&) = delete;\n";
    h << "    " << cls << "& operator=(const " << cls << "&) = delete;\n\n";
    h << "    PVModel* GetPVModel(bool expandTimePoints) override;\n";
    h << "    void SetGVs(int exp) override;\n";
    h << "    void PrintGlobalValues(int exp) override;\n";
    h << "    void* GetGVValue(const char* name) override;\n";
    h << "    void OverrideGVValue(const char* name, const void* value) override;\n\n";
    for (const CheckedGlobal& g : m.globals)
        h << "    void SetValues_" << g.name << "(); // fills " << g.name << "Values with its column\n";
    if (!m.globals.empty())
        h << "\nprivate:\n";
    for (const CheckedGlobal& g : m.globals)
        h << "    " << cppType(g.type) << "* " << g.name << "Values = nullptr; // owned, NumExps entries\n";
    h << "};\n";
    files[cls + ".h"] = h.text;

    Writer w = open(cls + ".cpp");
    header(w, cls + ": the study of the model " + m.modelName + ".");
    w << "\n#include \"" << cls << ".h\"\n\n#include \"GlobalVariables.h\"\n#include \"" << m.stem
      << "PVModel.h\"\n#include \"base/Assert.h\"\n#include \"base/Errors.h\"\n\n";
    w << "#include <cstring>\n#include <iostream>\n\n";
    if (!m.globals.empty())
        w << "// The model's global variables: set by the study, read by the model.\n";
    for (const CheckedGlobal& g : m.globals)
        w << cppType(g.type) << " " << g.name << " = 0;\n";
    bool named = false;
    for (const std::string& n : m.experimentNames)
        named = named || !n.empty();
    w << "\nnamespace {\n\n";
    w << "constexpr int studyGlobals = " << static_cast<int>(m.globals.size()) << ";\n";
    w << "constexpr int studyExperiments = " << m.numExperiments << ";\n";
    if (named) {
        w << "\n// The experiments' names; an empty name stands for the default one.\n";
        w << "const char* const studyExperimentNames[studyExperiments] = {";
        for (std::size_t e = 0; e < m.experimentNames.size(); ++e)
            w << (e ? ", " : "") << quoted(m.experimentNames[e]);
        w << "};\n";
    }
    w << "\n[[maybe_unused]] char* studyDuplicate(const char* text) {\n";
    w << "    char* copy = strdup(text);\n    if (copy == nullptr)\n        MemoryAllocationError();\n"
      << "    return copy;\n}\n\n} // namespace\n\n";
    w << "BaseStudyClass* GenerateStudy() {\n    if (GlobalStudyPtr == nullptr)\n        GlobalStudyPtr = new "
      << cls << "();\n    return GlobalStudyPtr;\n}\n\n";
    w << cls << "::" << cls << "() {\n";
    w << "    NumGVs = studyGlobals;\n    NumExps = studyExperiments;\n";
    w << "    GVNames = new char*[NumGVs];\n    GVTypes = new char*[NumGVs];\n";
    for (std::size_t i = 0; i < m.globals.size(); ++i) {
        w << "    GVNames[" << static_cast<int>(i) << "] = studyDuplicate(" << quoted(m.globals[i].name) << ");\n";
        w << "    GVTypes[" << static_cast<int>(i) << "] = studyDuplicate(" << quoted(cppType(m.globals[i].type))
          << ");\n";
    }
    for (const CheckedGlobal& g : m.globals)
        w << "    " << g.name << "Values = new " << cppType(g.type) << "[NumExps];\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    SetValues_" << g.name << "();\n";
    w << "    SetDefaultVantorRoot(\"/usr/share/vantor-2.4/\");\n}\n\n";
    w << cls << "::~" << cls << "() {\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    delete[] " << g.name << "Values;\n";
    w << "    delete ThePVModel;\n    ThePVModel = nullptr;\n}\n\n";
    for (const CheckedGlobal& g : m.globals) {
        w << "void " << cls << "::SetValues_" << g.name << "() {\n";
        bool same = true;
        for (const std::string& v : g.values)
            same = same && v == g.values[0];
        if (same) {
            w << "    for (int e = 0; e < studyExperiments; ++e)\n        " << g.name << "Values[e] = "
              << g.values[0] << ";\n}\n\n";
        } else {
            w << "    static const " << cppType(g.type) << " column[studyExperiments] = {";
            for (std::size_t e = 0; e < g.values.size(); ++e)
                w << (e ? ", " : "") << g.values[e];
            w << "};\n    for (int e = 0; e < studyExperiments; ++e)\n        " << g.name
              << "Values[e] = column[e];\n}\n\n";
        }
    }
    w << "PVModel* " << cls << "::GetPVModel(bool expandTimePoints) {\n";
    w << "    // A second call replaces the first model, which is destroyed before the next is built.\n";
    w << "    delete ThePVModel;\n    ThePVModel = nullptr;\n";
    w << "    ThePVModel = new " << m.stem << "PVModel(expandTimePoints);\n    return ThePVModel;\n}\n\n";
    w << "void " << cls << "::SetGVs(int exp) {\n";
    w << "    GEN_ASSERT(exp >= 0 && exp < NumExps, " << quoted(cls) << ");\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    " << g.name << " = " << g.name << "Values[exp];\n";
    w << "}\n\n";
    w << "void " << cls << "::PrintGlobalValues(int exp) {\n";
    w << "    if (NumGVs == 0) {\n        std::cout << \"There are no global variables.\" << std::endl;\n"
      << "        return;\n    }\n";
    w << "    SetGVs(exp);\n";
    if (named)
        w << "    const char* name = studyExperimentNames[exp][0] != '\\0' ? studyExperimentNames[exp] : GetExpName(exp);\n"
          << "    std::cout << \"The Global Variable values for experiment \" << name << \" are:\" << std::endl;\n";
    else
        w << "    std::cout << \"The Global Variable values for experiment \" << GetExpName(exp)\n"
          << "              << \" are:\" << std::endl;\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    std::cout << " << quoted(g.name + "\t" + cppType(g.type) + "\t") << " << " << g.name
          << " << std::endl;\n";
    w << "}\n\n";
    w << "void* " << cls << "::GetGVValue(const char* name) {\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    if (std::strcmp(name, " << quoted(g.name) << ") == 0)\n        return &" << g.name << ";\n";
    w << "    std::cerr << \"!! " << cls << "::GetGVValue: Global Variable \" << name << \" does not exist.\"\n"
      << "              << std::endl;\n    return nullptr;\n}\n\n";
    w << "void " << cls << "::OverrideGVValue(const char* name, const void* value) {\n";
    for (const CheckedGlobal& g : m.globals)
        w << "    if (std::strcmp(name, " << quoted(g.name) << ") == 0) {\n        " << g.name
          << " = *static_cast<const " << cppType(g.type) << "*>(value);\n        return;\n    }\n";
    if (m.globals.empty())
        w << "    (void)value;\n";
    w << "    std::cerr << \"!! " << cls << "::OverrideGVValue: Global Variable \" << name << \" does not exist.\"\n"
      << "              << std::endl;\n}\n";
    files[cls + ".cpp"] = w.text;
}

} // namespace

std::map<std::string, std::string> emitModel(const CheckedModel& model,
                                             const std::string& outputDirectory) {
    Emitter emitter(model, outputDirectory);
    return emitter.run();
}
