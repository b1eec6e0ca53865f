#include "WindowsAgentCommon/MessageBlocks.h"

#include "serialization/ReadablePart.h"

#include <ace/Lock_Adapter_T.h>
#include <ace/Message_Block.h>
#include <ace/Recursive_Thread_Mutex.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace WindowsAgentCommon {

namespace {

struct Release {
    void operator()(ACE_Message_Block* block) const noexcept { block->release(); }
};

// Anybody may have set a block's positions to anything, and rd_ptr() would add the offset to the buffer's
// address before it can be looked at.
struct ReadOffset : ACE_Message_Block {
    static std::size_t Of(const ACE_Message_Block& block) { return block.*&ReadOffset::rd_ptr_; }
};

ACE_Lock& SharedLock() {
    static ACE_Lock_Adapter<ACE_Recursive_Thread_Mutex> lock;
    return lock;
}

}  // namespace

namespace detail {

ReadablePart GetReadablePart(const ACE_Message_Block* block) noexcept {
    if (block == nullptr || block->data_block() == nullptr) return {};
    const std::size_t length = block->length(), room = block->capacity();
    if (length > room || ReadOffset::Of(*block) > room - length) return {};
    return {block->rd_ptr(), static_cast<unsigned int>(length)};
}

}  // namespace detail

void MessageBlockChainSizeVisitor::Visit(ACE_Message_Block* block) {
    if (block == nullptr) return;
    const std::size_t room = std::numeric_limits<unsigned int>::max() - total_;
    total_ += static_cast<unsigned int>(std::min(block->size(), room));
}

unsigned int MessageBlockChainSizeVisitor::GetTotalSize() const { return total_; }

void MessageBlockTailVisitor::Visit(ACE_Message_Block* block) {
    if (block != nullptr && block->cont() == nullptr) tail_ = block;
}

ACE_Message_Block* MessageBlockTailVisitor::GetTail() const { return tail_; }

void CreateDataMessageBlock(int size, ACE_Message_Block*& out) {
    out = nullptr;
    if (size < 0) return;
    try {
        auto block = std::make_unique<ACE_Message_Block>(
            static_cast<std::size_t>(size), ACE_Message_Block::MB_DATA, nullptr, nullptr, nullptr,
            &SharedLock(), ACE_DEFAULT_MESSAGE_BLOCK_PRIORITY, ACE_Time_Value::zero,
            ACE_Time_Value::max_time);
        // Without memory for its bytes a block has no data block.
        if (block->data_block() != nullptr) out = block.release();
    } catch (const std::bad_alloc&) {  // out stays null
    }
}

void VisitContChain(ACE_Message_Block* head, MessageBlockVisitor& visitor) {
    for (ACE_Message_Block* block = head; block != nullptr; block = block->cont()) visitor.Visit(block);
}

ACE_Message_Block* GetContChainTail(ACE_Message_Block* head) {
    MessageBlockTailVisitor visitor;
    VisitContChain(head, visitor);
    return visitor.GetTail();
}

int GetContChainSize(ACE_Message_Block* head) {
    if (head == nullptr) return -1;
    // Null without memory: the sizes are the same without it.
    const std::unique_ptr<ACE_Message_Block, Release> reference(head->duplicate());
    MessageBlockChainSizeVisitor visitor;
    VisitContChain(head->cont(), visitor);
    constexpr unsigned int kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(visitor.GetTotalSize(), kMost));
}

}  // namespace WindowsAgentCommon
