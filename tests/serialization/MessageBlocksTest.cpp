#include "WindowsAgentCommon/MessageBlocks.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <vector>

using namespace WindowsAgentCommon;

namespace {

struct Release {
    void operator()(ACE_Message_Block* block) const { block->release(); }
};
using Owner = std::unique_ptr<ACE_Message_Block, Release>;

Owner Create(int size) {
    ACE_Message_Block* block = nullptr;
    CreateDataMessageBlock(size, block);
    return Owner(block);
}

struct Collector : MessageBlockVisitor {
    void Visit(ACE_Message_Block* block) override { seen.push_back(block); }
    std::vector<ACE_Message_Block*> seen;
};

}  // namespace

TEST(MessageBlocks, MeasuresAndEndsChains) {
    const struct {
        const char* name;
        std::vector<int> sizes;
        int behindHead;
        unsigned int total;
    } rows[] = {
        {"none", {}, -1, 0},
        {"single", {100}, 0, 100},
        {"three", {100, 50, 25}, 75, 175},
        {"empty blocks", {0, 0, 7, 0}, 7, 7},
        {"long", std::vector<int>(2000, 1), 1999, 2000},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<ACE_Message_Block*> blocks;
        for (const int size : row.sizes) {
            blocks.push_back(Create(size).release());
            if (blocks.size() > 1) blocks[blocks.size() - 2]->cont(blocks.back());
        }
        const Owner chain(blocks.empty() ? nullptr : blocks.front());
        MessageBlockChainSizeVisitor size;
        VisitContChain(chain.get(), size);
        EXPECT_EQ(row.total, size.GetTotalSize());
        Collector collector;
        VisitContChain(chain.get(), collector);
        EXPECT_EQ(blocks, collector.seen);
        EXPECT_EQ(row.behindHead, GetContChainSize(chain.get()));
        EXPECT_EQ(blocks.empty() ? nullptr : blocks.back(), GetContChainTail(chain.get()));
        EXPECT_TRUE(!chain || chain->reference_count() == 1);
    }
}

TEST(MessageBlocks, SizesBeyondTheirTypeStayAtItsEnd) {
    std::vector<char> bytes(1);
    ACE_Message_Block head(bytes.data(), 1), huge(bytes.data(), INT_MAX), more(bytes.data(), INT_MAX),
        most(bytes.data(), 5);
    head.cont(&huge);
    huge.cont(&more);
    more.cont(&most);
    EXPECT_EQ(INT_MAX, GetContChainSize(&head));
    MessageBlockChainSizeVisitor size;
    VisitContChain(&head, size);
    EXPECT_EQ(UINT_MAX, size.GetTotalSize());
}

TEST(MessageBlocks, CreatesDataBlocksThatShareOneLock) {
    const Owner first = Create(3), empty = Create(0);
    EXPECT_EQ(ACE_Message_Block::MB_DATA, first->msg_type());
    EXPECT_EQ(3U, first->size());
    EXPECT_EQ(0U, first->length() + empty->size());
    EXPECT_EQ(nullptr, first->cont());
    EXPECT_NE(nullptr, first->locking_strategy());
    EXPECT_EQ(first->locking_strategy(), empty->locking_strategy());
    EXPECT_EQ(ACE_Time_Value::max_time, first->msg_deadline_time());
    for (const int size : {-1, INT_MIN, INT_MAX}) EXPECT_FALSE(Create(size)) << size;
}
