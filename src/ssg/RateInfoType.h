#pragma once
// RateInfoType: the numbers of the states in which a deterministic action with
// one delay value is enabled, in insertion order (duplicates kept). One group of
// a DeterministicList.

#include <iosfwd>

// Form of the .det file: 0 text, any other value binary.
using OutputFileType = int;

class RateInfoType {
public:
    RateInfoType();
    RateInfoType(int capacity, double value);
    virtual ~RateInfoType();
    RateInfoType(const RateInfoType&) = delete;
    RateInfoType& operator=(const RateInfoType&) = delete;
    RateInfoType(RateInfoType&&) = delete;
    RateInfoType& operator=(RateInfoType&&) = delete;

    // Appends a state number, doubling the list when it is full.
    void insertState(int state);
    // Reallocates the list to `capacity` entries (larger than the present one).
    void increaseStateList(int capacity);
    // Text: the value (in the stream's notation), one state number per line, "0".
    // Binary: the value as 8 bytes, each state as 4 bytes, two zero bytes.
    void writeStates(std::ostream& file, OutputFileType type) const;
    // Diagnostic on standard output: "[index] state" per state.
    void printStates() const;

    int getStateCount() const { return StateCount; }
    int getStateCapacity() const { return StateCapacity; }
    double getValue() const { return Value; }
    int getState(int i) const { return StateList[i]; }

private:
    friend class DeterministicList; // moves groups and sets their value

    int StateCount = 0;       // state numbers held
    int StateCapacity = 10;   // room in StateList
    double Value = 0.0;       // the delay shared by the group
    int* StateList = nullptr; // owned when OwnsList; allocated on the first insertion
    bool OwnsList = true;     // cleared once the list has been handed to another group
};
