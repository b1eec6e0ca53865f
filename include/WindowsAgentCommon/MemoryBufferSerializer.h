#pragma once

#include <cstdint>
#include <memory>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/ISerializer.h"

namespace WindowsAgentCommon {

/// A serializer over memory that grows as it is written.
///
/// Three positions, in bytes from the start: the cursor, where the next read or write happens; the edit
/// point, one past the furthest byte ever written; the capacity, the storage's size. Reads and seeks go up to
/// the capacity, not only to the edit point: deliberate. Bytes that nobody wrote are zero.
///
/// A copy is a second view of one storage: it begins with the positions of its original and then has its own,
/// while the bytes stay common. The storage lives until its last view ends, whichever that is. When one view
/// makes it grow, its address changes for all of them, and the others keep the capacity that they had.
///
/// Nothing but the constructors throws std::bad_alloc: without memory, a write moves nothing. All views of
/// one storage together belong to one thread at a time.
class CORVANE_API MemoryBufferSerializer : public ISerializer {
public:
    MemoryBufferSerializer();  ///< 1024 bytes, growing by 1024.

    /// initialSize: the first capacity, in bytes; may be 0. growBy: the storage grows by multiples of it,
    /// in bytes; with 0 it never grows and a write that does not fit moves nothing.
    MemoryBufferSerializer(unsigned int initialSize, unsigned int growBy);

    MemoryBufferSerializer(const MemoryBufferSerializer& other);  ///< A second view of other's storage.
    /// Leaves its storage and becomes a second view of other's.
    MemoryBufferSerializer& operator=(const MemoryBufferSerializer& other);

    ~MemoryBufferSerializer() override;

    int GetLastErrorCode() override;
    bool IsReadOnly() override;  ///< False.
    bool CanSeek() override;     ///< True.

    /// "End" is the capacity. From it, only backward seeks and offset 0 make sense; from the start, only
    /// forward seeks and offset 0. A type that is none of the three moves nothing. The edit point stays.
    unsigned int Seek(unsigned int offset, OffsetType_t type, OffsetDirection_t direction) override;
    unsigned int Skip(unsigned int count) override;

    unsigned int ReadByte(unsigned char& value) override;  ///< Sets value to 0 when there is no byte.
    unsigned int WriteByte(unsigned char value) override;
    unsigned int ReadShort(unsigned short& value) override;
    unsigned int ReadShort(short& value) override;
    unsigned int WriteShort(short value) override;
    unsigned int ReadLong(unsigned int& value) override;
    unsigned int ReadLong(int& value) override;
    unsigned int ReadLong(unsigned long& value) override;
    unsigned int ReadLong(long& value) override;
    unsigned int WriteLong(long value) override;
    unsigned int ReadInt64(std::uint64_t& value) override;
    unsigned int ReadInt64(std::int64_t& value) override;
    unsigned int WriteInt64(std::int64_t value) override;
    unsigned int ReadFloat(float& value) override;
    unsigned int WriteFloat(float value) override;
    unsigned int ReadDouble(double& value) override;
    unsigned int WriteDouble(double value) override;

    unsigned int ReadBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& out) override;
    /// Reads from the cursor to the edit point.
    unsigned int ReadBuffer(std::shared_ptr<ACE_Message_Block>& out) override;
    /// data may lie in this storage. Null with a count other than 0 writes nothing.
    unsigned int WriteBuffer(void* data, unsigned int count) override;
    unsigned int WriteBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& block) override;
    unsigned int WriteBuffer(std::shared_ptr<ACE_Message_Block>& block) override;

    /// The storage's first byte, never null; valid until a write through any view or the end of the last.
    unsigned char* GetCurrentBufferAddress() const;
    unsigned int GetCurrentBufferSize() const;  ///< The capacity.
    unsigned int GetCursor() const;             ///< The cursor.
    unsigned int GetEditPoint() const;          ///< The edit point.

private:
    struct Storage;

    unsigned int Available() const noexcept;
    bool Reserve(unsigned int count);
    bool Grow(unsigned int count);
    template <class Value>
    unsigned int Read(Value& value);
    template <class Value>
    unsigned int Write(Value& value);

    unsigned int initialSize_;
    unsigned int growBy_;
    unsigned int capacity_;
    unsigned int cursor_;
    unsigned int editPoint_;
    std::shared_ptr<Storage> storage_;
};

}  // namespace WindowsAgentCommon
