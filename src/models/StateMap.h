#pragma once
// StateMap: where each byte of a model's state vector lives in memory. Every
// stored leaf cell (a place's marking, a scalar field of a structured variable)
// is listed with its address, its offset in the vector and its width, in
// state-vector order; cells that lie next to each other both in memory and in
// the vector are merged into one run. Saving and restoring a state is then a
// loop of small copies, with no virtual call per place; a model whose cells
// were packed into one buffer (SANModel::PackStateCells) has one run, so both
// are one copy and the model's state can be read where it lies.
//
// The map is only valid while the model's layout stays as it was when the map
// was made: no sharing, no new places, no cell moved.

#include "base/CopyBytes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class BaseModelClass;
class BaseStateVariableClass;

class StateMap {
public:
    // One cell as a variable declared it.
    struct Cell {
        BaseStateVariableClass* variable; // not owned: the leaf that holds the cell
        char* address;                    // not owned: the cell
        std::uint32_t offset;             // first byte in the state vector
        std::uint32_t length;             // bytes
    };
    // Adjacent cells merged: `length` bytes at `address` are vector bytes
    // [offset, offset + length).
    struct Run {
        char* address;
        std::uint32_t offset;
        std::uint32_t length;
    };

    StateMap() = default;
    StateMap(const StateMap&) = default;
    StateMap& operator=(const StateMap&) = default;

    void clear();
    // Adds a cell; call in state-vector order (the order in which the model's
    // CurrentState writes the cells).
    void add(BaseStateVariableClass* variable, void* address, std::uint32_t offset,
             std::uint32_t length);

    // Copies every cell into the vector `to` (what the model's CurrentState does).
    void save(char* to) const {
        if (Packed != nullptr) {
            copyBytes(to, Packed, Size);
        } else if (AllMarkings) {
            for (const Run& r : Runs)
                std::memcpy(to + r.offset, r.address, 2);
        } else {
            for (const Run& r : Runs)
                copyBytes(to + r.offset, r.address, r.length);
        }
    }
    // Copies the vector `from` into every cell (what the model's SetState does).
    void restore(const char* from) const {
        if (Packed != nullptr) {
            copyBytes(Packed, from, Size);
        } else if (AllMarkings) {
            for (const Run& r : Runs)
                std::memcpy(r.address, from + r.offset, 2);
        } else {
            for (const Run& r : Runs)
                copyBytes(r.address, from + r.offset, r.length);
        }
    }
    // save(to), then restore(from), in one pass over the cells: a firing's
    // target is taken and the state it was fired from put back. Only the cells
    // that differ from `from` are written.
    void saveAndRestore(char* to, const char* from) const {
        if (Packed != nullptr) {
            copyBytes(to, Packed, Size);
            copyBytes(Packed, from, Size);
        } else if (AllMarkings) {
            for (const Run& r : Runs) {
                std::uint16_t now, before;
                std::memcpy(&now, r.address, 2);
                std::memcpy(&before, from + r.offset, 2);
                std::memcpy(to + r.offset, &now, 2);
                if (now != before)
                    std::memcpy(r.address, &before, 2);
            }
        } else {
            for (const Run& r : Runs) {
                copyBytes(to + r.offset, r.address, r.length);
                copyBytes(r.address, from + r.offset, r.length);
            }
        }
    }

    const std::vector<Cell>& cells() const { return Cells; }
    const std::vector<Run>& runs() const { return Runs; }
    // The address of the model's state as one vector of `size` bytes when a
    // single run covers bytes 0 .. size - 1; null otherwise.
    char* contiguous(std::uint32_t size) const {
        return Runs.size() == 1 && Runs[0].offset == 0 && Runs[0].length == size ? Runs[0].address
                                                                                 : nullptr;
    }

    // True when the map moves exactly the bytes that the model's own
    // CurrentState and SetState move, to and from the same vector positions,
    // over a state vector of `size` bytes. It tries the map against the model
    // with a few patterns and leaves the model in the state it had.
    bool agreesWith(BaseModelClass* model, std::uint32_t size) const;

private:
    std::vector<Cell> Cells; // every cell, in vector order
    std::vector<Run> Runs;   // the cells merged, in vector order
    // Fast paths: the one run that covers the whole vector (else null), and
    // whether every run is one 2-byte cell (a marking).
    char* Packed = nullptr;
    std::uint32_t Size = 0; // bytes covered by the cells
    bool AllMarkings = true;
};
