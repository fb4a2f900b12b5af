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

TEST(Queue, GrowsBy5000AndKeepsOrder) {
    Queue queue(4);
    EXPECT_EQ(queue.Dequeue(), nullptr);
    enqueue(queue, 1, 5000);
    EXPECT_EQ(queue.getCapacity(), 5000u);
    enqueue(queue, 5001, 5001); // the 5001st record without a dequeue
    EXPECT_EQ(queue.getCapacity(), 10000u);
    enqueue(queue, 5002, 10001);
    EXPECT_EQ(queue.getCapacity(), 15000u);
    dequeue(queue, 1, 10001);
    EXPECT_EQ(queue.Dequeue(), nullptr);
}

TEST(Queue, WrapsRoundAndGrowsWhileWrapped) {
    Queue queue(4);
    enqueue(queue, 1, 5000);
    dequeue(queue, 1, 4999);
    enqueue(queue, 5001, 9000); // from slot 0 on
    EXPECT_EQ(queue.getCapacity(), 5000u);
    dequeue(queue, 5000, 6000);
    enqueue(queue, 9001, 11000); // full again, wrapped round
    EXPECT_EQ(queue.getCapacity(), 5000u);
    enqueue(queue, 11001, 11001);
    EXPECT_EQ(queue.getCapacity(), 10000u);
    dequeue(queue, 6001, 11001);
    EXPECT_EQ(queue.Dequeue(), nullptr);
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
