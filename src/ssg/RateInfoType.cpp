#include "ssg/RateInfoType.h"

#include "base/Errors.h"
#include "output/TextBuffer.h"

#include <cstring>
#include <iostream>
#include <new>

RateInfoType::RateInfoType() = default;

// A capacity below 1 would never grow (it doubles), so 1 is the smallest room.
RateInfoType::RateInfoType(int capacity, double value)
    : StateCapacity(capacity > 0 ? capacity : 1), Value(value) {}

RateInfoType::~RateInfoType() {
    if (OwnsList)
        delete[] StateList;
}

void RateInfoType::increaseStateList(int capacity) {
    int* grown = new (std::nothrow) int[capacity];
    if (grown == nullptr)
        MemoryAllocationError();
    if (StateList != nullptr)
        std::memcpy(grown, StateList, sizeof(int) * static_cast<std::size_t>(StateCount));
    if (OwnsList)
        delete[] StateList;
    StateList = grown;
    OwnsList = true;
    StateCapacity = capacity;
}

void RateInfoType::insertState(int state) {
    if (StateList == nullptr)
        increaseStateList(StateCapacity);
    else if (StateCount == StateCapacity)
        increaseStateList(StateCapacity * 2);
    StateList[StateCount++] = state;
}

void RateInfoType::writeStates(std::ostream& file, OutputFileType type) const {
    TextBuffer buffer(file);
    if (type == 0) {
        file << Value << '\n';
        for (int i = 0; i < StateCount; ++i)
            buffer.line(StateList[i]);
        buffer.text("0\n");
    } else {
        buffer.binaryDouble(Value);
        for (int i = 0; i < StateCount; ++i)
            buffer.binaryInt32(StateList[i]);
        const char terminator[2] = {0, 0};
        buffer.bytes(terminator, sizeof terminator);
    }
    buffer.flush();
}

void RateInfoType::printStates() const {
    for (int i = 0; i < StateCount; ++i)
        std::cout << "[" << i << "] " << StateList[i] << '\n';
}
