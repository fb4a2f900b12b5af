#include "check/ModelChecker.h"

#include "Checker.h"
#include "check/ReservedNames.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <set>

namespace {

bool isIntegerType(ValueType t) {
    return t == ValueType::Short || t == ValueType::Int || t == ValueType::Long ||
           t == ValueType::Char;
}

} // namespace

std::string where(SourceLocation at) {
    return std::to_string(at.line) + ":" + std::to_string(at.column);
}

void addUnique(std::vector<int>& v, int p) {
    if (std::find(v.begin(), v.end(), p) == v.end())
        v.push_back(p);
}

const char* ModelChecker::kindName(Kind k) {
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
    case Kind::Condition:
        return "a condition";
    case Kind::Define:
        return "a named expression";
    }
    return "?";
}

bool ModelChecker::validName(const Name& n, bool global) {
    const std::string problem = reservedNameProblem(n.text, global);
    if (problem.empty())
        return true;
    diag.error(n.at, problem);
    return false;
}

bool ModelChecker::declare(const Name& n, Kind kind, int index) {
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

const ModelChecker::Entry* ModelChecker::lookup(const std::string& name) const {
    auto it = names.find(name);
    return it == names.end() ? nullptr : &it->second;
}

SourceLocation ModelChecker::locate(const Fragment& f, std::size_t offset) const {
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

const ModelChecker::Entry* ModelChecker::defineEntry(const std::string& name) const {
    const Entry* e = lookup(name);
    return e != nullptr && (e->kind == Kind::Condition || e->kind == Kind::Define) ? e : nullptr;
}

CheckedFragment ModelChecker::resolve(const Fragment& f, const char* what) {
    CheckedFragment c;
    c.code = f;
    const std::vector<FragmentIdentifier> ids = fragmentIdentifiers(f.text);
    std::vector<bool> used(m.defines.size(), false);
    for (const FragmentIdentifier& id : ids) {
        const Entry* e = lookup(id.name);
        if (e == nullptr)
            continue;
        if (e->kind == Kind::Condition || e->kind == Kind::Define) {
            if (what != nullptr) {
                diag.error(
                    locate(f, id.offset),
                    std::string(e->kind == Kind::Condition ? "condition '" : "expression '") +
                        id.name + "' is not in scope here: " + what +
                        " may use global variables and helper code only");
                continue;
            }
            const CheckedDefine& def = m.defines[static_cast<std::size_t>(e->index)];
            used[static_cast<std::size_t>(e->index)] = true;
            for (int u : def.body.defines)
                used[static_cast<std::size_t>(u)] = true;
            for (int p : def.body.places)
                addUnique(c.places, p);
            continue;
        }
        if (e->kind != Kind::Place)
            continue;
        if (what != nullptr) {
            diag.error(locate(f, id.offset), "place '" + id.name + "' is not in scope here: " +
                                                 what + " may use global variables only");
            continue;
        }
        addUnique(c.places, e->index);
    }
    // Every use becomes a call of the local function that holds the expression,
    // from the last use backwards so that the earlier offsets stay right.
    for (auto id = ids.rbegin(); id != ids.rend(); ++id)
        if (defineEntry(id->name) != nullptr)
            c.code.text.insert(id->offset + id->name.size(), "()");
    for (int d : defineOrder)
        if (used[static_cast<std::size_t>(d)])
            c.defines.push_back(d);
    return c;
}

CheckedModel ModelChecker::run(const std::string& fileName) {
    m.file = fileName;
    m.code = file.code;
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
    declareDefines();
    checkInitialValues();
    checkDefines();
    checkStops();
    checkActivities();
    checkGroups();
    addPhaseCounters();
    checkRewards();
    checkExplorable();
    return m;
}

void ModelChecker::checkGlobals() {
    for (const GlobalDecl& g : file.globals) {
        if (declare(g.name, Kind::Global, static_cast<int>(m.globals.size())))
            m.globals.push_back({g.name.text, g.type, {}});
    }
}

ModelChecker::Given* ModelChecker::studyTarget(StudyValues& s, const Name& n) {
    const Entry* e = lookup(n.text);
    if (e == nullptr || e->kind != Kind::Global) {
        diag.error(n.at, e == nullptr ? "unknown global variable '" + n.text + "'"
                                      : "'" + n.text + "' is " + kindName(e->kind) +
                                            ", not a global variable");
        return nullptr;
    }
    Given& g = s.given[static_cast<std::size_t>(e->index)];
    if (g.set) {
        diag.error(n.at, "'" + n.text + "' is given values twice (first at " + where(g.at) + ")");
        return nullptr;
    }
    g.set = true;
    g.at = n.at;
    return &g;
}

// Lists, ranges and tables must agree on the number of experiments.
void ModelChecker::agree(StudyValues& s, int count, const std::string& global, SourceLocation at) {
    if (s.experiments < 0) {
        s.experiments = count;
        s.countSetBy = global;
        s.countSetAt = at;
        return;
    }
    if (count != s.experiments)
        diag.error(at, "'" + global + "' has " + std::to_string(count) +
                           " values but the study has " + std::to_string(s.experiments) +
                           " experiments (as '" + s.countSetBy + "' at " + where(s.countSetAt) +
                           " says)");
}

void ModelChecker::checkStudyEntry(StudyValues& s, const StudyEntry& e) {
    Given* g = studyTarget(s, e.global);
    if (g == nullptr)
        return;
    const Entry* entry = lookup(e.global.text);
    const ValueType t = m.globals[static_cast<std::size_t>(entry->index)].type;
    bool ok = true;
    if (e.kind == StudyEntry::Range) {
        ok = literals.range(e.values, t, g->values, e.global.text);
    } else {
        for (const Literal& l : e.values) {
            std::string v;
            ok = literals.value(l, t, v, e.global.text) && ok;
            g->values.push_back(v);
        }
        if (e.kind == StudyEntry::List && static_cast<int>(e.values.size()) > maxExperiments) {
            diag.error(e.global.at, "too many values");
            ok = false;
        }
    }
    if (!ok)
        return;
    if (e.kind == StudyEntry::Constant)
        g->constant = true;
    else
        agree(s, static_cast<int>(g->values.size()), e.global.text, e.global.at);
}

void ModelChecker::checkStudyTable(StudyValues& s, const StudyTable& t) {
    std::vector<Given*> columns;
    for (const Name& n : t.globals)
        columns.push_back(studyTarget(s, n));
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
            if (!literals.value(row.values[c],
                                m.globals[static_cast<std::size_t>(entry->index)].type, v,
                                t.globals[c].text))
                ok = false;
            columns[c]->values.push_back(v);
        }
    }
    if (!ok)
        return;
    if (t.rows.empty()) {
        diag.error(t.at, "the table has no rows");
        return;
    }
    agree(s, static_cast<int>(t.rows.size()), "the table", t.at);
    if (m.experimentNames.empty())
        for (const StudyTable::Row& row : t.rows)
            m.experimentNames.push_back(row.named ? row.name : "");
}

