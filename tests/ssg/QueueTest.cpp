#include "ssg/Queue.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// Enqueues first..last, each record's 4-byte state spelling its number.
void enqueue(Queue& queue, std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t n = first; n <= last; ++n) {
        char bytes[4];
        std::memcpy(bytes, &n, 4);
        state_struct record{bytes, n};
        queue.Enqueue(&record);
    }
}

// Enqueues first..last, then expects the queue to hold room for `capacity` records.
void enqueueExpectingCapacity(Queue& queue, std::uint32_t first, std::uint32_t last,
                              std::uint32_t capacity) {
    enqueue(queue, first, last);
    EXPECT_EQ(queue.getCapacity(), capacity) << "after records " << first << " to " << last;
}

// Dequeues first..last and checks numbers and bytes.
void dequeue(Queue& queue, std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t n = first; n <= last; ++n) {
        state_struct* record = queue.Dequeue();
        ASSERT_NE(record, nullptr) << n;
        std::uint32_t bytes;
        std::memcpy(&bytes, record->state, 4);
        ASSERT_EQ(record->number, n);
        ASSERT_EQ(bytes, n);
    }
}

// Dequeues first..last as dequeue does, then expects the queue to be empty.
void drain(Queue& queue, std::uint32_t first, std::uint32_t last) {
    dequeue(queue, first, last);
    EXPECT_EQ(queue.Dequeue(), nullptr) << "after record " << last;
}

TEST(Queue, GrowsBy5000AndKeepsOrder) {
    Queue queue(4);
    EXPECT_EQ(queue.Dequeue(), nullptr);
    enqueueExpectingCapacity(queue, 1, 5000, 5000);
    enqueueExpectingCapacity(queue, 5001, 5001, 10000); // the 5001st record without a dequeue
    enqueueExpectingCapacity(queue, 5002, 10001, 15000);
    drain(queue, 1, 10001);
}

TEST(Queue, WrapsRoundAndGrowsWhileWrapped) {
    Queue queue(4);
    enqueue(queue, 1, 5000);
    dequeue(queue, 1, 4999);
    enqueueExpectingCapacity(queue, 5001, 9000, 5000); // from slot 0 on
    dequeue(queue, 5000, 6000);
    enqueueExpectingCapacity(queue, 9001, 11000, 5000); // full again, wrapped round
    enqueueExpectingCapacity(queue, 11001, 11001, 10000);
    drain(queue, 6001, 11001);
}

TEST(Queue, DequeuedRecordKeepsItsContentsUntilItsSlotIsReused) {
    Queue queue(4);
    enqueue(queue, 1, 10);
    state_struct* first = queue.Dequeue();
    enqueue(queue, 11, 11 + 4990 - 1); // Capacity - Count - 1 further records
    std::uint32_t bytes;
    std::memcpy(&bytes, first->state, 4);
    EXPECT_EQ(first->number, 1u);
    EXPECT_EQ(bytes, 1u);
}

} // namespace
