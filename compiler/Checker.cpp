#include "Checker.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

namespace {

const char* const cppKeywords[] = {
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break",
    "case", "catch", "char", "char8_t", "char16_t", "char32_t", "class", "compl", "concept",
    "const", "consteval", "constexpr", "constinit", "const_cast", "continue", "co_await",
    "co_return", "co_yield", "decltype", "default", "delete", "do", "double", "dynamic_cast",
    "else", "enum", "explicit", "export", "extern", "false", "float", "for", "friend", "goto",
    "if", "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq",
    "nullptr", "operator", "or", "or_eq", "private", "protected", "public", "register",
    "reinterpret_cast", "requires", "return", "short", "signed", "sizeof", "static",
    "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local",
    "throw", "true", "try", "typedef", "typeid", "typename", "union", "unsigned", "using",
    "virtual", "void", "volatile", "wchar_t", "while", "xor", "xor_eq", "final", "override",
    "main", "std", "NULL"};

// Members of the framework's classes that a generated SAN, activity or worker
// would hide or that its code uses by name.
const char* const frameworkMembers[] = {
    "Places", "ReadOnlyPlaces", "NumReadOnlyPlaces", "NumStateVariables", "NumActions",
    "NumGroups", "Actions", "Groups", "Name", "ModelId", "ParentId", "ImmediateGroup",
    "ModelSlot", "SubModel", "Rate", "Weight", "Rank", "Enabled", "Fire", "LinkVariables",
    "SampleDistribution", "ReturnDistributionParameters", "ReactivationPredicate",
    "ReactivationFunction", "ErlangParamM", "PreviousEnabled", "CurrentEnabled",
    "DistributionParameters", "GroupID", "Phase", "ID", "Members", "SelectedAction",
    "Reward_Function", "Impulse_Function", "Value", "ValueSquared", "StartTime", "StopTime",
    "Workers", "NumWorkers", "ModelRefs", "NumModelRefs", "Model", "CustomInitialization",
    "assignPlacesToActivitiesInst", "assignPlacesToActivitiesTimed", "initializeSANModelNow",
    "AddAffectArc", "AddEnableArc", "Disabled", "Reactivation", "Fired", "DistributionType",
    "ParentModel", "ExecutionPolicy", "NumMembers", "Capacity", "MaxRank", "NumWeights",
    "WeightDistribution", "AffectedSVs", "EnablingSVs", "MaxID", "Cells", "Reward",
    "RewardSquared", "PVId", "WorkerNumber", "ImpulseNumber", "Delay", "Element"};

// Members of a structured state variable that a field of that name would hide.
const char* const structMembers[] = {"fields", "stateSize", "name", "prefix", "shared",
                                     "stored", "functionallyShared", "sharingCount",
                                     "SVAffectingActions", "SVEnabledActions", "types",
                                     "holder", "absorbedMembers", "layoutVersion"};

// Types and enumerators of the framework, which the generated code names.
const char* const frameworkTypes[] = {
    "ActionModelPairClass", "Activity", "ArrayElement", "ArrayType", "AtomicSANModel", "BaseActionClass",
    "BaseGroupClass", "BaseModelClass", "BaseStateVariableClass", "BaseStructStateVariable", "BaseStudyClass", "Beta",
    "Binomial", "CharElement", "CompositeModel", "ConditionalWeibull", "DefaultPolicy", "Deterministic",
    "Distribution", "Distributions", "DoubleElement", "EmptyGroup", "Erlang", "ExecutionPolicyType",
    "Exponential", "FastSet", "FloatElement", "Gamma", "Geometric", "HyperExponential",
    "HypoExponential", "ImpulseNodeClass", "InstantOfTime", "InstantOfTimeType", "Instantaneous", "IntElement",
    "IntervalOfTime", "IntervalOfTimeType", "LaggedFibonacci", "Lognormal", "ModelGroupClass", "ModelType",
    "NegativeBinomial", "Normal", "PVModel", "Pareto", "PerformanceVariableNode", "PerformanceVariableWorker",
    "Place", "RandomNumberGenerator", "ResultsDB", "RewardModel", "RewardType", "SANModel",
    "ShortElement", "SingleGroup", "State", "SteadyState", "SteadyStateType", "StructElement",
    "Tausworthe", "TimeAveragedIntervalOfTime", "TimeAveragedIntervalOfTimeType", "Triangular", "Uniform", "UnorderedElement",
    "UserDistributions", "VarModelPairClass", "Weibull", "List", "SharableSV", "SharedPointerElement",
    "GEN_ASSERT"};

// Names a global variable cannot have: it is a C++ global next to the C library
// and the framework's own globals.
const char* const globalNamesTaken[] = {
    "abs", "acos", "asin", "atan", "atan2", "ceil", "cos", "cosh", "exp", "exp2", "fabs",
    "floor", "fmod", "frexp", "ldexp", "log", "log10", "log2", "modf", "pow", "sin", "sinh",
    "sqrt", "tan", "tanh", "round", "trunc", "erf", "erfc", "gamma", "lgamma", "tgamma",
    "hypot", "cbrt", "fmin", "fmax", "min", "max", "rand", "srand", "time", "clock", "index",
    "remove", "rename", "signal", "raise", "y0", "y1", "yn", "j0", "j1", "jn", "exit", "abort",
    "free", "malloc", "calloc", "realloc", "printf", "puts", "strlen", "strcmp", "strdup",
    "div", "labs", "atoi", "atof", "getenv", "system", "select", "read", "write", "open",
    "close", "link", "stdin", "stdout", "stderr", "errno", "environ", "optarg", "optind",
    "GlobalStudyPtr", "TheDistribution", "TheGenerator", "TraceLevel", "trout",
    "GenerateStudy", "DestructStudy", "FindNext"};

const char* const reservedSuffixes[] = {"_Mark",  "_Marks",  "_Count", "_First",
                                        "_FirstIndex", "_LastIndex", "Activity", "Array",
                                        "Struct"};

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool isIntegerType(ValueType t) {
    return t == ValueType::Short || t == ValueType::Int || t == ValueType::Long ||
           t == ValueType::Char;
}

std::string where(SourceLocation at) {
    return std::to_string(at.line) + ":" + std::to_string(at.column);
}

// A double as the shortest C++ literal that reads back as the same double.
std::string doubleLiteral(double v) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    std::string s(buf, r.ptr);
    if (s.find_first_of(".en") == std::string::npos)
        s += ".0";
    return s;
}