void ModelChecker::checkStudy() {
    if (!file.hasStudy) {
        if (!m.globals.empty())
            diag.error(file.globals[0].name.at,
                       "the model has global variables but no study to give them values");
        return;
    }
    const StudyDecl& study = file.study;
    if (study.named) {
        bool ok = !study.name.text.empty();
        for (char c : study.name.text)
            ok = ok && (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_');
        if (!ok)
            diag.error(study.name.at, "the study's name must be letters, digits and '_'");
    }
    StudyValues s;
    s.given.resize(m.globals.size());
    for (const StudyEntry& e : study.entries)
        checkStudyEntry(s, e);
    for (const StudyTable& t : study.tables)
        checkStudyTable(s, t);
    const int experiments = s.experiments < 0 ? 1 : s.experiments;
    m.numExperiments = experiments;
    m.experimentNames.resize(static_cast<std::size_t>(experiments));
    for (std::size_t i = 0; i < s.given.size(); ++i) {
        Given& g = s.given[i];
        if (!g.set) {
            diag.error(study.at, "the study gives no value to the global variable '" +
                                     m.globals[i].name + "'");
            continue;
        }
        if (g.constant && !g.values.empty())
            g.values.assign(static_cast<std::size_t>(experiments), g.values[0]);
        m.globals[i].values = g.values;
    }
}

void ModelChecker::checkStructs() {
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
            if (validName(f.name, false) && isStructVariableMember(f.name.text))
                diag.error(f.name.at,
                           "'" + f.name.text +
                               "' is reserved: a structured variable has a member of that name");
            c.fields.push_back({f.name.text, f.type, f.hasInit, f.init});
        }
        if (c.fields.empty())
            diag.error(s.name.at, "structure '" + s.name.text + "' has no field");
        m.structs.push_back(c);
    }
}

