#pragma once

class ACE_Message_Block;

namespace WindowsAgentCommon::detail {

/// The bytes between a block's read and write positions.
struct ReadablePart {
    void* data = nullptr;
    unsigned int size = 0;
};

/// Nothing for a null block, for one without a buffer, and where the positions are not in order within the
/// block's buffer. Throws nothing.
ReadablePart GetReadablePart(const ACE_Message_Block* block) noexcept;

}  // namespace WindowsAgentCommon::detail