std::string floatLiteral(float v) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    std::string s(buf, r.ptr);
    if (s.find_first_of(".en") == std::string::npos)
        s += ".0";
    return s + "f";
}

std::string integerLiteral(long long v, ValueType t) {
    if (v == LLONG_MIN)
        return "(-9223372036854775807L - 1)";
    if (v == INT_MIN && t == ValueType::Int)
        return "(-2147483647 - 1)";
    std::string s = std::to_string(v) + (t == ValueType::Long ? "L" : "");
    if (t == ValueType::Short)
        s = "static_cast<short>(" + s + ")";
    else if (t == ValueType::Char)
        s = "static_cast<char>(" + s + ")";
    else if (v < 0)
        s = "(" + s + ")";
    return s;
}

bool integerRange(ValueType t, long long& lo, long long& hi) {
    switch (t) {
    case ValueType::Short:
        lo = SHRT_MIN, hi = SHRT_MAX;
        return true;
    case ValueType::Int:
        lo = INT_MIN, hi = INT_MAX;
        return true;
    case ValueType::Long:
        lo = LONG_MIN, hi = LONG_MAX;
        return true;
    case ValueType::Char:
        lo = -128, hi = 255;
        return true;
    default:
        return false;
    }
}

constexpr int maxExperiments = 100000;
constexpr int maxTimePoints = 10000;

class Checker {
public:
    Checker(const ModelFile& f, Diagnostics& d) : file(f), diag(d) {}
    CheckedModel run(const std::string& fileName);

private:
    enum class Kind { Model, Global, Struct, Place, Activity, Group };
    struct Entry {
        Kind kind;
        int index;
        SourceLocation at;
    };

    bool declare(const Name& n, Kind kind, int index);
    bool validName(const Name& n, bool global);
    const Entry* lookup(const std::string& name) const;
    static const char* kindName(Kind k);
    SourceLocation locate(const Fragment& f, std::size_t offset) const;
    // The places a fragment names; with `what` set, naming one is an error.
    CheckedFragment resolve(const Fragment& f, const char* what = nullptr);

    void checkGlobals();
    void checkStudy();
    bool literalValue(const Literal& lit, ValueType t, std::string& out, const std::string& global);
    bool numberOf(const Literal& lit, double& out);
    bool rangeValues(const std::vector<Literal>& v, ValueType t, std::vector<std::string>& out,
                     const std::string& global);
    void checkStructs();
    void checkPlaces();
    void checkActivities();
    void checkGroups();
    void checkRewards();
    void findOwnElementArrays(CheckedActivity& a);

    const ModelFile& file;
    Diagnostics& diag;
    CheckedModel m;
    std::map<std::string, Entry> names;
};

const char* Checker::kindName(Kind k) {
    switch (k) {
    case Kind::Model:
        return "the model";
    case Kind::Global:
        return "a global variable";
    case Kind::Struct:
        return "a structure type";
    case Kind::Place:
        return "a place";
    case Kind::Activity:
        return "an activity";
    case Kind::Group:
        return "a group";
    }
    return "?";
}

bool Checker::validName(const Name& n, bool global) {
    for (const char* k : cppKeywords)
        if (n.text == k) {
            diag.error(n.at, "'" + n.text + "' is a C++ keyword and cannot name a model element");
            return false;
        }
    for (const char* k : frameworkTypes)
        if (n.text == k) {
            diag.error(n.at, "'" + n.text + "' is reserved: the framework has a type or constant of that name");
            return false;
        }
    for (const char* k : frameworkMembers)
        if (n.text == k) {
            diag.error(n.at, "'" + n.text + "' is reserved: the generated classes use it");
            return false;
        }
    for (const char* s : reservedSuffixes)
        if (endsWith(n.text, s)) {
            diag.error(n.at, "'" + n.text + "' is reserved: names ending in '" + s +
                                 "' are used by the generated classes");
            return false;
        }
    if (n.text.rfind("__", 0) == 0 || (n.text.size() > 1 && n.text[0] == '_' &&
                                       std::isupper(static_cast<unsigned char>(n.text[1])))) {
        diag.error(n.at, "'" + n.text + "' is reserved for the C++ implementation");
        return false;
    }
    if (global)
        for (const char* k : globalNamesTaken)
            if (n.text == k) {
                diag.error(n.at, "'" + n.text + "' cannot name a global variable: a C library "
                                     "function or the framework has that name");
                return false;
            }
    return true;
}

