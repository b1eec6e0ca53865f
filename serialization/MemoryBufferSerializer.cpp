#include "WindowsAgentCommon/MemoryBufferSerializer.h"

#include "WindowsAgentCommon/KORException.h"
#include "serialization/ReadablePart.h"

#include <ace/Message_Block.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

// What callers see as the place of a failed seek; the line tells the cases apart.
[[noreturn]] void ThrowSeek(int line) {
    throw SeekException("MemoryBufferSerializer", "WindowsAgentCommon::MemoryBufferSerializer::Seek", line);
}

std::shared_ptr<ACE_Message_Block> NewBlock(const unsigned char* bytes, unsigned int count) {
    try {
        auto block = std::make_shared<ACE_Message_Block>(count);
        // Without memory for its bytes a block has no data block.
        if (block->data_block() != nullptr) {
            std::memcpy(block->wr_ptr(), bytes, count);
            block->wr_ptr(count);
            return block;
        }
    } catch (const std::bad_alloc&) {  // reported below, as for the bytes
    }
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

}  // namespace

/// The bytes that all views have in common.
struct MemoryBufferSerializer::Storage {
    explicit Storage(unsigned int count)
        : bytes(static_cast<unsigned char*>(std::calloc(std::max(count, 1U), 1))), size(count) {
        if (!bytes) throw std::bad_alloc();
    }

    /// Never shrinks: another view may have made it larger already. written: the end of what is written next.
    bool GrowTo(unsigned int count, unsigned int written) noexcept {
        if (count <= size) return true;
        void* const grown = std::realloc(bytes.get(), count);
        if (grown == nullptr) return false;
        static_cast<void>(bytes.release());
        bytes.reset(static_cast<unsigned char*>(grown));
        // They are readable: what the heap left there is nobody's to see.
        const unsigned int unwritten = std::max(size, written);
        std::memset(bytes.get() + unwritten, 0, count - unwritten);
        size = count;
        return true;
    }

    std::unique_ptr<unsigned char, Free> bytes;
    unsigned int size;
};

MemoryBufferSerializer::MemoryBufferSerializer() : MemoryBufferSerializer(1024, 1024) {}

MemoryBufferSerializer::MemoryBufferSerializer(unsigned int initialSize, unsigned int growBy)
    : initialSize_(initialSize),
      growBy_(growBy),
      capacity_(initialSize),
      cursor_(0),
      editPoint_(0),
      storage_(std::make_shared<Storage>(initialSize)) {}

MemoryBufferSerializer::MemoryBufferSerializer(const MemoryBufferSerializer& other) = default;

MemoryBufferSerializer& MemoryBufferSerializer::operator=(const MemoryBufferSerializer& other) = default;

MemoryBufferSerializer::~MemoryBufferSerializer() = default;

inline unsigned int MemoryBufferSerializer::Available() const noexcept { return capacity_ - cursor_; }

