#pragma once
// Place: a SAN place, a shareable short whose value is its marking (number of
// tokens). Mark is the place's own pointer to its marking; it is registered
// without owner so that sharing keeps it pointing at the group's cell.

#include "state/SharableSV.h"

class Place : public SharableSV<short> {
public:
    Place();                          // as Place("default", 0)
    explicit Place(const char* name); // as Place(name, 0)
    Place(const char* name, short initial);
    ~Place() override;

    short getMark() const { return *Mark; }
    void setMark(short m) { *Mark = m; } // in the group's cell
    void test() {}

    short* Mark; // not owned: points at the group's cell
};