bool Checker::declare(const Name& n, Kind kind, int index) {
    auto it = names.find(n.text);
    if (it != names.end()) {
        diag.error(n.at, "duplicate name '" + n.text + "' (first declared at " +
                             where(it->second.at) + " as " + kindName(it->second.kind) + ")");
        return false;
    }
    if (!validName(n, kind == Kind::Global))
        return false;
    names[n.text] = {kind, index, n.at};
    return true;
}

const Checker::Entry* Checker::lookup(const std::string& name) const {
    auto it = names.find(name);
    return it == names.end() ? nullptr : &it->second;
}

SourceLocation Checker::locate(const Fragment& f, std::size_t offset) const {
    SourceLocation at = f.at;
    for (std::size_t i = 0; i < offset && i < f.text.size(); ++i) {
        if (f.text[i] == '\n') {
            ++at.line;
            at.column = 1;
        } else {
            ++at.column;
        }
    }
    return at;
}

CheckedFragment Checker::resolve(const Fragment& f, const char* what) {
    CheckedFragment c;
    c.code = f;
    for (const FragmentIdentifier& id : fragmentIdentifiers(f.text)) {
        const Entry* e = lookup(id.name);
        if (e == nullptr || e->kind != Kind::Place)
            continue;
        if (what != nullptr) {
            diag.error(locate(f, id.offset), "place '" + id.name + "' is not in scope here: " +
                                                 what + " may use global variables only");
            continue;
        }
        if (std::find(c.places.begin(), c.places.end(), e->index) == c.places.end())
            c.places.push_back(e->index);
    }
    return c;
}

CheckedModel Checker::run(const std::string& fileName) {
    m.file = fileName;
    m.modelName = file.model.text;
    if (file.hasModel && !file.model.text.empty())
        declare(file.model, Kind::Model, 0);
    m.stem = file.hasStem ? file.stem.text : file.model.text;
    if (file.hasStem)
        validName(file.stem, false);
    m.studyName = file.hasStudy && file.study.named ? file.study.name.text : file.model.text;
    checkGlobals();
    checkStudy();
    checkStructs();
    checkPlaces();
    checkActivities();
    checkGroups();
    checkRewards();
    return m;
}

void Checker::checkGlobals() {
    for (const GlobalDecl& g : file.globals) {
        if (declare(g.name, Kind::Global, static_cast<int>(m.globals.size())))
            m.globals.push_back({g.name.text, g.type, {}});
    }
}

bool Checker::numberOf(const Literal& lit, double& out) {
    if (lit.kind != TokenKind::Number) {
        diag.error(lit.at, "expected a number, found '" + lit.text + "'");
        return false;
    }
    out = std::strtod(lit.text.c_str(), nullptr);
    if (!std::isfinite(out)) {
        diag.error(lit.at, "number " + lit.text + " is out of range");
        return false;
    }
    return true;
}

bool Checker::literalValue(const Literal& lit, ValueType t, std::string& out,
                           const std::string& global) {
    const std::string mismatch = "type mismatch: value " +
                                 (lit.kind == TokenKind::Char ? "'" + lit.text + "'" : lit.text) +
                                 " is not " + (t == ValueType::Int ? "an " : "a ") +
                                 typeName(t) + " (the type of '" + global + "')";
    switch (t) {
    case ValueType::Bool:
        if (lit.kind == TokenKind::Name || (lit.kind == TokenKind::Number && lit.isInteger &&
                                            (lit.text == "0" || lit.text == "1"))) {
            out = lit.text == "true" || lit.text == "1" ? "true" : "false";
            return true;
        }
        diag.error(lit.at, mismatch);
        return false;
    case ValueType::Float:
    case ValueType::Double: {
        if (lit.kind != TokenKind::Number) {
            diag.error(lit.at, mismatch);
            return false;
        }
        if (t == ValueType::Float) {
            float v = std::strtof(lit.text.c_str(), nullptr);
            if (!std::isfinite(v)) {
                diag.error(lit.at, "value " + lit.text + " is out of the range of a float");
                return false;
            }
            out = floatLiteral(v);
        } else {
            double v = std::strtod(lit.text.c_str(), nullptr);
            if (!std::isfinite(v)) {
                diag.error(lit.at, "value " + lit.text + " is out of the range of a double");
                return false;
            }
            out = doubleLiteral(v);
        }
        return true;
    }
    default: {
        long long v = 0;
        if (t == ValueType::Char && lit.kind == TokenKind::Char) {
            if (lit.text.size() != 1) {
                diag.error(lit.at, "a character literal holds one character");
                return false;
            }
            v = static_cast<unsigned char>(lit.text[0]);
        } else if (lit.kind == TokenKind::Number && lit.isInteger) {
            const char* b = lit.text.c_str();
            auto r = std::from_chars(b + (lit.text[0] == '-' ? 0 : 0), b + lit.text.size(), v);
            if (r.ec != std::errc()) {
                diag.error(lit.at, "value " + lit.text + " is out of the range of a " +
                                       typeName(t));
                return false;
            }
        } else {
            diag.error(lit.at, mismatch);
            return false;
        }
        long long lo = 0, hi = 0;
        integerRange(t, lo, hi);
        if (v < lo || v > hi) {
            diag.error(lit.at, "value " + lit.text + " is out of the range of a " + typeName(t));
            return false;
        }
        out = integerLiteral(v, t);
        return true;
    }
    }
}

