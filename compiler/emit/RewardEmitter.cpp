#include "emit/RewardEmitter.h"

#include <cstdio>

namespace {

std::string nodeClass(const EmitContext& c, std::size_t k) {
    return c.m.stem + "PV" + std::to_string(k);
}

const char* const typeNames[] = {"instant of time", "interval of time",
                                 "time-averaged interval of time", "steady state"};
const char* const typeEnums[] = {"InstantOfTimeType", "IntervalOfTimeType",
                                 "TimeAveragedIntervalOfTimeType", "SteadyStateType"};
const char* const workerBases[] = {"InstantOfTime", "IntervalOfTime", "TimeAveragedIntervalOfTime",
                                   "SteadyState"};

std::string timeLiteral(double v) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", v);
    std::string s = buf;
    if (s.find_first_of(".en") == std::string::npos)
        s += ".0";
    return s;
}

void emitPVModel(const EmitContext& c) {
    const CheckedModel& m = c.m;
    const std::string cls = m.stem + "PVModel";
    Writer h = c.open(cls + ".h");
    h << "#pragma once\n";
    c.header(h, cls + ": the reward model over the SAN " + c.san + ".");
    h << "\n#include \"pv/PVModel.h\"\n\n";
    openClass(h, "", cls, "PVModel");
    h << "    // Builds the SAN and the reward variables' nodes; expandTimePoints gives one\n";
    h << "    // node per time point of a variable with several.\n";
    h << "    explicit " << cls << "(bool expandTimePoints);\n";
    h << "    ~" << cls << "() override = default;\n";
    deletedCopy(h, "    ", cls);
    h << "\n    // A new node for variable pvIndex at time point timeIndex; null for an unknown "
         "variable.\n";
    h << "    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;\n};\n";
    c.save(cls + ".h", h);

    Writer w = c.open(cls + ".cpp");
    c.header(w, cls + ": the reward model over the SAN " + c.san + ".");
    w << "\n#include \"" << cls << ".h\"\n\n";
    for (std::size_t k = 0; k < m.rewards.size(); ++k)
        w << "#include \"" << nodeClass(c, k) << ".h\"\n";
    w << "#include \"" << c.san << ".h\"\n\n";
    w << cls << "::" << cls << "(bool expandTimePoints) {\n";
    w << "    SubModel = new " << c.san << "();\n";
    w << "    DefineName(" << quoted(cls) << ");\n";
    w << "    CreatePVList(" << static_cast<int>(m.rewards.size()) << ", expandTimePoints);\n";
    w << "    Initialize();\n";
    int until = 0;
    for (const CheckedReward& r : m.rewards)
        until += r.untilAbsorption ? 1 : 0;
    if (until > 0) {
        w << "    // The variables that the solver reports until absorption (the .abs file).\n";
        w << "    static const char* const untilAbsorption[] = {";
        int k = 0;
        for (const CheckedReward& r : m.rewards)
            if (r.untilAbsorption)
                w << (k++ ? ", " : "") << quoted(r.name);
        w << "};\n";
        w << "    UntilAbsorption = untilAbsorption;\n";
        w << "    NumUntilAbsorption = " << until << ";\n";
    }
    w << "}\n\n";
    w << "PerformanceVariableNode* " << cls << "::createPVNode(int pvIndex, int timeIndex) {\n";
    if (m.rewards.empty()) {
        w << "    (void)pvIndex;\n    (void)timeIndex;\n    return nullptr;\n}\n";
    } else {
        w << "    switch (pvIndex) {\n";
        for (std::size_t k = 0; k < m.rewards.size(); ++k)
            w << "    case " << static_cast<int>(k) << ":\n        return new " << nodeClass(c, k)
              << "(timeIndex);\n";
        w << "    default:\n        return nullptr;\n    }\n}\n";
    }
    c.save(cls + ".cpp", w);
}

