#pragma once
// ActionTable: a model's actions sorted by delay distribution. It lists the
// actions and groups of the reward model, refuses mistakes of the model's
// author (see ModelChecks), and keeps the instantaneous, the timed and the
// Erlang actions in model order with the mask of the distribution types seen.

#include "actions/BaseActionClass.h"
#include "base/List.h"

#include <cstdint>
#include <memory>

class BaseGroupClass;
class PVModel;

class ActionTable {
public:
    // Bits of distributionMask(), and the value that marks an unsupported type.
    static constexpr int MaskTimedOrInstant = 1; // exponential or instantaneous actions
    static constexpr int MaskDeterministic = 2;
    static constexpr int MaskErlang = 4;
    static constexpr int MaskUnsupported = 61440;

    // Lists, checks and sorts the actions of `model` (not owned; it outlives the
    // table). Ends the process (status 1) when a check fails.
    explicit ActionTable(PVModel* model);
    ActionTable(const ActionTable&) = delete;
    ActionTable& operator=(const ActionTable&) = delete;
    ActionTable(ActionTable&&) = delete;
    ActionTable& operator=(ActionTable&&) = delete;

    std::uint32_t numInstant() const { return NumInstant; }
    std::uint32_t numTimed() const { return NumTimed; }
    std::uint32_t numPhase() const { return NumPhase; }
    // The instantaneous actions, in model order.
    BaseActionClass* const* instant() const { return Instant.get(); }
    // Every action that is not instantaneous, in model order.
    BaseActionClass* const* timed() const { return Timed.get(); }
    // The Erlang actions, in model order.
    BaseActionClass* const* phase() const { return Phase.get(); }
    // The distribution types of the actions, as Mask bits.
    int distributionMask() const { return DistributionMask; }
    // The group that `action` belongs to.
    BaseGroupClass* groupOf(const BaseActionClass* action) const { return Groups[action->GroupID]; }

private:
    void classify(int numActions);

    List<BaseActionClass> ActionList;            // the model's actions
    List<BaseGroupClass> GroupList;              // the model's groups
    BaseGroupClass** Groups = nullptr;           // GroupList's item array, indexed by GroupID
    std::unique_ptr<BaseActionClass*[]> Instant; // owned array; type 18, model order
    std::unique_ptr<BaseActionClass*[]> Timed;   // owned array; all others
    std::unique_ptr<BaseActionClass*[]> Phase;   // owned array; type 7
    std::uint32_t NumInstant = 0;                // entries of Instant
    std::uint32_t NumTimed = 0;                  // entries of Timed
    std::uint32_t NumPhase = 0;                  // entries of Phase
    int DistributionMask = 0;                    // the timed actions' distribution types
};
