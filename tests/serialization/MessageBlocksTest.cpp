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

}  // namespace

TEST(MessageBlocks, MeasuresAndEndsChains) {
    const std::tuple<std::vector<int>, int, unsigned int> rows[] = {
        {{}, -1, 0}, {{100}, 0, 100}, {{100, 50, 25}, 75, 175}, {std::vector<int>(2000, 1), 1999, 2000}};
    for (const auto& [sizes, behindHead, total] : rows) {
        SCOPED_TRACE(total);
        Owner chain;
        ACE_Message_Block* last = nullptr;
        for (const int size : sizes) {
            ACE_Message_Block* const block = Create(size).release();
            last == nullptr ? chain.reset(block) : last->cont(block);
            last = block;
        }
        MessageBlockChainSizeVisitor size;
        VisitContChain(chain.get(), size);
        EXPECT_EQ(total, size.GetTotalSize());
        EXPECT_EQ(behindHead, GetContChainSize(chain.get()));  // deliberately without the head
        EXPECT_EQ(last, GetContChainTail(chain.get()));
        EXPECT_TRUE(!chain || chain->reference_count() == 1);
    }
    char byte = 0;
    ACE_Message_Block head(&byte, 1), huge(&byte, INT_MAX), more(&byte, INT_MAX), most(&byte, 5);
    head.cont(&huge);
    huge.cont(&more);
    more.cont(&most);
    MessageBlockChainSizeVisitor size;
    VisitContChain(&head, size);
    EXPECT_TRUE(size.GetTotalSize() == UINT_MAX && GetContChainSize(&head) == INT_MAX);
}

TEST(MessageBlocks, CreatesDataBlocksThatShareOneLock) {
    const Owner first = Create(3), empty = Create(0);
    EXPECT_EQ(ACE_Message_Block::MB_DATA, first->msg_type());
    EXPECT_TRUE(first->size() == 3 && first->length() + empty->size() == 0 && first->cont() == nullptr);
    EXPECT_NE(nullptr, first->locking_strategy());
    EXPECT_EQ(first->locking_strategy(), empty->locking_strategy());
    EXPECT_EQ(ACE_Time_Value::max_time, first->msg_deadline_time());
    for (const int size : {-1, INT_MAX}) EXPECT_FALSE(Create(size)) << size;
}
