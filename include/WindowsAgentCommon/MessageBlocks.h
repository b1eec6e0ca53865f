#pragma once

#include "CorvaneExport.h"

class ACE_Message_Block;  // <ace/Message_Block.h>, for whoever looks into blocks

namespace WindowsAgentCommon {

/// \file
/// Message blocks and the chains that they form through `cont()`, the carrier of payloads.
///
/// A chain ends with a block whose `cont()` is null: every function walks until it finds that block and does
/// not come back from a chain that leads back into itself. Each block must have its data block, which all
/// but a block that failed to be made have. Sizes are capacities in bytes, not filled lengths. A chain is
/// used by one thread at a time.

/// Looks at the blocks of a chain. It has no virtual destructor: visitors live on the stack.
class MessageBlockVisitor {
public:
    virtual void Visit(ACE_Message_Block* block) = 0;  ///< Called with each block in turn.

protected:
    ~MessageBlockVisitor() = default;
};

/// Adds up the sizes of the blocks that it visits.
class CORVANE_API MessageBlockChainSizeVisitor : public MessageBlockVisitor {
public:
    void Visit(ACE_Message_Block* block) override;  ///< Adds nothing for null.
    unsigned int GetTotalSize() const;              ///< At most 4,294,967,295, where it stays.

private:
    unsigned int total_ = 0;
};

/// Remembers the last visited block that has no continuation.
class CORVANE_API MessageBlockTailVisitor : public MessageBlockVisitor {
public:
    void Visit(ACE_Message_Block* block) override;  ///< Ignores null.
    ACE_Message_Block* GetTail() const;             ///< Not owned; null until there was such a block.

private:
    ACE_Message_Block* tail_ = nullptr;
};

/// Makes an empty data block (MB_DATA) of size bytes with its own buffer. One lock of the library's guards
/// the reference counts of all blocks that this function made, so that duplicates of one block may be
/// released by several threads; it is made by the first call and lasts until the library is unloaded. size:
/// bytes, 0 allowed. out: the block, which the caller owns and frees with `release()`; null when size is
/// negative or memory is lacking. Throws nothing. Thread-safe.
CORVANE_API void CreateDataMessageBlock(int size, ACE_Message_Block*& out);

/// Calls visitor.Visit() for head and every block behind it, in the chain's order. Nothing for a null head.
/// A visitor may change the block that it is given and what follows it, but must not free that block.
/// Throws what the visitor throws.
CORVANE_API void VisitContChain(ACE_Message_Block* head, MessageBlockVisitor& visitor);

/// The chain's last block, not owned; null for a null head.
CORVANE_API ACE_Message_Block* GetContChainTail(ACE_Message_Block* head);

/// The sizes of the blocks behind head, without head itself: deliberate. 0 for a single block, -1 for a null
/// head; at most 2,147,483,647, where it stays. Holds a reference to the chain (`duplicate()`) meanwhile,
/// which takes the lock of its blocks.
CORVANE_API int GetContChainSize(ACE_Message_Block* head);

}  // namespace WindowsAgentCommon
