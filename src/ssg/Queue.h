#pragma once
// Queue: the first-in-first-out frontier of states that have been numbered but
// not yet explored. A circular buffer of pre-allocated records: Enqueue copies
// the caller's record into the next free slot, Dequeue hands out the queue's own
// slot, whose contents stay valid until that slot is filled again.

#include "ssg/state_struct.h"

#include <cstdint>

class Queue {
public:
    explicit Queue(unsigned long stateSize);
    virtual ~Queue();
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;
    Queue(Queue&&) = delete;
    Queue& operator=(Queue&&) = delete;

    // Copies StateSize bytes and the number of `record` into the next slot,
    // growing the queue first when it is full.
    void Enqueue(const state_struct* record);
    // The oldest record, or null when the queue is empty.
    state_struct* Dequeue();
    // Grows the queue by 5000 slots, keeping the queued records in order, then
    // enqueues `record`.
    void MakeLarger(const state_struct* record);
    // Forgets every queued record.
    void Make_Empty();
    // Diagnostic: the queued records' bytes, newest first, one line each.
    void Print() const;

    std::uint32_t getCapacity() const { return Capacity; }
    std::uint32_t getCount() const { return Count; }

private:
    static constexpr std::uint32_t GrowthStep = 5000;

    // Allocates `capacity` records whose buffers lie in one storage block.
    void allocateSlots(std::uint32_t capacity, state_struct*& records, char*& storage);

    std::uint32_t Capacity = 0;    // number of slots; Growth x 5000
    std::uint32_t StateSize = 0;   // bytes copied per record
    std::uint32_t Front = 1;       // slot of the next record to dequeue
    std::uint32_t Rear = 0;        // slot of the last record enqueued
    std::uint32_t Count = 0;       // records held
    std::uint32_t Allocated = 0;   // records pre-allocated in the current slot array
    short Growth = 1;              // growth stage
    state_struct* Slots = nullptr; // owned; Capacity records, each pointing into Storage
    char* Storage = nullptr;       // owned; Capacity x StateSize bytes, the records' buffers
};
