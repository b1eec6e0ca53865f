#include "WindowsAgentCommon/KORMessageQueue.h"
#include "WindowsAgentCommon/KORTask.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

using namespace WindowsAgentCommon;

namespace {

std::atomic<int> blocksAlive{0};

struct Block : ACE_Message_Block {
    explicit Block(std::size_t size) : ACE_Message_Block(size) { ++blocksAlive; }
    ~Block() override { --blocksAlive; }
};

/// Puts a block of so many bytes in. Returns 0 or errno.
int Put(ACE_Message_Queue<ACE_MT_SYNCH>& queue, std::size_t size, bool waits = false) {
    auto block = std::make_unique<Block>(size);
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
struct Producer : KORTask {
    explicit Producer(KORMessageQueue& destination) : queue(destination) { activate(); }
    int svc() override { return Put(queue, 7, true); }
    KORMessageQueue& queue;
};

TEST(KORMessageQueue, TakesTheBlockThatCrossesItsEqualMarksAndLetsTheNextWait) {
    for (const std::size_t crossing : {1, 20000}) {
        SCOPED_TRACE(crossing);
        KORMessageQueue queue;
        EXPECT_EQ(16384u, queue.low_water_mark());
        EXPECT_EQ(0, Put(queue, 16383));
        EXPECT_EQ(0, Put(queue, crossing));
        EXPECT_EQ(EWOULDBLOCK, Put(queue, 1));
        Producer producer(queue);  // in a host that forgot ACE
        EXPECT_EQ(0, Put(*producer.msg_queue(), 100));
        EXPECT_EQ(16383u, Take(queue));
        if (crossing >= 16384) {
            EXPECT_EQ(crossing, Take(queue)) << "the producer waits: still above the mark";
        }
        producer.wait();
        EXPECT_EQ(0, Put(queue, 1));
        queue.deactivate();
        EXPECT_EQ(ESHUTDOWN, Put(queue, 1));
    }
    EXPECT_EQ(0, blocksAlive) << "the ends of queue and task release what they hold";
}

}  // namespace
