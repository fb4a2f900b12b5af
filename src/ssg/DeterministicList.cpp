#include "ssg/DeterministicList.h"

#include "base/Errors.h"
#include "output/TextBuffer.h"

#include <iostream>
#include <new>

DeterministicList::DeterministicList() {
    increaseRateInfoSize(2);
}

// A capacity below 1 would never grow (it doubles), so 1 is the smallest room.
DeterministicList::DeterministicList(int capacity) {
    increaseRateInfoSize(capacity > 0 ? capacity : 1);
}

DeterministicList::~DeterministicList() {
    delete[] RateInfo;
}

void DeterministicList::increaseRateInfoSize(int capacity) {
    RateInfoType* grown = new (std::nothrow) RateInfoType[capacity];
    if (grown == nullptr)
        MemoryAllocationError();
    for (int i = 0; i < RateInfoSize; ++i) {
        RateInfoType& from = RateInfo[i];
        RateInfoType& to = grown[i];
        to.StateCount = from.StateCount;
        to.StateCapacity = from.StateCapacity;
        to.Value = from.Value;
        to.StateList = from.StateList;
        to.OwnsList = from.OwnsList;
        from.OwnsList = false;
    }
    delete[] RateInfo;
    RateInfo = grown;
    RateInfoCapacity = capacity;
}

void DeterministicList::insertEnablingState(int state, double delay) {
    for (int i = 0; i < RateInfoSize; ++i) {
        if (RateInfo[i].Value == delay) {
            RateInfo[i].insertState(state);
            return;
        }
    }
    if (RateInfoSize == RateInfoCapacity)
        increaseRateInfoSize(RateInfoSize * 2);
    RateInfoType& group = RateInfo[RateInfoSize++];
    group.Value = delay;
    group.insertState(state);
}

void DeterministicList::writeEnablingStates(std::ostream& file, OutputFileType type) const {
    {
        TextBuffer buffer(file);
        if (type == 0)
            buffer.line(RateInfoSize);
        else
            buffer.binaryInt32(RateInfoSize);
    }
    for (int i = 0; i < RateInfoSize; ++i)
        RateInfo[i].writeStates(file, type);
}

void DeterministicList::printEnablingStates() const {
    const char* dashes = "-----------------------------------";
    std::cout << dashes << '\n';
    for (int i = 0; i < RateInfoSize; ++i) {
        std::cout << "RateInfoSize = " << RateInfoSize << '\n';
        std::cout << "RateInfoCapacity = " << RateInfoCapacity << '\n';
        std::cout << "Value = " << RateInfo[i].Value << '\n';
        RateInfo[i].printStates();
    }
    std::cout << dashes << '\n';
}