bool MemoryBufferSerializer::Grow(unsigned int count) {
    if (growBy_ == 0) return false;
    // By a multiple that is counted from count, not from what is missing: deliberate.
    const std::uint64_t grown = (std::uint64_t{count} / growBy_ + 1) * growBy_ + capacity_;
    if (grown > std::numeric_limits<unsigned int>::max() ||
        !storage_->GrowTo(static_cast<unsigned int>(grown), cursor_ + count)) {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
    capacity_ = static_cast<unsigned int>(grown);
    return true;
}

bool MemoryBufferSerializer::Reserve(unsigned int count) {
    if (count > Available() && !Grow(count)) return false;
    editPoint_ = std::max(editPoint_, cursor_ + count);
    return true;
}

// The positions change before the bytes are copied: the compiler must assume that the copy changes
// everything, and would read them again.
template <class Value>
inline unsigned int MemoryBufferSerializer::Read(Value& value) {
    const unsigned int at = cursor_;
    if (capacity_ - at < sizeof(value)) return 0;
    cursor_ = at + sizeof(value);
    std::memcpy(&value, storage_->bytes.get() + at, sizeof(value));
    return sizeof(value);
}

template <class Value>
inline unsigned int MemoryBufferSerializer::Write(Value& value) {
    const unsigned int at = cursor_;
    if (capacity_ - at < sizeof(value)) return MemoryBufferSerializer::WriteBuffer(&value, sizeof(value));
    cursor_ = at + sizeof(value);
    if (editPoint_ < cursor_) editPoint_ = cursor_;
    std::memcpy(storage_->bytes.get() + at, &value, sizeof(value));
    return sizeof(value);
}

int MemoryBufferSerializer::GetLastErrorCode() { return static_cast<int>(::GetLastError()); }

bool MemoryBufferSerializer::IsReadOnly() { return false; }

bool MemoryBufferSerializer::CanSeek() { return true; }

unsigned int MemoryBufferSerializer::Seek(unsigned int offset, OffsetType_t type,
                                          OffsetDirection_t direction) {
    const bool forward = direction == Forward;
    switch (type) {
        case FromStart:
            if (offset > (forward ? capacity_ : 0)) ThrowSeek(forward ? 111 : 133);
            if (forward) cursor_ = offset;  // backward by 0 stays, deliberately
            break;
        case FromEnd:
            if (offset > (forward ? 0 : capacity_)) ThrowSeek(forward ? 117 : 138);
            if (!forward) cursor_ = capacity_ - offset;  // forward by 0 stays, deliberately
            break;
        case FromCurrent:
            if (offset > (forward ? Available() : cursor_)) ThrowSeek(forward ? 122 : 144);
            cursor_ = forward ? cursor_ + offset : cursor_ - offset;
            break;
    }
    return offset;
}

unsigned int MemoryBufferSerializer::Skip(unsigned int count) {
    const unsigned int skipped = std::min(count, Available());
    cursor_ += skipped;
    return skipped;
}

unsigned int MemoryBufferSerializer::ReadByte(unsigned char& value) {
    value = 0;  // also where there is no byte: deliberate, unlike the other reads
    return Read(value);
}

unsigned int MemoryBufferSerializer::WriteByte(unsigned char value) { return Write(value); }
unsigned int MemoryBufferSerializer::ReadShort(unsigned short& value) { return Read(value); }
unsigned int MemoryBufferSerializer::ReadShort(short& value) { return Read(value); }
unsigned int MemoryBufferSerializer::WriteShort(short value) { return Write(value); }
unsigned int MemoryBufferSerializer::ReadLong(unsigned int& value) { return Read(value); }
unsigned int MemoryBufferSerializer::ReadLong(int& value) { return Read(value); }
unsigned int MemoryBufferSerializer::ReadLong(unsigned long& value) { return Read(value); }
unsigned int MemoryBufferSerializer::ReadLong(long& value) { return Read(value); }
unsigned int MemoryBufferSerializer::WriteLong(long value) { return Write(value); }
unsigned int MemoryBufferSerializer::ReadInt64(std::uint64_t& value) { return Read(value); }
unsigned int MemoryBufferSerializer::ReadInt64(std::int64_t& value) { return Read(value); }
unsigned int MemoryBufferSerializer::WriteInt64(std::int64_t value) { return Write(value); }
unsigned int MemoryBufferSerializer::ReadFloat(float& value) { return Read(value); }
unsigned int MemoryBufferSerializer::WriteFloat(float value) { return Write(value); }
unsigned int MemoryBufferSerializer::ReadDouble(double& value) { return Read(value); }
unsigned int MemoryBufferSerializer::WriteDouble(double value) { return Write(value); }

unsigned int MemoryBufferSerializer::ReadBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& out) {
    const unsigned int readable = std::min(count, Available());
    out.reset();
    if (readable != 0) out = NewBlock(storage_->bytes.get() + cursor_, readable);
    if (!out) return 0;
    cursor_ += readable;
    return readable;
}

unsigned int MemoryBufferSerializer::ReadBuffer(std::shared_ptr<ACE_Message_Block>& out) {
    if (cursor_ > editPoint_) return 0;
    return ReadBuffer(editPoint_ - cursor_, out);
}

unsigned int MemoryBufferSerializer::WriteBuffer(void* data, unsigned int count) {
    if (data == nullptr && count != 0) return 0;
    // What lies in the storage moves with it.
    const std::size_t offset =
        reinterpret_cast<std::size_t>(data) - reinterpret_cast<std::size_t>(storage_->bytes.get());
    const bool own = offset < storage_->size;
    if (!Reserve(count)) return 0;
    if (count != 0) {
        const void* const source = own ? storage_->bytes.get() + offset : data;
        std::memmove(storage_->bytes.get() + cursor_, source, count);
    }
    cursor_ += count;
    return count;
}

unsigned int MemoryBufferSerializer::WriteBuffer(unsigned int count,
                                                 std::shared_ptr<ACE_Message_Block>& block) {
    const detail::ReadablePart part = detail::GetReadablePart(block.get());
    return WriteBuffer(part.data, std::min(count, part.size));
}

unsigned int MemoryBufferSerializer::WriteBuffer(std::shared_ptr<ACE_Message_Block>& block) {
    const detail::ReadablePart part = detail::GetReadablePart(block.get());
    return WriteBuffer(part.data, part.size);
}

unsigned char* MemoryBufferSerializer::GetCurrentBufferAddress() const { return storage_->bytes.get(); }

unsigned int MemoryBufferSerializer::GetCurrentBufferSize() const { return capacity_; }

unsigned int MemoryBufferSerializer::GetCursor() const { return cursor_; }

unsigned int MemoryBufferSerializer::GetEditPoint() const { return editPoint_; }

}  // namespace WindowsAgentCommon
