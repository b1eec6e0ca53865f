#include "WindowsAgentCommon/KORMessageQueue.h"
#include "WindowsAgentCommon/KORTask.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <memory>

namespace WindowsAgentCommon {
namespace {

int blocksAlive = 0;

class Block : public ACE_Message_Block {
public:
    using ACE_Message_Block::ACE_Message_Block;
    ~Block() override { --blocksAlive; }
};

/// Puts a block of so many bytes in. Returns 0 or errno.
int Put(ACE_Message_Queue<ACE_MT_SYNCH>& queue, std::size_t size, bool waits = false) {
    auto block = std::make_unique<Block>(size);
    ++blocksAlive;
    ACE_Time_Value now = ACE_Time_Value::zero;
    if (queue.enqueue_tail(block.get(), waits ? nullptr : &now) == -1) return errno;
    static_cast<void>(block.release());  // the queue's
    return 0;
}

std::size_t Take(KORMessageQueue& queue) {
    ACE_Message_Block* block = nullptr;
    if (queue.dequeue_head(block) == -1) return 0;
    const std::size_t size = block->total_size();
    block->release();
    return size;
}

/// Puts a small block into a queue, waiting for room.
class Producer : public KORTask {
public:
    explicit Producer(KORMessageQueue& queue) : queue_(queue) { activate(); }
    int svc() override { return Put(queue_, 7, true); }

private:
    KORMessageQueue& queue_;
};

TEST(KORMessageQueue, TakesTheBlockThatCrossesItsEqualMarksAndLetsTheNextWait) {
    for (const std::size_t crossing : {1, 5000, 20000}) {
        SCOPED_TRACE(crossing);
        KORMessageQueue queue;
        EXPECT_EQ(16384u, queue.high_water_mark());
        EXPECT_EQ(16384u, queue.low_water_mark());
        EXPECT_TRUE(queue.is_empty());
        EXPECT_EQ(0, Put(queue, 16383));
        EXPECT_FALSE(queue.is_full());
        EXPECT_EQ(0, Put(queue, crossing));
        EXPECT_TRUE(queue.is_full());
        EXPECT_EQ(EWOULDBLOCK, Put(queue, 1));
        Producer producer(queue);
        EXPECT_EQ(16383u, Take(queue));
        if (crossing >= 16384) {
            EXPECT_EQ(crossing, Take(queue)) << "the producer waits: still above the mark";
        }
        producer.wait();
        EXPECT_EQ(0, Put(queue, 1)) << "no band below the mark";
        queue.deactivate();
        EXPECT_EQ(ESHUTDOWN, Put(queue, 1));
    }
    EXPECT_EQ(0, blocksAlive) << "a queue's end releases what it holds";
}

TEST(KORTask, OwnsItsQueueAndRunsInAHostThatForgotAce) {
    KORMessageQueue queue;
    {
        Producer task(queue);
        EXPECT_EQ(0, Put(*task.msg_queue(), 100));
        task.wait();
    }
    EXPECT_EQ(7u, Take(queue));
    EXPECT_EQ(0, blocksAlive);
}

}  // namespace
}  // namespace WindowsAgentCommon