bool Checker::rangeValues(const std::vector<Literal>& v, ValueType t,
                          std::vector<std::string>& out, const std::string& global) {
    if (t == ValueType::Bool) {
        diag.error(v[0].at, "a range needs a numeric type; '" + global + "' is a bool");
        return false;
    }
    std::string dummy;
    for (const Literal& l : v)
        if (!literalValue(l, t, dummy, global))
            return false;
    double from = 0, to = 0, step = 1;
    if (v[0].kind == TokenKind::Char || v[1].kind == TokenKind::Char ||
        (v.size() > 2 && v[2].kind == TokenKind::Char)) {
        diag.error(v[0].at, "a range takes numbers, not characters");
        return false;
    }
    numberOf(v[0], from);
    numberOf(v[1], to);
    if (v.size() > 2)
        numberOf(v[2], step);
    if (step == 0) {
        diag.error(v[2].at, "the step of a range must not be 0");
        return false;
    }
    const double n = std::round((to - from) / step);
    if (!(n >= 0)) {
        diag.error(v[0].at, "the range " + v[0].text + " .. " + v[1].text +
                                " is empty: the step goes the other way");
        return false;
    }
    if (n + 1 > maxExperiments) {
        diag.error(v[0].at, "the range has more than " + std::to_string(maxExperiments) +
                                " values");
        return false;
    }
    const int count = static_cast<int>(n) + 1;
    if (t == ValueType::Double) {
        double x = from;
        for (int k = 0; k < count; ++k, x += step)
            out.push_back(doubleLiteral(x));
    } else if (t == ValueType::Float) {
        float x = static_cast<float>(from);
        const float s = static_cast<float>(step);
        for (int k = 0; k < count; ++k, x += s)
            out.push_back(floatLiteral(x));
    } else {
        long long lo = 0, hi = 0;
        integerRange(t, lo, hi);
        long long x = std::strtoll(v[0].text.c_str(), nullptr, 10);
        const long long s = v.size() > 2 ? std::strtoll(v[2].text.c_str(), nullptr, 10) : 1;
        for (int k = 0; k < count; ++k) {
            if (x < lo || x > hi) {
                diag.error(v[1].at, "the range leaves the range of a " + std::string(typeName(t)));
                return false;
            }
            out.push_back(integerLiteral(x, t));
            if (k + 1 < count && __builtin_add_overflow(x, s, &x)) {
                diag.error(v[1].at, "the range overflows");
                return false;
            }
        }
    }
    return true;
}

