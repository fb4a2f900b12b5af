#include "state/Place.h"

Place::Place() : Place("default", 0) {}

Place::Place(const char* name) : Place(name, 0) {}

Place::Place(const char* name, short initial) : Mark(nullptr) {
    SetName(name);
    registerPointer(&Mark);
    *Mark = initial;
}

Place::~Place() = default;
