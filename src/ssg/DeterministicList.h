#pragma once
// DeterministicList: the numbers of the states in which deterministic actions
// are enabled, grouped by the action's delay value (one RateInfoType per delay,
// in order of first appearance). Written to the .det file at the end of the
// deterministic exploration.

#include "ssg/RateInfoType.h"

#include <iosfwd>

class DeterministicList {
public:
    DeterministicList();
    explicit DeterministicList(int capacity);
    virtual ~DeterministicList();
    DeterministicList(const DeterministicList&) = delete;
    DeterministicList& operator=(const DeterministicList&) = delete;
    DeterministicList(DeterministicList&&) = delete;
    DeterministicList& operator=(DeterministicList&&) = delete;

    // Records `state` under the group of `delay` (exact comparison), opening a
    // new group, and doubling the group array, when no group has that delay.
    void insertEnablingState(int state, double delay);
    // Reallocates the group array to `capacity` groups, keeping the groups in use.
    void increaseRateInfoSize(int capacity);
    // Text: the group count as a line, then each group. Binary: the count as
    // 4 bytes, then each group.
    void writeEnablingStates(std::ostream& file, OutputFileType type) const;
    // Diagnostic dump on standard output.
    void printEnablingStates() const;

    int getRateInfoSize() const { return RateInfoSize; }
    int getRateInfoCapacity() const { return RateInfoCapacity; }
    const RateInfoType& getRateInfo(int i) const { return RateInfo[i]; }

private:
    int RateInfoSize = 0;             // groups in use
    int RateInfoCapacity = 0;         // groups allocated
    RateInfoType* RateInfo = nullptr; // owned; the groups
};
