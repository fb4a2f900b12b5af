#include "ssg/Queue.h"

#include "base/Errors.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

namespace {

[[noreturn]] void outOfMemory() {
    std::cout << "Error out of memory" << std::endl;
    std::exit(1);
}

} // namespace

Queue::Queue(unsigned long stateSize) : StateSize(static_cast<std::uint32_t>(stateSize)) {
    Capacity = GrowthStep;
    allocateSlots(Capacity, Slots, Storage);
}

Queue::~Queue() {
    delete[] Storage;
    std::free(Slots);
}

void Queue::allocateSlots(std::uint32_t capacity, state_struct*& records, char*& storage) {
    // The slot array has a failure message of its own, so it comes from malloc,
    // which returns null without calling the process's new-handler (that would
    // give the general memory report instead). The buffers have no message of
    // their own: their failure is the general memory report.
    records = static_cast<state_struct*>(std::malloc(sizeof(state_struct) * capacity));
    if (records == nullptr)
        outOfMemory();
    // One block for all buffers: a growth costs two allocations, not one per slot.
    storage = new (std::nothrow) char[static_cast<std::size_t>(capacity) * StateSize];
    if (storage == nullptr)
        MemoryAllocationError();
    for (std::uint32_t i = 0; i < capacity; ++i) {
        records[i].state = storage + static_cast<std::size_t>(i) * StateSize;
        records[i].number = 0;
    }
    Allocated = capacity;
}

void Queue::Enqueue(const state_struct* record) {
    if (Count == Capacity) {
        MakeLarger(record);
        return;
    }
    ++Count;
    Rear = (Rear + 1 == Capacity) ? 0 : Rear + 1;
    state_struct& slot = Slots[Rear];
    std::memcpy(slot.state, record->state, StateSize);
    slot.number = record->number;
}

state_struct* Queue::Dequeue() {
    if (Count == 0)
        return nullptr;
    state_struct* slot = &Slots[Front];
    --Count;
    Front = (Front + 1 == Capacity) ? 0 : Front + 1;
    return slot;
}

void Queue::MakeLarger(const state_struct* record) {
    ++Growth;
    std::uint32_t grown = static_cast<std::uint32_t>(Growth) * GrowthStep;
    state_struct* records = nullptr;
    char* storage = nullptr;
    allocateSlots(grown, records, storage);

    // The queued records, in dequeue order, move to slots 1, 2, 3, ...; since the
    // queue is full they are the slots from Front to the end, then from 0 on.
    std::uint32_t moved = 0;
    std::uint32_t slot = Front;
    for (std::uint32_t i = 0; i < Count; ++i) {
        ++moved;
        std::memcpy(records[moved].state, Slots[slot].state, StateSize);
        records[moved].number = Slots[slot].number;
        slot = (slot + 1 == Capacity) ? 0 : slot + 1;
    }
    delete[] Storage;
    std::free(Slots);
    Slots = records;
    Storage = storage;
    Rear = moved;
    Front = 1;
    Count = moved;
    Capacity = grown;
    Enqueue(record);
}

void Queue::Make_Empty() {
    Front = 1;
    Rear = 0;
    Count = 0;
}

void Queue::Print() const {
    std::uint32_t slot = Rear;
    for (std::uint32_t i = 0; i < Count; ++i) {
        const char* bytes = Slots[slot].state;
        for (std::uint32_t b = 0; b < StateSize; ++b)
            std::cout << static_cast<int>(bytes[b]) << ' ';
        std::cout << '\n';
        slot = (slot == 0) ? Capacity - 1 : slot - 1;
    }
    std::cout.flush();
}
