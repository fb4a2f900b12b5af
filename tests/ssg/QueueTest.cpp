#include "ssg/Queue.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// Records whose 4-byte state spells their number, so order and contents can be
// checked together.
class Records {
public:
    state_struct make(std::uint32_t number) {
        std::memcpy(Buffer, &number, sizeof number);
        state_struct record;
        record.state = Buffer;
        record.number = number;
        return record;
    }

private:
    char Buffer[4] = {};
};

std::uint32_t bytesOf(const state_struct* record) {
    std::uint32_t value = 0;
    std::memcpy(&value, record->state, sizeof value);
    return value;
}

void enqueueRange(Queue& queue, Records& records, std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t n = first; n <= last; ++n) {
        state_struct record = records.make(n);
        queue.Enqueue(&record);
    }
}

// Dequeues `count` records and checks that they are first, first + 1, ...
void expectDequeued(Queue& queue, std::uint32_t first, std::uint32_t count) {
    for (std::uint32_t n = first; n < first + count; ++n) {
        state_struct* record = queue.Dequeue();
        ASSERT_NE(record, nullptr) << "record " << n;
        ASSERT_EQ(record->number, n);
        ASSERT_EQ(bytesOf(record), n);
    }
}

TEST(Queue, EmptyQueueGivesNullWithoutAMessage) {
    Queue queue(4);
    testing::internal::CaptureStdout();
    EXPECT_EQ(queue.Dequeue(), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    Records records;
    enqueueRange(queue, records, 1, 2);
    expectDequeued(queue, 1, 2);
    EXPECT_EQ(queue.Dequeue(), nullptr);
}

TEST(Queue, CopiesTheCallersRecord) {
    Queue queue(4);
    Records records;
    state_struct record = records.make(7);
    queue.Enqueue(&record);
    records.make(8); // the caller reuses its buffer at once
    expectDequeued(queue, 7, 1);
}

TEST(Queue, GrowsLinearlyAndKeepsOrder) {
    Queue queue(4);
    Records records;
    enqueueRange(queue, records, 1, 5000);
    EXPECT_EQ(queue.getCapacity(), 5000u);
    enqueueRange(queue, records, 5001, 5001);
    EXPECT_EQ(queue.getCapacity(), 10000u);
    enqueueRange(queue, records, 5002, 10001);
    EXPECT_EQ(queue.getCapacity(), 15000u);
    EXPECT_EQ(queue.getCount(), 10001u);
    expectDequeued(queue, 1, 10001);
    EXPECT_EQ(queue.Dequeue(), nullptr);
}

TEST(Queue, WrapsRoundToSlotZeroWithoutGrowing) {
    Queue queue(4);
    Records records;
    enqueueRange(queue, records, 1, 5000);
    expectDequeued(queue, 1, 4999);
    // The rear is at the last slot; the next records go to slots 0, 1, ...
    enqueueRange(queue, records, 5001, 9000);
    EXPECT_EQ(queue.getCapacity(), 5000u);
    expectDequeued(queue, 5000, 4001);
    EXPECT_EQ(queue.Dequeue(), nullptr);
}

TEST(Queue, GrowthOfAWrappedQueueKeepsOrder) {
    Queue queue(4);
    Records records;
    enqueueRange(queue, records, 1, 5000);
    expectDequeued(queue, 1, 3000);
    enqueueRange(queue, records, 5001, 8000); // full again, wrapped round
    EXPECT_EQ(queue.getCapacity(), 5000u);
    enqueueRange(queue, records, 8001, 8001);
    EXPECT_EQ(queue.getCapacity(), 10000u);
    expectDequeued(queue, 3001, 5001);
    EXPECT_EQ(queue.Dequeue(), nullptr);
}

TEST(Queue, DequeuedRecordKeepsItsContentsUntilItsSlotIsReused) {
    Queue queue(4);
    Records records;
    enqueueRange(queue, records, 1, 10);
    state_struct* first = queue.Dequeue();
    ASSERT_NE(first, nullptr);
    // Capacity - Count - 1 further records leave the dequeued slot alone.
    enqueueRange(queue, records, 11, 11 + (5000 - 9) - 2);
    EXPECT_EQ(first->number, 1u);
    EXPECT_EQ(bytesOf(first), 1u);
}

TEST(Queue, MakeEmptyForgetsTheRecords) {
    Queue queue(4);
    Records records;
    enqueueRange(queue, records, 1, 3);
    queue.Make_Empty();
    EXPECT_EQ(queue.Dequeue(), nullptr);
    enqueueRange(queue, records, 4, 5);
    expectDequeued(queue, 4, 2);
}

TEST(Queue, PrintDumpsTheRecordsNewestFirst) {
    Queue queue(2);
    char bytes[2] = {1, -1};
    state_struct record{bytes, 1};
    queue.Enqueue(&record);
    bytes[0] = 2;
    queue.Enqueue(&record);
    testing::internal::CaptureStdout();
    queue.Print();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "2 -1 \n1 -1 \n");
}

} // namespace