void ModelChecker::checkPlaces() {
    for (const PlaceDecl& p : file.places) {
        CheckedPlace c;
        c.name = p.name.text;
        if (p.isArray) {
            c.kind = CheckedPlace::Array;
            if (p.size.kind == TokenKind::Number) {
                long long n = 0;
                auto r =
                    std::from_chars(p.size.text.data(), p.size.text.data() + p.size.text.size(), n);
                if (!p.size.isInteger || r.ec != std::errc() ||
                    r.ptr != p.size.text.data() + p.size.text.size())
                    diag.error(p.size.at,
                               "array size of '" + c.name + "' is not an integer: " + p.size.text);
                else if (n < 1 || n > 32767)
                    diag.error(p.size.at, "array size of '" + c.name + "' must lie in 1..32767");
                c.size = p.size.text;
            } else {
                const Entry* e = lookup(p.size.text);
                if (e == nullptr)
                    diag.error(p.size.at, "unknown global variable '" + p.size.text +
                                              "' as the size of '" + c.name + "'");
                else if (e->kind != Kind::Global)
                    diag.error(p.size.at, "array size of '" + c.name +
                                              "' must be an integer or a "
                                              "global variable; '" +
                                              p.size.text + "' is " + kindName(e->kind));
                else if (!isIntegerType(m.globals[static_cast<std::size_t>(e->index)].type))
                    diag.error(p.size.at,
                               "array size of '" + c.name + "' is not an integer: '" + p.size.text +
                                   "' is a " +
                                   typeName(m.globals[static_cast<std::size_t>(e->index)].type));
                c.size = p.size.text;
                c.sizeIsGlobal = true;
            }
        }
        if (p.isStruct) {
            const Entry* e = lookup(p.structType.text);
            if (e == nullptr || e->kind != Kind::Struct)
                diag.error(p.structType.at,
                           e == nullptr ? "unknown structure type '" + p.structType.text + "'"
                                        : "'" + p.structType.text + "' is " + kindName(e->kind) +
                                              ", not a structure type");
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
}

// Initial values are checked once every place and named expression is known,
// so that one named before its declaration is still recognised as out of scope.
void ModelChecker::checkInitialValues() {
    for (const CheckedStruct& s : m.structs)
        for (const CheckedField& f : s.fields)
            if (f.hasInit)
                resolve(f.init, "a field's initial value");
    for (const CheckedPlace& c : m.places)
        if (c.hasInit)
            resolve(c.init, "an initial marking");
}

void ModelChecker::checkGroups() {
    std::vector<std::string> groupOf(m.activities.size());
    for (const GroupDecl& g : file.groups) {
        if (!declare(g.name, Kind::Group, static_cast<int>(m.groups.size())))
            continue;
        CheckedGroup c;
        c.name = g.name.text;
        for (const Name& n : g.members) {
            const Entry* e = lookup(n.text);
            if (e == nullptr || e->kind != Kind::Activity) {
                diag.error(n.at,
                           e == nullptr
                               ? "unknown activity '" + n.text + "' in group '" + c.name + "'"
                               : "'" + n.text + "' is " + kindName(e->kind) + ", not an activity");
                continue;
            }
            std::string& current = groupOf[static_cast<std::size_t>(e->index)];
            if (!current.empty()) {
                diag.error(n.at, "activity '" + n.text + "' is already in group '" + current + "'");
                continue;
            }
            current = c.name;
            m.activities[static_cast<std::size_t>(e->index)].group =
                static_cast<int>(m.groups.size());
            c.members.push_back(e->index);
        }
        if (g.members.empty())
            diag.error(g.name.at, "group '" + c.name + "' has no member");
        m.groups.push_back(c);
    }
}