void Checker::checkStudy() {
    if (!file.hasStudy) {
        if (!m.globals.empty())
            diag.error(file.globals[0].name.at,
                       "the model has global variables but no study to give them values");
        return;
    }
    const StudyDecl& s = file.study;
    if (s.named) {
        bool ok = !s.name.text.empty();
        for (char c : s.name.text)
            ok = ok && (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_');
        if (!ok)
            diag.error(s.name.at, "the study's name must be letters, digits and '_'");
    }
    // Per global: its values and where they were given; a constant has one value.
    struct Given {
        bool set = false;
        bool constant = false;
        SourceLocation at;
        std::vector<std::string> values;
    };
    std::vector<Given> given(m.globals.size());
    int experiments = -1;
    std::string countSetBy;
    SourceLocation countSetAt;
    auto agree = [&](int count, const std::string& global, SourceLocation at) {
        if (experiments < 0) {
            experiments = count;
            countSetBy = global;
            countSetAt = at;
            return;
        }
        if (count != experiments)
            diag.error(at, "'" + global + "' has " + std::to_string(count) +
                               " values but the study has " + std::to_string(experiments) +
                               " experiments (as '" + countSetBy + "' at " + where(countSetAt) +
                               " says)");
    };
    auto target = [&](const Name& n) -> Given* {
        const Entry* e = lookup(n.text);
        if (e == nullptr || e->kind != Kind::Global) {
            diag.error(n.at, e == nullptr ? "unknown global variable '" + n.text + "'"
                                          : "'" + n.text + "' is " + kindName(e->kind) +
                                                ", not a global variable");
            return nullptr;
        }
        Given& g = given[static_cast<std::size_t>(e->index)];
        if (g.set) {
            diag.error(n.at, "'" + n.text + "' is given values twice (first at " +
                                 where(g.at) + ")");
            return nullptr;
        }
        g.set = true;
        g.at = n.at;
        return &g;
    };
    for (const StudyEntry& e : s.entries) {
        Given* g = target(e.global);
        if (g == nullptr)
            continue;
        const Entry* entry = lookup(e.global.text);
        const ValueType t = m.globals[static_cast<std::size_t>(entry->index)].type;
        bool ok = true;
        if (e.kind == StudyEntry::Range) {
            ok = rangeValues(e.values, t, g->values, e.global.text);
        } else {
            for (const Literal& l : e.values) {
                std::string v;
                ok = literalValue(l, t, v, e.global.text) && ok;
                g->values.push_back(v);
            }
            if (e.kind == StudyEntry::List && static_cast<int>(e.values.size()) > maxExperiments) {
                diag.error(e.global.at, "too many values");
                ok = false;
            }
        }
        if (!ok)
            continue;
        if (e.kind == StudyEntry::Constant)
            g->constant = true;
        else
            agree(static_cast<int>(g->values.size()), e.global.text, e.global.at);
    }
    for (const StudyTable& t : s.tables) {
        std::vector<Given*> columns;
        for (const Name& n : t.globals)
            columns.push_back(target(n));
        bool ok = true;
        for (const StudyTable::Row& row : t.rows) {
            if (row.values.size() != t.globals.size()) {
                diag.error(row.at, "this row has " + std::to_string(row.values.size()) +
                                       " values for " + std::to_string(t.globals.size()) +
                                       " global variables");
                ok = false;
                continue;
            }
            for (std::size_t c = 0; c < columns.size(); ++c) {
                if (columns[c] == nullptr)
                    continue;
                const Entry* entry = lookup(t.globals[c].text);
                std::string v;
                if (!literalValue(row.values[c], m.globals[static_cast<std::size_t>(entry->index)].type,
                                  v, t.globals[c].text))
                    ok = false;
                columns[c]->values.push_back(v);
            }
        }
        if (!ok)
            continue;
        if (t.rows.empty()) {
            diag.error(t.at, "the table has no rows");
            continue;
        }
        agree(static_cast<int>(t.rows.size()), "the table", t.at);
        if (m.experimentNames.empty()) {
            for (const StudyTable::Row& row : t.rows)
                m.experimentNames.push_back(row.named ? row.name : "");
        }
    }
    if (experiments < 0)
        experiments = 1;
    m.numExperiments = experiments;
    m.experimentNames.resize(static_cast<std::size_t>(experiments));
    for (std::size_t i = 0; i < given.size(); ++i) {
        Given& g = given[i];
        if (!g.set) {
            diag.error(s.at, "the study gives no value to the global variable '" +
                                 m.globals[i].name + "'");
            continue;
        }
        if (g.constant && !g.values.empty())
            g.values.assign(static_cast<std::size_t>(experiments), g.values[0]);
        m.globals[i].values = g.values;
    }
}

void Checker::checkStructs() {
    for (const StructDecl& s : file.structs) {
        if (!declare(s.name, Kind::Struct, static_cast<int>(m.structs.size())))
            continue;
        CheckedStruct c;
        c.name = s.name.text;
        std::set<std::string> seen;
        for (const StructFieldDecl& f : s.fields) {
            if (!seen.insert(f.name.text).second) {
                diag.error(f.name.at, "duplicate field '" + f.name.text + "' in structure '" +
                                          s.name.text + "'");
                continue;
            }
            if (validName(f.name, false))
                for (const char* member : structMembers)
                    if (f.name.text == member)
                        diag.error(f.name.at, "'" + f.name.text +
                                                  "' is reserved: a structured variable has a member of that name");
            if (f.hasInit)
                resolve(f.init, "a field's initial value");
            c.fields.push_back({f.name.text, f.type, f.hasInit, f.init});
        }
        if (c.fields.empty())
            diag.error(s.name.at, "structure '" + s.name.text + "' has no field");
        m.structs.push_back(c);
    }
}

void Checker::checkPlaces() {
    for (const PlaceDecl& p : file.places) {
        CheckedPlace c;
        c.name = p.name.text;
        if (p.isArray) {
            c.kind = CheckedPlace::Array;
            if (p.size.kind == TokenKind::Number) {
                long long n = 0;
                auto r = std::from_chars(p.size.text.data(), p.size.text.data() + p.size.text.size(), n);
                if (!p.size.isInteger || r.ec != std::errc() || r.ptr != p.size.text.data() + p.size.text.size())
                    diag.error(p.size.at, "array size of '" + c.name + "' is not an integer: " +
                                              p.size.text);
                else if (n < 1 || n > 32767)
                    diag.error(p.size.at, "array size of '" + c.name + "' must lie in 1..32767");
                c.size = p.size.text;
            } else {
                const Entry* e = lookup(p.size.text);
                if (e == nullptr)
                    diag.error(p.size.at, "unknown global variable '" + p.size.text +
                                              "' as the size of '" + c.name + "'");
                else if (e->kind != Kind::Global)
                    diag.error(p.size.at, "array size of '" + c.name + "' must be an integer or a "
                                          "global variable; '" + p.size.text + "' is " +
                                          kindName(e->kind));
                else if (!isIntegerType(m.globals[static_cast<std::size_t>(e->index)].type))
                    diag.error(p.size.at, "array size of '" + c.name + "' is not an integer: '" +
                                              p.size.text + "' is a " +
                                              typeName(m.globals[static_cast<std::size_t>(e->index)].type));
                c.size = p.size.text;
                c.sizeIsGlobal = true;
            }
        }
        if (p.isStruct) {
            const Entry* e = lookup(p.structType.text);
            if (e == nullptr || e->kind != Kind::Struct)
                diag.error(p.structType.at, e == nullptr
                                                ? "unknown structure type '" + p.structType.text + "'"
                                                : "'" + p.structType.text + "' is " +
                                                      kindName(e->kind) + ", not a structure type");
            else
                c.structType = e->index;
            if (p.isArray)
                diag.error(p.name.at, "an array of structures is not supported");
            if (p.hasInit)
                diag.error(p.init.at, "a structured place takes its initial values from its "
                                      "structure's fields");
            c.kind = CheckedPlace::Struct;
        }
        if (p.hasInit) {
            c.hasInit = true;
            c.init = p.init;
        }
        if (!declare(p.name, Kind::Place, static_cast<int>(m.places.size())))
            continue;
        m.places.push_back(c);
    }
    // Initial markings are checked once every place is known, so that a place
    // named before its declaration is still recognised as out of scope.
    for (const CheckedPlace& c : m.places)
        if (c.hasInit)
            resolve(c.init, "an initial marking");
}

void Checker::checkActivities() {
    // Declare every activity first: groups and impulses may name later ones.
    std::vector<bool> declared;
    for (const ActivityDecl& a : file.activities)
        declared.push_back(declare(a.name, Kind::Activity,
                                   static_cast<int>(std::count(declared.begin(), declared.end(), true))));
    for (std::size_t k = 0; k < file.activities.size(); ++k) {
        if (!declared[k])
            continue;
        const ActivityDecl& a = file.activities[k];
        CheckedActivity c;
        c.name = a.name.text;
        c.kind = a.kind;
        const char* kindText = a.kind == ActivityKind::Exponential     ? "exponential"
                               : a.kind == ActivityKind::Deterministic ? "deterministic"
                               : a.kind == ActivityKind::Erlang        ? "erlang"
                                                                       : "instantaneous";
        if (a.family) {
            c.family = true;
            c.index = a.index.text;
            if (lookup(a.index.text) != nullptr)
                diag.error(a.index.at, "the index '" + a.index.text + "' hides " +
                                           kindName(lookup(a.index.text)->kind) + " of that name");
            else
                validName(a.index, false);
            c.first = resolve(a.first, "a family's range");
            c.last = resolve(a.last, "a family's range");
        }
        std::set<std::string> seen;
        auto addUnique = [](std::vector<int>& v, int p) {
            if (std::find(v.begin(), v.end(), p) == v.end())
                v.push_back(p);
        };
        std::vector<int> whenPlaces, effectPlaces, otherPlaces;
        for (const ClauseDecl& cl : a.clauses) {
            const std::string& w = cl.word.text;
            if (!seen.insert(w).second) {
                diag.error(cl.word.at, "a second '" + w + "' clause in activity '" + c.name + "'");
                continue;
            }
            const bool allowed =
                (w == "rate" && (a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang)) ||
                (w == "delay" && a.kind == ActivityKind::Deterministic) ||
                (w == "phases" && a.kind == ActivityKind::Erlang) ||
                (w == "rank" && a.kind == ActivityKind::Instantaneous) ||
                w == "weight" || w == "when" || w == "do" || w == "input" || w == "output";
            if (!allowed) {
                diag.error(cl.word.at, "'" + w + "' is not allowed in " +
                                           (a.kind == ActivityKind::Exponential ? "an " : "a ") +
                                           kindText + " activity");
                continue;
            }
            if (w == "input" || w == "output") {
                for (const ArcDecl& arc : cl.arcs) {
                    const Entry* e = lookup(arc.place.text);
                    if (e == nullptr || e->kind != Kind::Place) {
                        diag.error(arc.place.at, e == nullptr ? "unknown place '" + arc.place.text + "'"
                                                              : "'" + arc.place.text + "' is " +
                                                                    kindName(e->kind) + ", not a place");
                        continue;
                    }
                    const CheckedPlace& p = m.places[static_cast<std::size_t>(e->index)];
                    if (p.kind == CheckedPlace::Struct) {
                        diag.error(arc.place.at, "'" + p.name + "' is a structure; arcs move tokens of places");
                        continue;
                    }
                    if (arc.indexed && p.kind != CheckedPlace::Array) {
                        diag.error(arc.place.at, "'" + p.name + "' is not an array");
                        continue;
                    }
                    if (!arc.indexed && p.kind == CheckedPlace::Array) {
                        diag.error(arc.place.at, "'" + p.name + "' is an array: name an element, as in " +
                                                     p.name + "[i]");
                        continue;
                    }
                    CheckedArc ca;
                    ca.place = e->index;
                    ca.indexed = arc.indexed;
                    if (arc.indexed)
                        ca.index = resolve(arc.index);
                    (w == "input" ? c.inputs : c.outputs).push_back(ca);
                }
                continue;
            }
            CheckedFragment f = resolve(cl.fragment);
            if (w == "rate") {
                c.hasRate = true;
                c.rate = f;
            } else if (w == "delay") {
                c.hasDelay = true;
                c.delay = f;
            } else if (w == "phases") {
                c.hasPhases = true;
                c.phases = f;
            } else if (w == "weight") {
                c.hasWeight = true;
                c.weight = f;
            } else if (w == "rank") {
                c.hasRank = true;
                c.rank = f;
            } else if (w == "when") {
                c.hasWhen = true;
                c.when = f;
                whenPlaces = f.places;
            } else if (w == "do") {
                c.hasEffect = true;
                c.effect = f;
                effectPlaces = f.places;
            }
            if (w != "when" && w != "do")
                for (int p : f.places)
                    addUnique(otherPlaces, p);
        }
        auto missing = [&](bool has, const char* clause) {
            if (!has)
                diag.error(a.name.at, std::string(a.kind == ActivityKind::Exponential ? "exponential"
                                                   : a.kind == ActivityKind::Erlang ? "Erlang"
                                                                                    : "deterministic") +
                                          " activity '" + c.name + "' has no " + clause);
        };
        if (a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang)
            missing(c.hasRate, "rate");
        if (a.kind == ActivityKind::Erlang)
            missing(c.hasPhases, "phases");
        if (a.kind == ActivityKind::Deterministic)
            missing(c.hasDelay, "delay");
        for (const CheckedArc& arc : c.inputs) {
            addUnique(c.enablingPlaces, arc.place);
            for (int p : arc.index.places)
                addUnique(c.enablingPlaces, p);
        }
        for (int p : whenPlaces)
            addUnique(c.enablingPlaces, p);
        for (const CheckedArc& arc : c.inputs)
            addUnique(c.affectedPlaces, arc.place);
        for (const CheckedArc& arc : c.outputs)
            addUnique(c.affectedPlaces, arc.place);
        for (int p : effectPlaces)
            addUnique(c.affectedPlaces, p);
        for (int p : c.enablingPlaces)
            addUnique(c.linkedPlaces, p);
        for (int p : c.affectedPlaces)
            addUnique(c.linkedPlaces, p);
        for (const CheckedArc& arc : c.outputs)
            for (int p : arc.index.places)
                addUnique(c.linkedPlaces, p);
        for (int p : otherPlaces)
            addUnique(c.linkedPlaces, p);
        if (c.family)
            findOwnElementArrays(c);
        m.activities.push_back(c);
    }
}

void Checker::findOwnElementArrays(CheckedActivity& a) {
    std::vector<const CheckedFragment*> code = {&a.rate, &a.delay,  &a.phases, &a.weight,
                                                &a.rank, &a.when,   &a.effect};
    for (const CheckedArc& arc : a.inputs)
        code.push_back(&arc.index);
    for (const CheckedArc& arc : a.outputs)
        code.push_back(&arc.index);
    auto trimmed = [](const std::string& s) {
        const std::size_t b = s.find_first_not_of(" \t\r\n");
        const std::size_t e = s.find_last_not_of(" \t\r\n");
        return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
    };
    for (int p : a.linkedPlaces) {
        const CheckedPlace& place = m.places[static_cast<std::size_t>(p)];
        if (place.kind != CheckedPlace::Array)
            continue;
        bool own = true;
        for (const CheckedArc& arc : a.inputs)
            own = own && (arc.place != p || trimmed(arc.index.code.text) == a.index);
        for (const CheckedArc& arc : a.outputs)
            own = own && (arc.place != p || trimmed(arc.index.code.text) == a.index);
        for (const CheckedFragment* f : code) {
            const std::string& t = f->code.text;
            for (const FragmentIdentifier& id : fragmentIdentifiers(t)) {
                if (id.name != place.name)
                    continue;
                // Only `name [ index ]`, blanks allowed.
                std::size_t i = t.find_first_not_of(" \t\r\n", id.offset + id.name.size());
                bool match = i != std::string::npos && t[i] == '[';
                if (match) {
                    std::size_t close = t.find(']', i);
                    match = close != std::string::npos && trimmed(t.substr(i + 1, close - i - 1)) == a.index;
                }
                own = own && match;
            }
        }
        if (own)
            a.ownElementArrays.push_back(p);
    }
}

void Checker::checkGroups() {
    std::vector<std::string> groupOf(m.activities.size());
    for (const GroupDecl& g : file.groups) {
        if (!declare(g.name, Kind::Group, static_cast<int>(m.groups.size())))
            continue;
        CheckedGroup c;
        c.name = g.name.text;
        for (const Name& n : g.members) {
            const Entry* e = lookup(n.text);
            if (e == nullptr || e->kind != Kind::Activity) {
                diag.error(n.at, e == nullptr ? "unknown activity '" + n.text + "' in group '" +
                                                    c.name + "'"
                                              : "'" + n.text + "' is " + kindName(e->kind) +
                                                    ", not an activity");
                continue;
            }
            std::string& current = groupOf[static_cast<std::size_t>(e->index)];
            if (!current.empty()) {
                diag.error(n.at, "activity '" + n.text + "' is already in group '" + current + "'");
                continue;
            }
            current = c.name;
            m.activities[static_cast<std::size_t>(e->index)].group = static_cast<int>(m.groups.size());
            c.members.push_back(e->index);
        }
        if (g.members.empty())
            diag.error(g.name.at, "group '" + c.name + "' has no member");
        m.groups.push_back(c);
    }
}

void Checker::checkRewards() {
    std::map<std::string, SourceLocation> seen;
    for (const RewardDecl& r : file.rewards) {
        auto [it, fresh] = seen.emplace(r.name.text, r.name.at);
        if (!fresh) {
            diag.error(r.name.at, "duplicate reward variable '" + r.name.text +
                                      "' (first declared at " + where(it->second) + ")");
            continue;
        }
        CheckedReward c;
        c.name = r.name.text;
        c.kind = r.kind;
        const bool instant = r.kind == RewardKind::Instant;
        const bool steady = r.kind == RewardKind::Steady;
        if (r.hasAt && !instant)
            diag.error(r.atAt, "'at' gives the time points of an instant reward; " +
                                   std::string(steady ? "a steady-state reward has none"
                                                      : "an interval reward uses 'over'"));
        if (r.hasOver && !(r.kind == RewardKind::Interval || r.kind == RewardKind::Average))
            diag.error(r.overAt, std::string("'over' gives the intervals of an interval or average "
                                             "reward; ") +
                                     (steady ? "a steady-state reward has none"
                                             : "an instant reward uses 'at'"));
        if (instant && !r.hasAt)
            diag.error(r.name.at, "instant reward '" + c.name + "' has no time point (at <time>)");
        if ((r.kind == RewardKind::Interval || r.kind == RewardKind::Average) && !r.hasOver)
            diag.error(r.name.at, "interval reward '" + c.name + "' has no interval (over <start> .. <stop>)");
        if (steady) {
            c.starts = {0.0};
            c.stops = {0.0};
        } else if (instant && r.hasAt) {
            std::vector<double> t;
            bool ok = true;
            for (const Literal& l : r.at) {
                double v = 0;
                ok = numberOf(l, v) && ok;
                t.push_back(v);
            }
            if (r.atRange) {
                // A range whose end did not parse was reported by the parser.
                if (!ok || t.size() < 2)
                    continue;
                const double step = t.size() > 2 ? t[2] : 1.0;
                const double n = step == 0 ? -1 : std::round((t[1] - t[0]) / step);
                if (step == 0 || !(n >= 0) || n + 1 > maxTimePoints) {
                    diag.error(r.at[0].at, step == 0 ? "the step of a range must not be 0"
                                                     : "the range of time points is empty or too long");
                } else {
                    double x = t[0];
                    for (int k = 0; k <= static_cast<int>(n); ++k, x += step) {
                        c.starts.push_back(x);
                        c.stops.push_back(x);
                    }
                }
            } else if (ok) {
                if (t.size() > static_cast<std::size_t>(maxTimePoints))
                    diag.error(r.at[0].at, "too many time points");
                c.starts = t;
                c.stops = t;
            }
        } else if (r.hasOver) {
            for (std::size_t k = 0; k + 1 < r.over.size(); k += 2) {
                double a = 0, b = 0;
                if (!numberOf(r.over[k], a) || !numberOf(r.over[k + 1], b))
                    continue;
                if (b < a)
                    diag.error(r.over[k].at, "the interval " + r.over[k].text + " .. " +
                                                 r.over[k + 1].text + " ends before it starts");
                c.starts.push_back(a);
                c.stops.push_back(b);
            }
            if (c.starts.size() > static_cast<std::size_t>(maxTimePoints))
                diag.error(r.overAt, "too many intervals");
        }
        if (r.hasRate) {
            c.hasRate = true;
            c.rate = resolve(r.rate);
        }
        std::set<std::string> impulseOn;
        for (const ImpulseDecl& imp : r.impulses) {
            const Entry* e = lookup(imp.activity.text);
            if (e == nullptr || e->kind != Kind::Activity) {
                diag.error(imp.activity.at, e == nullptr ? "unknown activity '" + imp.activity.text + "'"
                                                         : "'" + imp.activity.text + "' is " +
                                                               kindName(e->kind) + ", not an activity");
                continue;
            }
            if (!impulseOn.insert(imp.activity.text).second) {
                diag.error(imp.activity.at, "a second impulse on '" + imp.activity.text +
                                                "' in reward '" + c.name + "'");
                continue;
            }
            c.impulses.push_back({e->index, resolve(imp.value)});
        }
        if (!r.hasRate && r.impulses.empty())
            diag.error(r.name.at, "reward '" + c.name + "' has neither a rate nor an impulse");
        m.rewards.push_back(c);
    }
}

} // namespace

