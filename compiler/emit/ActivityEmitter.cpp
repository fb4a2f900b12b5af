#include "emit/ActivityEmitter.h"

#include "SampledKinds.h"

#include <algorithm>

namespace {

const char* const kindWords[] = {"exponential", "deterministic", "Erlang", "instantaneous"};
// An erlang activity is exponential underneath: it fires once per phase.
const char* const distributions[] = {"Exponential", "Deterministic", "Exponential",
                                     "Instantaneous"};

// The kind's word in the class comment: the distribution for a sampled one.
std::string kindWord(const CheckedActivity& a) {
    if (a.kind == ActivityKind::Sampled)
        return sampledKind(a.sampled).word;
    return kindWords[static_cast<int>(a.kind)];
}

// The framework's Distribution of the activity.
std::string distributionOf(const CheckedActivity& a) {
    if (a.kind == ActivityKind::Sampled)
        return sampledKind(a.sampled).distribution;
    return distributions[static_cast<int>(a.kind)];
}

// The framework's base of a generated activity of kind `a.kind`.
std::string baseOf(const CheckedActivity& a) {
    switch (a.kind) {
    case ActivityKind::Sampled:
        return "::SampledActivity";
    case ActivityKind::Exponential:
    case ActivityKind::Erlang:
        return "::ExponentialActivity";
    case ActivityKind::Deterministic:
        return "::DeterministicActivity<" + a.name + "Activity>";
    case ActivityKind::Instantaneous:
        break;
    }
    return "::GeneratedActivity";
}

bool ownElement(const CheckedActivity& a, int p) {
    return std::find(a.ownElementArrays.begin(), a.ownElementArrays.end(), p) !=
           a.ownElementArrays.end();
}

// The members that hold the markings an activity names: the place and a pointer
// to each marking, registered with its place by LinkVariables.
void emitMarkingMembers(const EmitContext& c, Writer& w, const CheckedActivity& a) {
    for (int p : a.linkedPlaces) {
        const CheckedPlace& pl = c.place(p);
        if (ownElement(a, p)) {
            w << "        " << pl.name << "Array* " << pl.name << " = nullptr; // not owned\n";
            w << "        short* " << pl.name << "_Mark = nullptr; // element [" << a.index
              << "] alone, bound by LinkVariables\n";
        } else if (pl.kind == CheckedPlace::Scalar) {
            w << "        Place* " << pl.name << " = nullptr; // not owned: the model's place\n";
            w << "        short* " << pl.name
              << "_Mark = nullptr; // its marking, bound by LinkVariables\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "        " << pl.name << "Array* " << pl.name << " = nullptr; // not owned\n";
            w << "        // Owned: one pointer per element's marking, bound by LinkVariables.\n";
            w << "        std::unique_ptr<short*[]> " << pl.name << "_Marks;\n";
            w << "        int " << pl.name << "_Count = 0;\n";
        } else {
            const CheckedStruct& s = c.structOf(pl);
            w << "        " << s.name << "Struct* " << pl.name << " = nullptr; // not owned\n";
            for (const CheckedField& f : s.fields)
                w << "        " << typeName(f.type) << "* " << pl.name << "_" << f.name
                  << "_Mark = nullptr; // bound by LinkVariables\n";
        }
    }
}

// The markings a fragment names, as locals named after the places.
void emitPlaceLocals(const EmitContext& c, Writer& w, const CheckedActivity& a,
                     const std::vector<int>& places, bool writable) {
    const char* cell = writable ? "short" : "const short";
    for (int p : places) {
        const CheckedPlace& pl = c.place(p);
        if (writable && pl.kind != CheckedPlace::Struct) {
            // A firing writes through views that refuse a value a short
            // cannot hold, naming the activity (Name) and the place.
            if (ownElement(a, p))
                w << "    const gen_marking::WritableElement " << pl.name << "(" << pl.name
                  << "_Mark, " << a.index << ", Name, " << quoted(pl.name) << ");\n";
            else if (pl.kind == CheckedPlace::Scalar)
                w << "    gen_marking::Marking " << pl.name << "(" << pl.name << "_Mark, Name, "
                  << quoted(pl.name) << ");\n";
            else
                w << "    const gen_marking::WritableCells " << pl.name << "(" << pl.name
                  << "_Marks.get(), " << pl.name << "_Count, Name, " << quoted(pl.name) << ");\n";
            continue;
        }
        if (ownElement(a, p)) {
            w << "    const Element<" << cell << "> " << pl.name << "(" << pl.name << "_Mark);\n";
        } else if (pl.kind == CheckedPlace::Scalar) {
            w << "    " << (writable ? "short& " : "const short& ") << pl.name << " = *" << pl.name
              << "_Mark;\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "    const Cells<" << cell << "> " << pl.name << "(" << pl.name << "_Marks.get(), "
              << pl.name << "_Count);\n";
        } else {
            const CheckedStruct& s = c.structOf(pl);
            w << "    const " << s.name << " " << pl.name << "{";
            for (std::size_t f = 0; f < s.fields.size(); ++f)
                w << (f ? ", " : "") << "*" << pl.name << "_" << s.fields[f].name << "_Mark";
            w << "};\n";
        }
    }
}

// The call that refuses an activity's rate, weight or delay (`what`) when it
// is negative or not a number.
std::string checkedCall(const char* what) {
    return "gen_activity::checked(Name, " + quoted(what) + ", ";
}

// One member function that returns a value fragment, with the markings it
// reads; open as for emitValue.
void emitValueMethod(const EmitContext& c, Writer& w, const CheckedActivity& a,
                     const std::string& signature, const CheckedFragment& f, const char* type,
                     const std::string& open = "") {
    w << signature << " {\n";
    emitPlaceLocals(c, w, a, f.places, false);
    emitDefines(c, w, f.defines);
    emitValue(w, f, type, open);
    w << "}\n\n";
}

void emitLifetime(Writer& w, const CheckedActivity& a, const std::string& q) {
    const std::string dist = distributionOf(a);
    const std::string counts = ", " + std::to_string(a.affectedPlaces.size()) + ", " +
                               std::to_string(a.enablingPlaces.size()) + ", false);\n";
    w << "// " << a.name << "\n\n";
    w << q << a.name << "Activity() {\n";
    if (!a.family)
        w << "    ActivityInitialize(" << quoted(a.name) << ", 0, " << dist << ", DefaultPolicy"
          << counts;
    w << "}\n\n";
    if (!a.family)
        return;
    w << "void " << q << "initialize(int index) {\n";
    w << "    " << a.index << " = index;\n";
    w << "    ActivityInitialize((" << quoted(a.name + "[")
      << " + std::to_string(index) + \"]\").c_str(), 0, " << dist << ", DefaultPolicy" << counts;
    w << "}\n\n";
}

// The enabling condition as an expression: input arcs, then `when`, then no
// stop holding.
void emitCondition(const EmitContext& c, Writer& w, const CheckedActivity& a) {
    if (a.inputs.empty() && !a.hasWhen && c.m.stops.empty()) {
        w << " true";
        return;
    }
    bool first = true;
    for (const CheckedArc& arc : a.inputs) {
        w << (first ? " " : " && ") << c.place(arc.place).name;
        first = false;
        if (arc.indexed) {
            w << "[\n";
            w.fragment(arc.index.code);
            w << "    ]";
        }
        w << " > 0";
    }
    if (a.hasWhen) {
        w << (first ? " " : " && ") << (a.when.code.block ? "[&]() -> bool {\n" : "(\n");
        w.fragment(a.when.code);
        w << (a.when.code.block ? "    }()" : "    )");
        first = false;
    }
    for (const CheckedFragment& stop : c.m.stops) {
        w << (first ? " " : " && ") << (stop.code.block ? "![&]() -> bool {\n" : "!(\n");
        w.fragment(stop.code);
        w << (stop.code.block ? "    }()" : "    )");
        first = false;
    }
}

// Enabled: the condition, recorded in CurrentEnabled. An erlang activity also
// answers EnabledNow(), the condition alone, which the phase counters' reset
// asks without touching what the generator reads.
void emitEnabled(const EmitContext& c, Writer& w, const CheckedActivity& a, const std::string& q) {
    const bool erlang = a.kind == ActivityKind::Erlang;
    if (erlang) {
        w << "bool " << q << "EnabledNow() {\n";
        emitPlaceLocals(c, w, a, a.enablingPlaces, false);
        emitDefines(c, w, a.enablingDefines);
        w << "    return";
        emitCondition(c, w, a);
        w << ";\n}\n\n";
    }
    w << "bool " << q << "Enabled() {\n";
    if (!erlang) {
        emitPlaceLocals(c, w, a, a.enablingPlaces, false);
        emitDefines(c, w, a.enablingDefines);
    }
    w << "    PreviousEnabled = CurrentEnabled;\n";
    w << "    CurrentEnabled =";
    if (erlang)
        w << " EnabledNow()";
    else
        emitCondition(c, w, a);
    w << ";\n    return CurrentEnabled;\n}\n\n";
}

// Fire: the token moves of the arcs, then the effect.
void emitFire(const EmitContext& c, Writer& w, const CheckedActivity& a, const std::string& q) {
    w << "BaseActionClass* " << q << "Fire() {\n";
    if (a.kind == ActivityKind::Erlang) {
        const std::string& phase = c.place(a.phasePlace).name;
        w << "    // Every phase but the last only advances the counter (the number of phases\n"
          << "    // read without a virtual call).\n";
        w << "    if (*" << phase << "_Mark + 1 < " << a.name << "Activity::ErlangParamM()) {\n";
        w << "        ++*" << phase << "_Mark;\n        return this;\n    }\n";
        w << "    *" << phase << "_Mark = 0;\n";
    }
    emitPlaceLocals(c, w, a, a.firingPlaces, true);
    emitDefines(c, w, a.firingDefines);
    auto move = [&](const CheckedArc& arc, const char* op) {
        w << "    " << op << c.place(arc.place).name;
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
    if (a.hasEffect && a.effect.code.block) {
        w << "    {\n";
        w.fragment(a.effect.code);
        w << "    }\n";
    } else if (a.hasEffect) {
        Fragment f = a.effect.code;
        const char last = f.text.empty() ? ';' : f.text.back();
        if (last != ';' && last != '}')
            f.text += ';';
        w.fragment(f);
    }
    if (c.hasErlang())
        w << "    static_cast<" << c.san << "*>(ParentModel)->ResetErlangPhases();\n";
    w << "    return this;\n}\n\n";
}

// LinkVariables: every marking pointer registered with its place, a family
// member's own element checked against the array's size.
void emitLinkVariables(const EmitContext& c, Writer& w, const CheckedActivity& a,
                       const std::string& q) {
    w << "void " << q << "LinkVariables() {\n";
    for (int p : a.linkedPlaces) {
        const std::string& n = c.place(p).name;
        if (ownElement(a, p)) {
            w << "    if (" << a.index << " < 0 || " << a.index << " >= " << n << "->size) {\n";
            w << "        std::cerr << \"!! " << c.san << ": " << a.name << "[\" << " << a.index
              << " << \"] uses " << n << "[\" << " << a.index << " << \"], outside 0..\" << " << n
              << "->size - 1 << std::endl;\n";
            w << "        std::exit(1);\n    }\n";
            w << "    " << n << "->element[" << a.index << "]->registerPointer(&" << n
              << "_Mark);\n";
        } else if (c.place(p).kind == CheckedPlace::Scalar) {
            w << "    " << n << "->registerPointer(&" << n << "_Mark);\n";
        } else if (c.place(p).kind == CheckedPlace::Array) {
            w << "    " << n << "_Count = " << n << "->size;\n";
            w << "    " << n << "_Marks.reset(new (std::nothrow) short*[static_cast<std::size_t>("
              << n << "_Count)]);\n";
            w << "    if (" << n << "_Marks == nullptr)\n        MemoryAllocationError();\n";
            w << "    for (int k = 0; k < " << n << "_Count; ++k)\n";
            w << "        " << n << "->element[k]->registerPointer(&" << n << "_Marks[k]);\n";
        } else {
            for (const CheckedField& f : c.structOf(c.place(p)).fields)
                w << "    " << n << "->" << f.name << "->registerPointer(&" << n << "_" << f.name
                  << "_Mark);\n";
        }
    }
    w << "}\n\n";
}

} // namespace

void emitActivityClass(const EmitContext& c, Writer& w, const CheckedActivity& a) {
    const std::string cls = a.name + "Activity";
    w << "    // The " << kindWord(a) << " activity " << a.name
      << (a.family ? "[" + a.index + "], one member per index" : "") << ".\n";
    openClass(w, "    ", cls, baseOf(a));
    w << "        " << cls << "();\n";
    deletedCopy(w, "        ", cls);
    w << "\n";
    if (a.family)
        w << "        // Names the member after its index.\n        void initialize(int index);\n";
    w << "        bool Enabled() override;\n";
    if (a.hasRate)
        w << "        double Rate() override;\n";
    if (a.hasWeight)
        w << "        double Weight() override;\n";
    if (a.hasRank)
        w << "        int Rank() override;\n";
    if (a.kind == ActivityKind::Erlang) {
        w << "        double ErlangParamM() override; // the number of phases\n";
        w << "        bool EnabledNow(); // the enabling condition, not recorded\n";
    }
    if (a.kind == ActivityKind::Deterministic)
        w << "        double Delay(); // the delay, which the base class reads\n";
    if (a.kind == ActivityKind::Sampled) {
        const SampledKind& k = sampledKind(a.sampled);
        const auto size = static_cast<int>(k.parameters.size());
        w << "        int ParameterCount() override;\n";
        w << "        void Parameters(double* values) override;\n";
        for (int p = 0; p < static_cast<int>(a.parameters.size()); ++p)
            w << "        double " << parameterMethod(k, p % size, p / size) << "(); // the "
              << k.word << " " << k.parameters[static_cast<std::size_t>(p % size)].word << "\n";
    }
    w << "        BaseActionClass* Fire() override;\n";
    w << "        // Binds the marking pointers and registers them with their places.\n";
    w << "        void LinkVariables() override;\n\n";
    if (a.family)
        w << "        int " << a.index << " = 0; // the member's index\n";
    emitMarkingMembers(c, w, a);
    w << "    };\n\n";
}

void emitActivityMethods(const EmitContext& c, Writer& w, const CheckedActivity& a) {
    const std::string q = c.san + "::" + a.name + "Activity::";
    emitLifetime(w, a, q);
    emitEnabled(c, w, a, q);
    if (a.hasRate)
        emitValueMethod(c, w, a, "double " + q + "Rate()", a.rate, "double",
                        a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang
                            ? checkedCall("rate")
                            : "");
    if (a.hasWeight)
        emitValueMethod(c, w, a, "double " + q + "Weight()", a.weight, "double",
                        checkedCall("weight"));
    if (a.hasRank)
        emitValueMethod(c, w, a, "int " + q + "Rank()", a.rank, "int");
    if (a.kind == ActivityKind::Erlang)
        emitValueMethod(c, w, a, "double " + q + "ErlangParamM()", a.phases, "double",
                        "gen_activity::phases(Name, ");
    if (a.kind == ActivityKind::Deterministic)
        emitValueMethod(c, w, a, "double " + q + "Delay()", a.delay, "double",
                        checkedCall("delay"));
    if (a.kind == ActivityKind::Sampled) {
        const SampledKind& k = sampledKind(a.sampled);
        const auto size = static_cast<int>(k.parameters.size());
        const auto count = static_cast<int>(a.parameters.size());
        w << "int " << q << "ParameterCount() {\n    return " << count << ";\n}\n\n";
        w << "void " << q << "Parameters(double* values) {\n";
        for (int p = 0; p < count; ++p)
            w << "    values[" << p << "] = " << parameterMethod(k, p % size, p / size) << "();\n";
        w << "}\n\n";
        for (int p = 0; p < count; ++p)
            emitValueMethod(c, w, a, "double " + q + parameterMethod(k, p % size, p / size) + "()",
                            a.parameters[static_cast<std::size_t>(p)], "double");
    }
    emitFire(c, w, a, q);
    emitLinkVariables(c, w, a, q);
}
