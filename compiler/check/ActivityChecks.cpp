#include "check/ModelChecker.h"

#include "Checker.h"
#include "SampledKinds.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <sstream>

namespace {

// The value of a fragment that is a plain number literal, as in `2.5` or `-1`.
bool literalValue(const CheckedFragment& f, double& value) {
    const std::string& t = f.code.text;
    const std::size_t b = t.find_first_not_of(" \t\r\n");
    if (b == std::string::npos || f.code.block)
        return false;
    const char* start = t.c_str() + b;
    char* end = nullptr;
    value = std::strtod(start, &end);
    if (end == start)
        return false;
    return std::string(end).find_first_not_of(" \t\r\n") == std::string::npos;
}

// The fragment's text without its surrounding blanks, for messages.
std::string shown(const Fragment& f) {
    const std::size_t b = f.text.find_first_not_of(" \t\r\n");
    const std::size_t e = f.text.find_last_not_of(" \t\r\n");
    return b == std::string::npos ? std::string() : f.text.substr(b, e - b + 1);
}

} // namespace

void ModelChecker::checkActivities() {
    // Declare every activity first: groups and impulses may name later ones.
    std::vector<bool> declared;
    for (const ActivityDecl& a : file.activities)
        declared.push_back(
            declare(a.name, Kind::Activity,
                    static_cast<int>(std::count(declared.begin(), declared.end(), true))));
    for (std::size_t k = 0; k < file.activities.size(); ++k)
        if (declared[k])
            checkActivity(file.activities[k]);
}

void ModelChecker::checkActivity(const ActivityDecl& a) {
    CheckedActivity c;
    c.name = a.name.text;
    c.kind = a.kind;
    c.sampled = a.sampled;
    c.at = a.name.at;
    if (a.family)
        checkFamily(a, c);
    std::set<std::string> seen;
    ClausePlaces places;
    // A repeated kind's parameter words come once per group.
    auto repeats = [&](const std::string& w) {
        return a.kind == ActivityKind::Sampled && sampledKind(a.sampled).repeated &&
               sampledParameterOf(sampledKind(a.sampled), w) >= 0;
    };
    for (const ClauseDecl& cl : a.clauses) {
        const std::string& w = cl.word.text;
        if (!repeats(w) && !seen.insert(w).second) {
            diag.error(cl.word.at, "a second '" + w + "' clause in activity '" + c.name + "'");
            continue;
        }
        if (!clauseAllowed(a, cl))
            continue;
        if (w == "input" || w == "output")
            checkArcs(cl, c);
        else
            checkValueClause(cl, c, places);
    }
    missingClauses(a, c);
    collectPlaces(c, places);
    for (const CheckedArc& arc : c.inputs) {
        mergeDefines(c.enablingDefines, arc.index.defines);
        mergeDefines(c.firingDefines, arc.index.defines);
    }
    for (const CheckedArc& arc : c.outputs)
        mergeDefines(c.firingDefines, arc.index.defines);
    mergeDefines(c.enablingDefines, c.when.defines);
    mergeDefines(c.firingDefines, c.effect.defines);
    addStops(c);
    if (c.family)
        findOwnElementArrays(c);
    m.activities.push_back(c);
}

void ModelChecker::checkFamily(const ActivityDecl& a, CheckedActivity& c) {
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

bool ModelChecker::clauseAllowed(const ActivityDecl& a, const ClauseDecl& cl) {
    const std::string& w = cl.word.text;
    if (a.kind == ActivityKind::Sampled) {
        const SampledKind& k = sampledKind(a.sampled);
        if (sampledParameterOf(k, w) >= 0 || w == "weight" || w == "when" || w == "do" ||
            w == "input" || w == "output")
            return true;
        diag.error(cl.word.at, "'" + w + "' is not allowed in a " + k.word + " activity");
        return false;
    }
    const bool allowed =
        (w == "rate" && (a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang)) ||
        (w == "delay" && a.kind == ActivityKind::Deterministic) ||
        (w == "phases" && a.kind == ActivityKind::Erlang) ||
        (w == "rank" && a.kind == ActivityKind::Instantaneous) || w == "weight" || w == "when" ||
        w == "do" || w == "input" || w == "output";
    if (allowed)
        return true;
    const char* kindText = a.kind == ActivityKind::Exponential     ? "exponential"
                           : a.kind == ActivityKind::Deterministic ? "deterministic"
                           : a.kind == ActivityKind::Erlang        ? "erlang"
                                                                   : "instantaneous";
    diag.error(cl.word.at, "'" + w + "' is not allowed in " +
                               (a.kind == ActivityKind::Exponential ? "an " : "a ") + kindText +
                               " activity");
    return false;
}

void ModelChecker::checkArcs(const ClauseDecl& cl, CheckedActivity& c) {
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
            diag.error(arc.place.at,
                       "'" + p.name + "' is an array: name an element, as in " + p.name + "[i]");
            continue;
        }
        CheckedArc ca;
        ca.place = e->index;
        ca.indexed = arc.indexed;
        if (arc.indexed)
            ca.index = resolve(arc.index);
        (cl.word.text == "input" ? c.inputs : c.outputs).push_back(ca);
    }
}

