#include "models/StateMap.h"

#include "models/BaseModelClass.h"

void StateMap::clear() {
    Cells.clear();
    Runs.clear();
    Packed = nullptr;
    Size = 0;
    AllMarkings = true;
}

void StateMap::add(BaseStateVariableClass* variable, void* address, std::uint32_t offset,
                   std::uint32_t length) {
    char* cell = static_cast<char*>(address);
    Cells.push_back(Cell{variable, cell, offset, length});
    Size += length;
    bool merged = false;
    if (!Runs.empty()) {
        Run& last = Runs.back();
        if (last.address + last.length == cell && last.offset + last.length == offset) {
            last.length += length;
            merged = true;
        }
    }
    if (!merged)
        Runs.push_back(Run{cell, offset, length});
    AllMarkings = AllMarkings && Runs.back().length == 2;
    Packed = Runs.size() == 1 && Runs[0].offset == 0 ? Runs[0].address : nullptr;
}

bool StateMap::agreesWith(BaseModelClass* model, std::uint32_t size) const {
    // Which bytes the map claims; two cells must not claim one byte.
    std::vector<bool> covered(size, false);
    for (const Cell& c : Cells) {
        if (c.length == 0 || c.offset > size || c.length > size - c.offset)
            return false;
        for (std::uint32_t i = c.offset; i < c.offset + c.length; ++i) {
            if (covered[i])
                return false;
            covered[i] = true;
        }
    }

    // The bytes the model writes are those that come out alike over two
    // different fillings of the buffer; they must be the bytes the map claims,
    // with the same values.
    std::vector<char> original(size, 0);
    std::vector<char> filled(size, static_cast<char>(0xFF));
    model->CurrentState(original.data());
    model->CurrentState(filled.data());
    std::vector<char> saved(original);
    save(saved.data());
    for (std::uint32_t i = 0; i < size; ++i)
        if ((original[i] == filled[i]) != covered[i] || saved[i] != original[i])
            return false;

    // A state loaded through the map reads back through the model, and one
    // loaded through the model reads back through the map.
    bool agree = true;
    std::vector<char> pattern(original);
    std::vector<char> back(size, 0);
    for (std::uint32_t i = 0; i < size; ++i)
        if (covered[i])
            pattern[i] = static_cast<char>(pattern[i] ^ 0x5A);
    restore(pattern.data());
    model->CurrentState(back.data());
    for (std::uint32_t i = 0; i < size; ++i)
        agree = agree && (!covered[i] || back[i] == pattern[i]);
    for (std::uint32_t i = 0; i < size; ++i)
        if (covered[i])
            pattern[i] = static_cast<char>(original[i] ^ 0x25);
    model->SetState(pattern.data());
    save(back.data());
    for (std::uint32_t i = 0; i < size; ++i)
        agree = agree && (!covered[i] || back[i] == pattern[i]);

    model->SetState(original.data());
    return agree;
}
