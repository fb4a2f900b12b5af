#include "check/ModelChecker.h"

#include "Checker.h"

#include <algorithm>

// Named expressions share the model's name space, so that every fragment (and
// every other named expression) can use them whatever their order in the file.
void ModelChecker::declareDefines() {
    for (const DefineDecl& d : file.defines) {
        const int index = static_cast<int>(m.defines.size());
        if (!declare(d.name, d.condition ? Kind::Condition : Kind::Define, index))
            continue;
        CheckedDefine c;
        c.name = d.name.text;
        c.condition = d.condition;
        c.body.code = d.body;
        m.defines.push_back(c);
    }
}

// Depth-first: d goes into `order` after every named expression it uses. A use
// that leads back to an expression still on `path` is a cycle, reported once at
// the expression it closes on.
void ModelChecker::orderDefines(int d, std::vector<int>& state, std::vector<int>& path,
                                std::vector<int>& order) {
    const std::size_t k = static_cast<std::size_t>(d);
    state[k] = 1;
    path.push_back(d);
    for (const FragmentIdentifier& id : fragmentIdentifiers(m.defines[k].body.code.text)) {
        const Entry* e = defineEntry(id.name);
        if (e == nullptr)
            continue;
        const std::size_t u = static_cast<std::size_t>(e->index);
        if (state[u] == 1) {
            std::string cycle;
            for (auto p = std::find(path.begin(), path.end(), e->index); p != path.end(); ++p)
                cycle += m.defines[static_cast<std::size_t>(*p)].name + " -> ";
            diag.error(e->at, std::string(m.defines[u].condition ? "condition '" : "expression '") +
                                  m.defines[u].name + "' depends on itself: " + cycle +
                                  m.defines[u].name);
            state[u] = 3; // reported: not again from another path
        } else if (state[u] == 0) {
            orderDefines(e->index, state, path, order);
        }
    }
    path.pop_back();
    if (state[k] == 1)
        state[k] = 2;
    order.push_back(d);
}

void ModelChecker::checkDefines() {
    std::vector<int> state(m.defines.size(), 0), path, order;
    for (std::size_t d = 0; d < m.defines.size(); ++d)
        if (state[d] == 0)
            orderDefines(static_cast<int>(d), state, path, order);
    defineOrder = order;
    // In that order, each body is resolved after the bodies it uses: its places
    // and named expressions are then everything it reaches.
    for (int d : order) {
        CheckedDefine& c = m.defines[static_cast<std::size_t>(d)];
        c.body = resolve(c.body.code);
    }
}

void ModelChecker::checkStops() {
    for (const Fragment& f : file.stops)
        m.stops.push_back(resolve(f));
}

void ModelChecker::mergeDefines(std::vector<int>& into, const std::vector<int>& from) const {
    if (from.empty())
        return;
    std::vector<bool> used(m.defines.size(), false);
    for (int d : into)
        used[static_cast<std::size_t>(d)] = true;
    for (int d : from)
        used[static_cast<std::size_t>(d)] = true;
    into.clear();
    for (int d : defineOrder)
        if (used[static_cast<std::size_t>(d)])
            into.push_back(d);
}

// A state where a stop holds enables no activity: each stop joins every
// activity's enabling condition, after its arcs and `when`.
void ModelChecker::addStops(CheckedActivity& c) {
    for (const CheckedFragment& stop : m.stops) {
        for (int p : stop.places) {
            addUnique(c.enablingPlaces, p);
            addUnique(c.linkedPlaces, p);
        }
        mergeDefines(c.enablingDefines, stop.defines);
    }
}