void ModelChecker::checkValueClause(const ClauseDecl& cl, CheckedActivity& c,
                                    ClausePlaces& places) {
    const std::string& w = cl.word.text;
    CheckedFragment f = resolve(cl.fragment);
    if (w == "when") {
        c.hasWhen = true;
        c.when = f;
        places.when = f.places;
        return;
    }
    if (w == "do") {
        c.hasEffect = true;
        c.effect = f;
        places.effect = f.places;
        return;
    }
    for (int p : f.places)
        addUnique(places.other, p);
    struct Slot {
        const char* word;
        bool CheckedActivity::*has;
        CheckedFragment CheckedActivity::*code;
    };
    static const Slot slots[] = {{"rate", &CheckedActivity::hasRate, &CheckedActivity::rate},
                                 {"delay", &CheckedActivity::hasDelay, &CheckedActivity::delay},
                                 {"phases", &CheckedActivity::hasPhases, &CheckedActivity::phases},
                                 {"weight", &CheckedActivity::hasWeight, &CheckedActivity::weight},
                                 {"rank", &CheckedActivity::hasRank, &CheckedActivity::rank}};
    for (const Slot& s : slots)
        if (w == s.word) {
            c.*s.has = true;
            c.*s.code = f;
        }
    if (c.kind == ActivityKind::Sampled)
        checkParameter(cl, f, c);
}

// A parameter of a sampled activity; a literal out of its range is an error. A
// repeated kind's clause fills the first group that lacks its word.
void ModelChecker::checkParameter(const ClauseDecl& cl, const CheckedFragment& f,
                                  CheckedActivity& c) {
    const SampledKind& k = sampledKind(c.sampled);
    const int slot = sampledParameterOf(k, cl.word.text);
    if (slot < 0)
        return;
    const auto size = k.parameters.size();
    std::size_t at = static_cast<std::size_t>(slot);
    if (k.repeated)
        while (at < c.parameters.size() && !c.parameters[at].code.empty())
            at += size;
    if (c.parameters.size() <= at)
        c.parameters.resize((at / size + 1) * size);
    c.parameters[at] = f;
    const SampledParameter& param = k.parameters[static_cast<std::size_t>(slot)];
    double v = 0.0;
    if (literalValue(f, v) && !inRange(param.range, v))
        diag.error(cl.fragment.at, std::string("the ") + k.word + " " + param.word + " " +
                                       rangeRule(param.range) + ", found " + shown(cl.fragment));
}

// Literal parameters that contradict each other: the bounds of a uniform or
// triangular activity, the probabilities of a hyperexponential one.
void ModelChecker::checkParameterOrder(const ActivityDecl& a, const CheckedActivity& c) {
    const std::string word = sampledKind(c.sampled).word;
    if (word == "hyperexponential") {
        // Only literals in range: one out of range has its own error.
        double sum = 0.0;
        for (std::size_t p = 1; p < c.parameters.size(); p += 2) {
            double v = 0.0;
            if (!literalValue(c.parameters[p], v) || !inRange(ParameterRange::Fraction, v))
                return;
            sum += v;
        }
        std::ostringstream found;
        found << sum;
        if (!(std::fabs(sum - 1.0) <= 1e-9))
            diag.error(a.name.at, "the hyperexponential activity '" + c.name +
                                      "' needs probabilities that sum to 1, found a sum of " +
                                      found.str());
        return;
    }
    if (word != "uniform" && word != "triangular")
        return;
    double low = 0.0, high = 0.0, mode = 0.0;
    if (!literalValue(c.parameters[0], low) || !literalValue(c.parameters[1], high))
        return;
    if (!(low < high)) {
        diag.error(a.name.at,
                   "the " + word + " activity '" + c.name + "' needs low below high, found low " +
                       shown(c.parameters[0].code) + " and high " + shown(c.parameters[1].code));
        return;
    }
    if (word == "triangular" && literalValue(c.parameters[2], mode) &&
        !(low <= mode && mode <= high))
        diag.error(a.name.at, "the triangular activity '" + c.name +
                                  "' needs its mode between low and high, found " +
                                  shown(c.parameters[2].code));
}