std::vector<FragmentIdentifier> fragmentIdentifiers(const std::string& text) {
    std::vector<FragmentIdentifier> ids;
    const std::size_t n = text.size();
    std::size_t i = 0;
    char previous = 0;     // last significant character before the current one
    char beforePrevious = 0;
    while (i < n) {
        const char c = text[i];
        if (text.compare(i, 2, "//") == 0) {
            while (i < n && text[i] != '\n')
                ++i;
            continue;
        }
        if (text.compare(i, 2, "/*") == 0) {
            std::size_t close = text.find("*/", i + 2);
            i = close == std::string::npos ? n : close + 2;
            continue;
        }
        if (c == '"' || c == '\'') {
            ++i;
            while (i < n && text[i] != c) {
                if (text[i] == '\\')
                    ++i;
                ++i;
            }
            ++i;
            previous = c;
            continue;
        }
        if (std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_') {
            std::size_t j = i;
            while (j < n && (std::isalnum(static_cast<unsigned char>(text[j])) != 0 || text[j] == '_'))
                ++j;
            const bool member = previous == '.' || (previous == '>' && beforePrevious == '-') ||
                                (previous == ':' && beforePrevious == ':');
            if (!member)
                ids.push_back({text.substr(i, j - i), i});
            beforePrevious = 'a';
            previous = 'a';
            i = j;
            continue;
        }
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            // A number, with its suffixes and exponent, is no identifier.
            while (i < n && (std::isalnum(static_cast<unsigned char>(text[i])) != 0 ||
                             text[i] == '.' || text[i] == '\'' ||
                             ((text[i] == '+' || text[i] == '-') &&
                              (text[i - 1] == 'e' || text[i - 1] == 'E'))))
                ++i;
            previous = '0';
            continue;
        }
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
            beforePrevious = previous;
            previous = c;
        }
        ++i;
    }
    return ids;
}

CheckedModel checkModel(const ModelFile& file, const std::string& fileName,
                        Diagnostics& diagnostics) {
    Checker checker(file, diagnostics);
    return checker.run(fileName);
}
