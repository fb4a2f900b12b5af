#include "emit/SanEmitter.h"

#include "emit/ActivityEmitter.h"

#include <set>

namespace {

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

bool hasArrays(const CheckedModel& m) {
    for (const CheckedPlace& p : m.places)
        if (p.kind == CheckedPlace::Array)
            return true;
    return false;
}

bool hasFamilies(const CheckedModel& m) {
    for (const CheckedActivity& a : m.activities)
        if (a.family)
            return true;
    return false;
}

std::string activityRef(const CheckedActivity& a) {
    return a.family ? "&" + a.name + "[k]" : "&" + a.name;
}

// `body` for the activity, inside a loop over its members when it is a family.
void forEach(Writer& w, const CheckedActivity& a, const std::string& body) {
    if (!a.family) {
        w << "    " << body << "\n";
        return;
    }
    w << "    for (int k = 0; k < " << a.name << "_Count; ++k)\n";
    w << "        " << body << "\n";
}

// The views through which fragments see arrays of places: all elements, or one.
void emitCellViews(const CheckedModel& m, Writer& w) {
    w << "    // The markings of an array of places, element k (from 0) through cells[k].\n";
    w << "    template <class T> class Cells {\n    public:\n";
    w << "        Cells(T* const* cells, int count) : cells(cells), count(count) {}\n";
    w << "        T& operator[](int k) const { return *cells[k]; }\n";
    w << "        int size() const { return count; }\n\n    private:\n";
    w << "        T* const* cells;\n        int count;\n    };\n\n";
    if (!hasFamilies(m))
        return;
    w << "    // The one element of an array that a family member uses, at its own index:\n";
    w << "    // the member binds that element alone, so a[i] is one load.\n";
    w << "    template <class T> class Element {\n    public:\n";
    w << "        explicit Element(T* cell) : cell(cell) {}\n";
    w << "        T& operator[](int) const { return *cell; }\n\n    private:\n";
    w << "        T* cell;\n    };\n\n";
}

void emitStructClasses(const CheckedModel& m, Writer& w) {
    for (const CheckedStruct& s : m.structs) {
        w << "    // The fields of a place of structure " << s.name << ".\n";
        w << "    struct " << s.name << " {\n";
        for (const CheckedField& f : s.fields)
            w << "        " << typeName(f.type) << "& " << f.name << ";\n";
        w << "    };\n\n";
        const std::string cls = s.name + "Struct";
        w << "    // A structured state variable of type " << s.name
          << ": one shareable variable per field.\n";
        openClass(w, "    ", cls, "BaseStructStateVariable");
        w << "        explicit " << cls << "(const char* name);\n";
        w << "        ~" << cls << "() override; // deletes the field variables\n";
        deletedCopy(w, "        ", cls);
        w << "\n";
        for (const CheckedField& f : s.fields)
            w << "        SharableSV<" << typeName(f.type) << ">* " << f.name << "; // owned\n";
        w << "    };\n\n";
    }
}

void emitArrayClasses(const CheckedModel& m, Writer& w) {
    for (const CheckedPlace& p : m.places) {
        if (p.kind != CheckedPlace::Array)
            continue;
        const std::string cls = p.name + "Array";
        w << "    // The array of places " << p.name << ": one short field per element, the places "
          << p.name << "[0], " << p.name << "[1], ...\n";
        openClass(w, "    ", cls, "BaseStructStateVariable");
        w << "        " << cls << "(const char* name, int size, short initial);\n";
        w << "        ~" << cls << "() override; // deletes the element places\n";
        deletedCopy(w, "        ", cls);
        w << "\n        // The packed layout of the fields, copied straight from the markings.\n";
        w << "        void SetState(void* from) override;\n";
        w << "        void CurrentState(void* to) override;\n\n";
        w << "        Place** element; // owned, with the places: the fields in order\n";
        w << "        int size;        // number of elements\n";
        w << "        // Owned: one pointer per element's marking, registered with the places.\n";
        w << "        std::unique_ptr<short*[]> cells;\n";
        w << "    };\n\n";
    }
}

// The SAN's own members: places, activities, groups.
void emitSanMembers(const EmitContext& c, Writer& w) {
    const CheckedModel& m = c.m;
    for (const CheckedActivity& a : m.activities)
        if (a.family) {
            w << "    // The range of the family " << a.name
              << "'s index, from the global variables.\n";
            w << "    static int " << a.name << "_FirstIndex();\n";
            w << "    static int " << a.name << "_LastIndex();\n";
        }
    if (hasFamilies(m))
        w << "\n";
    for (const CheckedPlace& p : m.places) {
        if (p.kind == CheckedPlace::Scalar)
            w << "    Place* " << p.name << " = nullptr; // owned\n";
        else if (p.kind == CheckedPlace::Array)
            w << "    " << p.name << "Array* " << p.name << " = nullptr; // owned\n";
        else
            w << "    " << c.structOf(p).name << "Struct* " << p.name << " = nullptr; // owned\n";
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
}

void emitSanHeader(const EmitContext& c) {
    const CheckedModel& m = c.m;
    const std::string& san = c.san;
    Writer w = c.open(san + ".h");
    w << "#pragma once\n";
    c.header(w, san + ": the SAN of the model " + m.modelName + ".");
    w << "\n#include \"GlobalVariables.h\"\n";
    w << "#include \"actions/GeneratedActivity.h\"\n";
    if (!m.groups.empty())
        w << "#include \"actions/BaseGroupClass.h\"\n";
    w << "#include \"actions/EmptyGroup.h\"\n";
    w << "#include \"models/SANModel.h\"\n";
    w << "#include \"state/Marking.h\"\n";
    w << "#include \"state/Place.h\"\n";
    if (hasArrays(m) || !m.structs.empty())
        w << "#include \"state/StructStateVariable.h\"\n";
    w << "\n#include <memory>\n\n";
    openClass(w, "", san, "SANModel");
    if (hasArrays(m))
        emitCellViews(m, w);
    emitStructClasses(m, w);
    emitArrayClasses(m, w);
    for (const CheckedActivity& a : m.activities)
        emitActivityClass(c, w, a);
    w << "    " << san << "();\n";
    w << "    // Deletes the places; the activities and groups go with the object.\n";
    if (c.hasErlang())
        w << "    // Every firing ends here: the phase counter of an erlang activity, or of a "
             "group\n"
             "    // of them, that is not enabled any more goes back to 0.\n"
             "    void ResetErlangPhases();\n";
    w << "    ~" << san << "() override;\n";
    deletedCopy(w, "    ", san);
    w << "\n";
    emitSanMembers(c, w);
    w << "};\n";
    c.save(san + ".h", w);
}

void emitStructMethods(const EmitContext& c, Writer& w) {
    for (const CheckedStruct& s : c.m.structs) {
        const std::string q = c.san + "::" + s.name + "Struct::";
        w << "// ---- " << s.name << "Struct ----\n\n";
        w << q << s.name << "Struct(const char* name) : BaseStructStateVariable(name, \"\") {\n";
        w << "    const ArrayType types[] = {";
        for (std::size_t f = 0; f < s.fields.size(); ++f)
            w << (f ? ", " : "") << elementType(s.fields[f].type);
        w << "};\n";
        w << "    makeArrays(types, " << static_cast<int>(s.fields.size()) << ");\n";
        for (std::size_t f = 0; f < s.fields.size(); ++f) {
            const CheckedField& fd = s.fields[f];
            w << "    " << fd.name << " = new SharableSV<" << typeName(fd.type) << ">();\n";
            w << "    " << fd.name << "->SetName((std::string(name) + \"." << fd.name
              << "\").c_str());\n";
            if (fd.hasInit) {
                w << "    *" << fd.name << "->value = static_cast<" << typeName(fd.type) << ">(\n";
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
}

void emitArrayMethods(const EmitContext& c, Writer& w) {
    for (const CheckedPlace& p : c.m.places) {
        if (p.kind != CheckedPlace::Array)
            continue;
        const std::string cls = p.name + "Array";
        const std::string q = c.san + "::" + cls + "::";
        w << "// ---- " << cls << " ----\n\n";
        w << q << cls << "(const char* name, int size, short initial)\n";
        w << "    : BaseStructStateVariable(name, \"\"), element(nullptr), size(size) {\n";
        w << "    const std::vector<ArrayType> types(static_cast<std::size_t>(size), "
             "ShortElement);\n";
        w << "    makeArrays(types.data(), size);\n";
        w << "    element = new (std::nothrow) Place*[static_cast<std::size_t>(size)];\n";
        w << "    if (element == nullptr)\n        MemoryAllocationError();\n";
        w << "    cells.reset(new (std::nothrow) short*[static_cast<std::size_t>(size)]);\n";
        w << "    if (cells == nullptr)\n        MemoryAllocationError();\n";
        w << "    for (int k = 0; k < size; ++k) {\n";
        w << "        element[k] = new Place((std::string(name) + \"[\" + std::to_string(k) + "
             "\"]\").c_str(), initial);\n";
        w << "        fields[static_cast<std::size_t>(k)].var = element[k];\n";
        w << "        element[k]->registerPointer(&cells[k]);\n    }\n}\n\n";
        w << q << "~" << cls
          << "() {\n    for (int k = 0; k < size; ++k)\n        delete element[k];\n"
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
}

// The constructor's initializer list, then the families' members and the explicit groups.
void emitConstructorStart(const EmitContext& c, Writer& w) {
    const CheckedModel& m = c.m;
    w << c.san << "::" << c.san << "()\n    : SANModel()";
    for (const CheckedActivity& a : m.activities) {
        if (a.family)
            w << ",\n      " << a.name << "_First(" << a.name << "_FirstIndex()),\n      " << a.name
              << "_Count(std::max(0, " << a.name << "_LastIndex() - " << a.name
              << "_First + 1)),\n      " << a.name << "(new " << a.name
              << "Activity[static_cast<std::size_t>(" << a.name << "_Count)])";
        else
            w << ",\n      " << a.name << "()";
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
            if (c.activity(idx).family)
                count += c.activity(idx).name + "_Count + ";
            else
                ++fixed;
        }
        w << "    " << g.name << ".initialize(" << count << fixed << ", " << quoted(g.name)
          << ");\n";
        for (int idx : g.members)
            forEach(w, c.activity(idx),
                    g.name + ".appendGroup(" + activityRef(c.activity(idx)) + ");");
    }
}

// The activity list in model order and the group list with its ids.
void emitActionLists(const EmitContext& c, Writer& w) {
    w << "\n    // The activities in model order; every activity outside an explicit group is\n"
      << "    // its own group, and a group's id is its position in the group list.\n";
    w << "    std::vector<Activity*> activities;\n    std::vector<BaseGroupClass*> groups;\n";
    std::set<int> listedGroups;
    for (const CheckedActivity& a : c.m.activities) {
        forEach(w, a, "activities.push_back(" + activityRef(a) + ");");
        if (a.group < 0)
            forEach(w, a, "groups.push_back(" + activityRef(a) + ");");
        else if (listedGroups.insert(a.group).second)
            w << "    groups.push_back(&" << c.m.groups[static_cast<std::size_t>(a.group)].name
              << ");\n";
    }
    w << "    for (std::size_t g = 0; g < groups.size(); ++g)\n";
    w << "        groups[g]->setGroupId(static_cast<int>(g));\n\n";
}

// The places, after the arrays' sizes are checked, and the model's initialization.
void emitPlaces(const EmitContext& c, Writer& w) {
    const CheckedModel& m = c.m;
    for (const CheckedPlace& p : m.places) {
        if (p.kind != CheckedPlace::Array || !p.sizeIsGlobal)
            continue;
        w << "    if (" << p.size << " < 1 || " << p.size << " > 32767) {\n";
        w << "        std::cerr << \"!! " << c.san << "::" << c.san
          << ": the size of the place array " << p.name << ", " << p.size
          << " = \" << static_cast<long long>(" << p.size
          << ") << \", is outside 1..32767\" << std::endl;\n";
        w << "        std::exit(1);\n    }\n";
    }
    for (const CheckedPlace& p : m.places) {
        if (p.kind == CheckedPlace::Struct) {
            w << "    " << p.name << " = new " << c.structOf(p).name << "Struct(" << quoted(p.name)
              << ");\n";
            continue;
        }
        if (p.kind == CheckedPlace::Array)
            w << "    " << p.name << " = new " << p.name << "Array(" << quoted(p.name) << ", "
              << "static_cast<int>(" << p.size << "), ";
        else
            w << "    " << p.name << " = new Place(" << quoted(p.name) << ", ";
        if (!p.hasInit) {
            w << "0);\n";
            continue;
        }
        w << "gen_marking::initialMarking(" << quoted(p.name) << ", static_cast<double>(\n";
        w.fragment(p.init);
        w << "    )));\n";
    }
    if (m.places.empty()) {
        w << "    BaseStateVariableClass** places = nullptr;\n";
    } else {
        w << "    BaseStateVariableClass* places[] = {";
        for (std::size_t i = 0; i < m.places.size(); ++i)
            w << (i ? ", " : "") << m.places[i].name;
        w << "};\n";
    }
    w << "    initializeSANModelNow(" << quoted(m.modelName) << ", "
      << static_cast<int>(m.places.size())
      << ", places, 0, nullptr, static_cast<int>(activities.size()), activities.data(),\n"
      << "                          static_cast<int>(groups.size()), groups.data());\n\n";
}

// The activities' places, their arcs and their marking pointers; then the packing.
void emitWiring(const EmitContext& c, Writer& w) {
    const CheckedModel& m = c.m;
    w << "    // The places each activity reads or writes.\n";
    for (const CheckedActivity& a : m.activities)
        for (int p : a.linkedPlaces)
            forEach(w, a,
                    a.name + (a.family ? "[k]." : ".") + c.place(p).name + " = " + c.place(p).name +
                        ";");
    w << "\n    // Affect arcs, then enable arcs, activity by activity.\n";
    for (const CheckedActivity& a : m.activities)
        for (int p : a.affectedPlaces)
            forEach(w, a, "AddAffectArc(" + c.place(p).name + ", " + activityRef(a) + ");");
    for (const CheckedActivity& a : m.activities)
        for (int p : a.enablingPlaces)
            forEach(w, a, "AddEnableArc(" + c.place(p).name + ", " + activityRef(a) + ");");
    w << "\n";
    for (const CheckedActivity& a : m.activities)
        forEach(w, a, a.name + (a.family ? "[k]" : "") + ".LinkVariables();");
    // Safe for every model: every pointer to a marking that the generated classes
    // keep is registered with its place (LinkVariables, the arrays' cells, the
    // places' and fields' own pointers), so it follows the move; the fragments that
    // run while the model is built may use global variables only; and every other
    // fragment runs after the constructor, so a pointer it takes to a marking, even
    // one kept in a static, points at the packed cell, which stays where it is until
    // the model is destroyed.
    w << "\n    // Every pointer to a marking is registered and no fragment that names a place\n"
      << "    // has run, so the markings may move into one buffer in state-vector order: the\n"
      << "    // generator then saves and restores a state with one copy. When no start of the\n"
      << "    // buffer aligns every cell, nothing moves.\n"
      << "    PackStateCells();\n";
}

// The phase counters that go back to 0 when no erlang activity that counts on
// them is enabled: one per erlang activity outside a group, one per group.
void emitPhaseReset(const EmitContext& c, Writer& w) {
    const CheckedModel& m = c.m;
    w << "void " << c.san << "::ResetErlangPhases() {\n";
    for (const CheckedActivity& a : m.activities)
        if (a.kind == ActivityKind::Erlang && a.group < 0)
            w << "    if (!" << a.name << ".EnabledNow())\n        " << c.place(a.phasePlace).name
              << "->setMark(0);\n";
    for (const CheckedGroup& g : m.groups) {
        if (g.phasePlace < 0)
            continue;
        w << "    {\n        bool enabled = false;\n";
        for (int idx : g.members) {
            const CheckedActivity& a = c.activity(idx);
            if (a.kind != ActivityKind::Erlang)
                continue;
            if (a.family)
                w << "        for (int k = 0; k < " << a.name << "_Count && !enabled; ++k)\n"
                  << "            enabled = " << a.name << "[k].EnabledNow();\n";
            else
                w << "        enabled = enabled || " << a.name << ".EnabledNow();\n";
        }
        w << "        if (!enabled)\n            " << c.place(g.phasePlace).name
          << "->setMark(0);\n    }\n";
    }
    w << "}\n\n";
}

void emitSanSource(const EmitContext& c) {
    const std::string& san = c.san;
    Writer w = c.open(san + ".cpp");
    c.header(w, san + ": the SAN of the model " + c.m.modelName + ".");
    w << "\n#include \"" << san << ".h\"\n\n";
    w << "#include \"base/Errors.h\"\n#include \"distributions/UserDistributions.h\"\n\n";
    w << "#include <algorithm>\n#include <cstdlib>\n#include <cstring>\n#include <iostream>\n"
         "#include <new>\n#include <string>\n#include <vector>\n\n";
    emitStructMethods(c, w);
    emitArrayMethods(c, w);
    for (const CheckedActivity& a : c.m.activities)
        emitActivityMethods(c, w, a);
    w << "// ---- " << san << " ----\n\n";
    for (const CheckedActivity& a : c.m.activities) {
        if (!a.family)
            continue;
        w << "int " << san << "::" << a.name << "_FirstIndex() {\n";
        emitValue(w, a.first, "int");
        w << "}\n\n";
        w << "int " << san << "::" << a.name << "_LastIndex() {\n";
        emitValue(w, a.last, "int");
        w << "}\n\n";
    }
    emitConstructorStart(c, w);
    emitActionLists(c, w);
    emitPlaces(c, w);
    emitWiring(c, w);
    w << "}\n\n";
    if (c.hasErlang())
        emitPhaseReset(c, w);
    w << san << "::~" << san << "() {\n";
    w << "    for (int i = 0; i < NumStateVariables - NumReadOnlyPlaces; ++i)\n        delete "
         "Places[i];\n}\n";
    c.save(san + ".cpp", w);
}

} // namespace

void emitSan(const EmitContext& c) {
    emitSanHeader(c);
    emitSanSource(c);
}