void ModelChecker::missingClauses(const ActivityDecl& a, const CheckedActivity& c) {
    if (a.kind == ActivityKind::Sampled) {
        const SampledKind& k = sampledKind(a.sampled);
        const auto size = k.parameters.size();
        const std::size_t groups = std::max<std::size_t>(1, c.parameters.size() / size);
        bool complete = true;
        for (std::size_t p = 0; p < groups * size; ++p)
            if (p >= c.parameters.size() || c.parameters[p].code.empty()) {
                complete = false;
                std::string which = k.parameters[p % size].word;
                if (k.repeated && !c.parameters.empty())
                    which += " for its phase " + std::to_string(p / size + 1);
                diag.error(a.name.at,
                           std::string(k.word) + " activity '" + c.name + "' has no " + which);
            }
        if (complete)
            checkParameterOrder(a, c);
        return;
    }
    auto missing = [&](bool has, const char* clause) {
        if (!has)
            diag.error(a.name.at, std::string(a.kind == ActivityKind::Exponential ? "exponential"
                                              : a.kind == ActivityKind::Erlang    ? "Erlang"
                                                                               : "deterministic") +
                                      " activity '" + c.name + "' has no " + clause);
    };
    if (a.kind == ActivityKind::Exponential || a.kind == ActivityKind::Erlang)
        missing(c.hasRate, "rate");
    if (a.kind == ActivityKind::Erlang)
        missing(c.hasPhases, "phases");
    if (a.kind == ActivityKind::Deterministic)
        missing(c.hasDelay, "delay");
}

// The places by use: enabling (inputs with their indices, then `when`), affected
// (inputs, outputs, then `do`), firing (every arc with its index, then `do`) and
// linked (everything any of the activity's code touches).
void ModelChecker::collectPlaces(CheckedActivity& c, const ClausePlaces& places) {
    for (const CheckedArc& arc : c.inputs) {
        addUnique(c.enablingPlaces, arc.place);
        for (int p : arc.index.places)
            addUnique(c.enablingPlaces, p);
    }
    for (int p : places.when)
        addUnique(c.enablingPlaces, p);
    for (const CheckedArc& arc : c.inputs)
        addUnique(c.affectedPlaces, arc.place);
    for (const CheckedArc& arc : c.outputs)
        addUnique(c.affectedPlaces, arc.place);
    for (int p : places.effect)
        addUnique(c.affectedPlaces, p);
    for (const std::vector<CheckedArc>* arcs : {&c.inputs, &c.outputs})
        for (const CheckedArc& arc : *arcs) {
            addUnique(c.firingPlaces, arc.place);
            for (int p : arc.index.places)
                addUnique(c.firingPlaces, p);
        }
    for (int p : places.effect)
        addUnique(c.firingPlaces, p);
    for (int p : c.enablingPlaces)
        addUnique(c.linkedPlaces, p);
    for (int p : c.affectedPlaces)
        addUnique(c.linkedPlaces, p);
    for (const CheckedArc& arc : c.outputs)
        for (int p : arc.index.places)
            addUnique(c.linkedPlaces, p);
    for (int p : places.other)
        addUnique(c.linkedPlaces, p);
}

void ModelChecker::findOwnElementArrays(CheckedActivity& a) {
    std::vector<const CheckedFragment*> code = {&a.rate, &a.delay, &a.phases, &a.weight,
                                                &a.rank, &a.when,  &a.effect};
    for (const CheckedFragment& p : a.parameters)
        code.push_back(&p);
    for (const CheckedArc& arc : a.inputs)
        code.push_back(&arc.index);
    for (const CheckedArc& arc : a.outputs)
        code.push_back(&arc.index);
    // The named expressions and stops the member runs see the whole array.
    for (const CheckedFragment& stop : m.stops)
        code.push_back(&stop);
    for (const CheckedDefine& d : m.defines)
        code.push_back(&d.body);
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
                    match = close != std::string::npos &&
                            trimmed(t.substr(i + 1, close - i - 1)) == a.index;
                }
                own = own && match;
            }
        }
        if (own)
            a.ownElementArrays.push_back(p);
    }
}
