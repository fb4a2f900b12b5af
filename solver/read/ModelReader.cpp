#include "read/ModelReader.h"

#include "read/ArmReader.h"
#include "read/ImpReader.h"
#include "read/InputError.h"
#include "read/PvTypeReader.h"
#include "read/RegenerativeReader.h"
#include "read/RowsToMatrix.h"
#include "read/VarReader.h"

#include <sys/stat.h>

namespace gensolver {

namespace {

bool exists(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

void refuseDeterministic(const std::string& stem) {
    if (hasDeterministicDelays(stem))
        throw InputError(stem + ".det",
                         "the model has deterministic activities (this file lists where they "
                         "are enabled); its chain is not a Markov chain and needs a different "
                         "kind of solver");
}

} // namespace

Model readModel(const std::string& stem) {
    struct stat info {};
    refuseDeterministic(stem);
    Model model;
    model.stem = stem;
    model.variables = readPvType(stem + ".pvtype");
    const std::uint32_t states = readArmStateCount(stem + ".arm");
    // The rewards are read while the .arm file's first pass counts its rows.
    model.matrix = readArm(stem + ".arm", states, model.rewards, [&] {
        model.rewards = readVar(stem + ".var", model.variables, states);
        // The impulse rates of the .imp file, when the run wrote one, replace
        // those that the .arm reader would derive from the first-entry impulses of
        // .var.
        if (::stat((stem + ".imp").c_str(), &info) == 0) {
            readImp(stem + ".imp", model.variables, states, model.rewards);
            model.exactImpulses = true;
        }
    });
    if (::stat((stem + ".abs").c_str(), &info) == 0)
        model.untilAbsorption = readAbsorptionList(stem + ".abs", model.variables);
    return model;
}

} // namespace gensolver

namespace gensolver {

std::vector<Rewards> readPartRecords(std::vector<std::unique_ptr<PartReader>>& parts,
                                     std::uint32_t first, std::uint32_t last) {
    const std::uint32_t variables = parts[0]->header().variables;
    const std::uint32_t n = last - first;
    std::vector<Rewards> rewards(variables);
    for (Rewards& r : rewards) {
        r.rate.assign(n, 0.0);
        r.impulse.assign(n, 0.0);
    }
    std::vector<std::uint8_t> seen(n, 0);
    PartEntry e;
    for (auto& part : parts) {
        part->rewind();
        // The rows are passed over without decoding their transitions, which the
        // walks that build the matrix read (and check) afterwards.
        part->skipRowsOutside(1, 0);
        while (part->next(e)) {
            if (e.isRow || e.state - 1 < first || e.state - 1 >= last)
                continue;
            const std::uint32_t k = e.state - 1 - first;
            if (seen[k] != 0)
                part->fail("a second record of state " + std::to_string(e.state));
            seen[k] = 1;
            for (std::uint32_t p = 0; p < variables; ++p) {
                rewards[p].impulse[k] = e.values[2 * p];
                rewards[p].rate[k] = e.values[2 * p + 1];
                if (e.values[2 * p] != 0.0)
                    rewards[p].hasImpulses = true;
            }
        }
        part->skipRowsOutside(0, ~0u);
    }
    for (std::uint32_t k = 0; k < n; ++k)
        if (seen[k] == 0)
            throw InputError(parts[0]->path(),
                             "no part holds the record of state " + std::to_string(first + k + 1));
    for (Rewards& r : rewards)
        if (!r.hasImpulses)
            std::vector<double>().swap(r.impulse);
    return rewards;
}

Model readModelFromParts(const std::string& stem) {
    refuseDeterministic(stem);
    Model model;
    model.stem = stem;
    model.variables = readPvType(stem + ".pvtype");
    auto parts = openParts(stem);
    const PartHeader& h = parts[0]->header();
    if (h.variables != model.variables.size())
        throw InputError(parts[0]->path(), "its records hold " + std::to_string(h.variables) +
                                               " variables, " + stem + ".pvtype names " +
                                               std::to_string(model.variables.size()));
    const auto states = static_cast<std::uint32_t>(h.states);
    model.rewards = readPartRecords(parts, 0, states);
    if (exists(stem + ".imp")) {
        readImp(stem + ".imp", model.variables, states, model.rewards);
        model.exactImpulses = true;
    }
    std::vector<std::uint8_t> rowSeen(states, 0);
    // The rows of all parts merged in ascending state order, as the .arm holds
    // them: the matrix's entries, and the sums over them, come in the order of
    // the text form, so both forms give the same values to the last bit.
    std::vector<PartEntry> heads(parts.size());
    std::vector<std::uint8_t> live(parts.size());
    const auto nextRow = [&](std::size_t k) {
        while ((live[k] = parts[k]->next(heads[k]) ? 1 : 0) != 0 && !heads[k].isRow) {
        }
    };
    model.matrix =
        rowsToMatrix(parts[0]->path(), states, model.rewards, {}, [&](bool fill, auto&& entry) {
            for (std::size_t k = 0; k < parts.size(); ++k) {
                parts[k]->rewind();
                nextRow(k);
            }
            for (;;) {
                std::size_t first = parts.size();
                for (std::size_t k = 0; k < parts.size(); ++k)
                    if (live[k] != 0 &&
                        (first == parts.size() || heads[k].state < heads[first].state))
                        first = k;
                if (first == parts.size())
                    break;
                const PartEntry& e = heads[first];
                if (!fill) {
                    if (rowSeen[e.state - 1] != 0)
                        parts[first]->fail("a second row of state " + std::to_string(e.state));
                    rowSeen[e.state - 1] = 1;
                }
                for (std::uint32_t k = 0; k < e.count; ++k)
                    entry(e.state - 1, e.targets[k] - 1, e.values[k]);
                nextRow(first);
            }
            if (fill)
                return;
            for (std::uint32_t s = 0; s < states; ++s)
                if (rowSeen[s] == 0)
                    throw InputError(parts[0]->path(),
                                     "no part holds the row of state " + std::to_string(s + 1));
        });
    if (exists(stem + ".abs"))
        model.untilAbsorption = readAbsorptionList(stem + ".abs", model.variables);
    return model;
}

} // namespace gensolver