// The node's destructor: what the framework leaves to the generated node. Kept
// in this one function so that a change of the ownership rule is one change here.
void emitNodeDestructor(Writer& w, const std::string& cls, bool impulses) {
    w << cls << "::~" << cls << "() {\n";
    w << "    if (Workers != nullptr) {\n";
    w << "        for (int w = 0; w < NumWorkers; ++w) {\n";
    w << "            if (Workers[w] == nullptr)\n                continue;\n";
    w << "            delete[] Workers[w]->Name; // the node frees each worker's name, then the "
         "worker\n";
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

bool hasFamilyImpulse(const EmitContext& c, const CheckedReward& r) {
    for (const CheckedImpulse& imp : r.impulses)
        if (c.activity(imp.activity).family)
            return true;
    return false;
}

void emitNodeHeader(const EmitContext& c, std::size_t k) {
    const CheckedReward& r = c.m.rewards[k];
    const std::string cls = nodeClass(c, k);
    Writer h = c.open(cls + ".h");
    h << "#pragma once\n";
    c.header(h, cls + ": the reward variable \"" + r.name + "\" (" +
                    typeNames[static_cast<int>(r.kind)] + ").");
    h << "\n";
    for (std::size_t j = 0; j < r.impulses.size(); ++j)
        h << "#include \"" << cls << "Impulse" << static_cast<int>(j) << ".h\"\n";
    h << "#include \"pv/PerformanceVariableNode.h\"\n";
    if (hasFamilyImpulse(c, r))
        h << "\n#include <memory>\n";
    h << "\n";
    openClass(h, "", cls, "PerformanceVariableNode");
    h << "    explicit " << cls << "(int timeIndex);\n";
    h << "    // Frees each worker's name and deletes the workers and impulse workers, then the "
         "base part.\n";
    h << "    ~" << cls << "() override;\n";
    deletedCopy(h, "    ", cls);
    if (r.hasRate)
        h << "\n    void CreateWorkerList() override;\n\n";
    else
        h << "\n    // The variable has no rate reward, hence no worker.\n    void "
             "CreateWorkerList() override {}\n\n";
    h << "    BaseModelClass* ModelSlot = nullptr; // the target of ModelRefs: the submodel, not "
         "owned\n";
    for (std::size_t j = 0; j < r.impulses.size(); ++j) {
        const CheckedActivity& a = c.activity(r.impulses[j].activity);
        const std::string ic = cls + "Impulse" + std::to_string(j);
        if (a.family)
            h << "    std::unique_ptr<" << ic << "[]> Impulse" << static_cast<int>(j)
              << "; // one per member of " << a.name << ", each registered for its member\n";
        else
            h << "    " << ic << " Impulse" << static_cast<int>(j)
              << "; // registered for the impulse on " << a.name << "\n";
    }
    h << "};\n";
    c.save(cls + ".h", h);
}

// The node's Initialize call and its dependencies; a family's impulses count its members.
void emitNodeInitialize(const EmitContext& c, Writer& w, const CheckedReward& r) {
    int fixedImpulses = 0;
    std::string impulseCount;
    for (std::size_t j = 0; j < r.impulses.size(); ++j) {
        const CheckedActivity& a = c.activity(r.impulses[j].activity);
        if (!a.family) {
            ++fixedImpulses;
            continue;
        }
        const std::string jj = std::to_string(j);
        w << "    const int first" << jj << " = " << c.san << "::" << a.name << "_FirstIndex();\n";
        w << "    const int count" << jj << " = std::max(0, " << c.san << "::" << a.name
          << "_LastIndex() - first" << jj << " + 1);\n";
        impulseCount += "count" + jj + " + ";
    }
    const int varDeps = r.hasRate ? static_cast<int>(r.rate.places.size()) : 0;
    const int modelDeps = r.hasRate ? 1 : 0;
    w << "    Initialize(" << quoted(r.name) << ", " << typeEnums[static_cast<int>(r.kind)] << ", "
      << static_cast<int>(r.starts.size()) << ", starts, stops, timeIndex, " << impulseCount
      << fixedImpulses << ", " << modelDeps << ", " << varDeps << ");\n";
    if (!r.hasRate)
        return;
    for (int p : r.rate.places)
        w << "    AddVariableDependency(" << quoted(c.place(p).name) << ", "
          << quoted(c.m.modelName) << ");\n";
    if (r.rate.places.empty())
        w << "    AddModelDependency(" << quoted(c.m.modelName) << ");\n";
}

void emitNodeImpulses(const EmitContext& c, Writer& w, const CheckedReward& r,
                      const std::string& cls) {
    for (std::size_t j = 0; j < r.impulses.size(); ++j) {
        const CheckedActivity& a = c.activity(r.impulses[j].activity);
        const std::string ic = cls + "Impulse" + std::to_string(j);
        const std::string jj = std::to_string(j);
        if (!a.family) {
            w << "    AddImpulse(" << quoted(a.name) << ", " << quoted(c.m.modelName)
              << ", &Impulse" << jj << ");\n";
            continue;
        }
        w << "    Impulse" << jj << ".reset(new " << ic << "[static_cast<std::size_t>(count" << jj
          << ")]);\n";
        w << "    for (int k = 0; k < count" << jj << "; ++k)\n";
        w << "        AddImpulse((" << quoted(a.name + "[") << " + std::to_string(first" << jj
          << " + k) + \"]\").c_str(), " << quoted(c.m.modelName) << ", &Impulse" << jj << "[k]);\n";
    }
}

void emitNode(const EmitContext& c, std::size_t k) {
    const CheckedReward& r = c.m.rewards[k];
    const std::string cls = nodeClass(c, k);
    emitNodeHeader(c, k);
    Writer w = c.open(cls + ".cpp");
    c.header(w, cls + ": the reward variable \"" + r.name + "\" (" +
                    typeNames[static_cast<int>(r.kind)] + ").");
    w << "\n#include \"" << cls << ".h\"\n\n";
    // The destructor deletes the workers: their class is complete here even
    // without a rate reward, when the node has none.
    w << "#include \""
      << (r.hasRate ? cls + "Worker.h" : std::string("pv/PerformanceVariableWorker.h")) << "\"\n";
    if (hasFamilyImpulse(c, r))
        w << "#include \"" << c.san << ".h\"\n\n#include <algorithm>\n#include <string>\n";
    w << "\n" << cls << "::" << cls << "(int timeIndex) {\n";
    w << "    ModelRefs = &ModelSlot;\n";
    w << "    double starts[] = {";
    for (std::size_t t = 0; t < r.starts.size(); ++t)
        w << (t ? ", " : "") << timeLiteral(r.starts[t]);
    w << "};\n    double stops[] = {";
    for (std::size_t t = 0; t < r.stops.size(); ++t)
        w << (t ? ", " : "") << timeLiteral(r.stops[t]);
    w << "};\n";
    emitNodeInitialize(c, w, r);
    emitNodeImpulses(c, w, r, cls);
    w << "}\n\n";
    emitNodeDestructor(w, cls, !r.impulses.empty());
    if (r.hasRate) {
        w << "void " << cls << "::CreateWorkerList() {\n";
        w << "    for (int w = 0; w < NumWorkers; ++w)\n        Workers[w] = new " << cls
          << "Worker();\n}\n";
    }
    c.save(cls + ".cpp", w);
}

// The markings that a reward's fragment reads, as locals named after the places.
void emitWorkerLocals(const EmitContext& c, Writer& w, const std::vector<int>& places) {
    if (places.empty())
        return;
    const std::string& model = c.m.modelName;
    const std::string& san = c.san;
    w << "    const " << san << "& " << model << " = static_cast<const " << san
      << "&>(*ModelSlot);\n";
    for (int p : places) {
        const CheckedPlace& pl = c.place(p);
        if (pl.kind == CheckedPlace::Scalar) {
            w << "    const short " << pl.name << " = " << model << "." << pl.name
              << "->getMark();\n";
        } else if (pl.kind == CheckedPlace::Array) {
            w << "    const " << san << "::Cells<const short> " << pl.name << "(" << model << "."
              << pl.name << "->cells.get(), " << model << "." << pl.name << "->size);\n";
        } else {
            const CheckedStruct& s = c.structOf(pl);
            w << "    const " << san << "::" << s.name << " " << pl.name << "{";
            for (std::size_t f = 0; f < s.fields.size(); ++f)
                w << (f ? ", " : "") << "*" << model << "." << pl.name << "->" << s.fields[f].name
                  << "->value";
            w << "};\n";
        }
    }
}

// The header of a class that watches the model through ModelSlot, a worker or
// an impulse, up to its own members: it derives from pv/<base>.h's class.
Writer watcherHeader(const EmitContext& c, const std::string& cls, const std::string& what,
                     const std::string& base) {
    Writer h = c.open(cls + ".h");
    h << "#pragma once\n";
    c.header(h, what);
    h << "\n#include \"pv/" << base << ".h\"\n\n";
    openClass(h, "", cls, base);
    h << "    " << cls << "();\n    ~" << cls << "() override;\n";
    deletedCopy(h, "    ", cls);
    return h;
}

// The end of a watcher's header, its ModelSlot (`slotUse`: what the watcher
// does with the model), saved; then its source, opened with the includes and
// the constructor and destructor that register ModelSlot as its one model
// reference.
Writer watcherSource(const EmitContext& c, Writer& h, const std::string& cls,
                     const std::string& what, const char* slotUse) {
    h << "\n    // Not owned: the " << c.m.modelName << " instance the " << slotUse
      << ", set by the node through ModelRefs.\n";
    h << "    BaseModelClass* ModelSlot = nullptr;\n};\n";
    c.save(cls + ".h", h);
    Writer w = c.open(cls + ".cpp");
    c.header(w, what);
    w << "\n#include \"" << cls << ".h\"\n\n#include \"GlobalVariables.h\"\n#include \"" << c.san
      << ".h\"\n#include \"pv/GeneratedReward.h\"\n\n";
    w << cls << "::" << cls << "() {\n";
    w << "    NumModelRefs = 1;\n";
    w << "    ModelRefs = new BaseModelClass**[1];\n";
    w << "    ModelRefs[0] = &ModelSlot;\n}\n\n";
    w << cls << "::~" << cls << "() {\n    delete[] ModelRefs;\n}\n\n";
    return w;
}

void emitWorker(const EmitContext& c, std::size_t k) {
    const CheckedReward& r = c.m.rewards[k];
    const std::string cls = nodeClass(c, k) + "Worker";
    const char* base = workerBases[static_cast<int>(r.kind)];
    const std::string what = cls + ": the rate reward of the variable \"" + r.name + "\".";
    Writer h = watcherHeader(c, cls, what, base);
    h << "\n    double Reward_Function() override;\n";
    Writer w = watcherSource(c, h, cls, what, "reward reads");
    w << "double " << cls << "::Reward_Function() {\n";
    emitWorkerLocals(c, w, r.rate.places);
    emitDefines(c, w, r.rate.defines);
    emitValue(w, r.rate, "double",
              "gen_reward::finite(" + quoted(r.name) + ", \"rate reward\", \"\", ");
    w << "}\n";
    c.save(cls + ".cpp", w);
}

void emitImpulse(const EmitContext& c, std::size_t k, std::size_t j) {
    const CheckedReward& r = c.m.rewards[k];
    const CheckedImpulse& imp = r.impulses[j];
    const std::string cls = nodeClass(c, k) + "Impulse" + std::to_string(j);
    const std::string what = cls + ": the impulse of the variable \"" + r.name +
                             "\" on the activity " + c.activity(imp.activity).name + ".";
    Writer h = watcherHeader(c, cls, what, "ImpulseNodeClass");
    h << "\n    void EndAccumulate(double now) override;\n";
    h << "    double Impulse_Function() override;\n";
    h << "    // Adds the impulse when the firing falls into the variable's interval.\n";
    h << "    void Accumulate(double now, double last) override;\n";
    h << "    void CurrentReward() override;\n";
    h << "    void Reset() override { ImpulseNodeClass::Reset(); }\n";
    h << "    ImpulseNodeClass** CreateWorkerList(int count) override;\n";
    Writer w = watcherSource(c, h, cls, what, "worker watches");
    w << "void " << cls << "::EndAccumulate(double) {}\n\n";
    w << "double " << cls << "::Impulse_Function() {\n";
    const CheckedActivity& a = c.activity(imp.activity);
    if (a.kind == ActivityKind::Erlang) {
        // A firing that only advanced a phase left the counter above 0.
        w << "    if (static_cast<const " << c.san << "&>(*ModelSlot)."
          << c.place(a.phasePlace).name << "->getMark() != 0)\n        return 0.0;\n";
    }
    emitWorkerLocals(c, w, imp.value.places);
    emitDefines(c, w, imp.value.defines);
    emitValue(w, imp.value, "double",
              "gen_reward::finite(" + quoted(r.name) + ", \"impulse\", " +
                  quoted(c.activity(imp.activity).name) + ", ");
    w << "}\n\n";
    w << "void " << cls << "::Accumulate(double now, double) {\n";
    w << "    if (now < StartTime || now > StopTime)\n        return;\n";
    w << "    double value = Impulse_Function();\n    Value += value;\n    ValueSquared += value * "
         "value;\n}\n\n";
    w << "void " << cls
      << "::CurrentReward() {\n    Value = Impulse_Function();\n    ValueSquared = Value * "
         "Value;\n}\n\n";
    w << "ImpulseNodeClass** " << cls << "::CreateWorkerList(int count) {\n";
    w << "    ImpulseNodeClass** workers = new ImpulseNodeClass*[count];\n";
    w << "    for (int k = 0; k < count; ++k)\n        workers[k] = new " << cls << "();\n";
    w << "    return workers;\n}\n";
    c.save(cls + ".cpp", w);
}

} // namespace

void emitRewards(const EmitContext& c) {
    emitPVModel(c);
    for (std::size_t k = 0; k < c.m.rewards.size(); ++k) {
        emitNode(c, k);
        if (c.m.rewards[k].hasRate)
            emitWorker(c, k);
        for (std::size_t j = 0; j < c.m.rewards[k].impulses.size(); ++j)
            emitImpulse(c, k, j);
    }
}
