#include "check/ModelChecker.h"

#include <string>

namespace {

// Where the activity `name` is declared (activities are declared once each).
SourceLocation declaredAt(const ModelFile& f, const std::string& name) {
    for (const ActivityDecl& a : f.activities)
        if (a.name.text == name)
            return a.name.at;
    return {};
}

// True when every marking of the place (each element of an array) starts at a
// positive integer written as a literal, which the compiler can read.
bool startsMarked(const CheckedPlace& p) {
    if (p.kind == CheckedPlace::Struct || !p.hasInit)
        return false;
    const std::string& t = p.init.text;
    const std::size_t b = t.find_first_not_of(" \t\r\n");
    const std::size_t e = t.find_last_not_of(" \t\r\n");
    if (b == std::string::npos || p.init.block)
        return false;
    const std::string digits = t.substr(b, e - b + 1);
    if (digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    return std::stoi(digits) > 0;
}

} // namespace

// An erlang activity of k phases is an exponential activity that fires k times
// per delay: its first k - 1 firings only advance a phase counter kept in the
// state vector, the k-th runs the activity's arcs and effect. The counter is a
// place that no name of the language reaches; the members of a group share one,
// as a group is one delay whose completion is given to one member.
void ModelChecker::addPhaseCounters() {
    for (CheckedActivity& a : m.activities) {
        if (a.kind != ActivityKind::Erlang)
            continue;
        if (a.group >= 0) {
            CheckedGroup& g = m.groups[static_cast<std::size_t>(a.group)];
            if (g.phasePlace < 0)
                g.phasePlace = addPhaseCounter(g.name);
            a.phasePlace = g.phasePlace;
        } else if (a.family) {
            diag.error(declaredAt(file, a.name),
                       "the erlang family '" + a.name +
                           "' needs one phase counter per member: put it in a group, whose "
                           "members share one, or declare one erlang activity per member");
            continue;
        } else {
            a.phasePlace = addPhaseCounter(a.name);
        }
        addUnique(a.affectedPlaces, a.phasePlace);
        addUnique(a.linkedPlaces, a.phasePlace);
    }
}

int ModelChecker::addPhaseCounter(const std::string& owner) {
    CheckedPlace p;
    p.name = owner + "_Phase";
    p.hidden = true;
    m.places.push_back(p);
    return static_cast<int>(m.places.size()) - 1;
}

// The generator refuses a model without state and a model whose initial state
// is not stable; an instantaneous activity without input arcs and condition is
// enabled in every state. Checked only on a file without other errors, whose
// places and activities are all known.
void ModelChecker::checkExplorable() {
    if (diag.hasErrors())
        return;
    if (m.places.empty())
        diag.error(file.model.at, "model '" + m.modelName +
                                      "' has no place: the generator cannot explore a model "
                                      "without state");
    for (const CheckedActivity& a : m.activities) {
        if (a.kind != ActivityKind::Instantaneous || a.hasWhen)
            continue;
        if (a.inputs.empty()) {
            diag.error(declaredAt(file, a.name),
                       "instantaneous activity '" + a.name +
                           "' is enabled in every state (no input arc, no 'when'): the initial "
                           "state would not be stable, and the generator refuses it");
            continue;
        }
        // A stop that holds initially would disable it: only a model without stops
        // is judged.
        bool marked = m.stops.empty();
        for (const CheckedArc& arc : a.inputs)
            marked = marked && startsMarked(m.places[static_cast<std::size_t>(arc.place)]);
        if (marked)
            diag.error(declaredAt(file, a.name),
                       "instantaneous activity '" + a.name +
                           "' is enabled in the initial state (each of its input places starts "
                           "with a token, and it has no 'when'): the initial state would not "
                           "be stable, and the generator refuses it");
    }
}
