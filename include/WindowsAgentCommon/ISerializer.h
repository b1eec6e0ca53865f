#pragma once

#include <cstdint>
#include <memory>

class ACE_Message_Block;  // <ace/Message_Block.h>, for whoever looks into blocks

namespace WindowsAgentCommon {

/// A byte sink and source: typed reads and writes, raw bytes and message blocks, and, where CanSeek() says
/// so, a cursor that can be moved. Components work against it and receive it as
/// `std::shared_ptr<ISerializer>`.
///
/// Values travel as their bytes, little-endian, without tag, length or alignment: 1 (byte), 2 (short), 4
/// (int, long, float) or 8 (64-bit integer, double) bytes, integers in two's complement, floating-point
/// numbers in IEEE 754. Text has no form of its own: write its length, then its bytes.
///
/// Every read and write returns the number of bytes moved. There is no error flag beside it: fewer bytes
/// than asked for are the failure, and GetLastErrorCode() may tell more.
///
/// The order of the virtual functions is part of the binary interface. Thread rule: one thread at a time.
class ISerializer {
public:
    /// What a seek counts from. Any other value is a seek that goes nowhere.
    enum OffsetType_t : int {
        FromStart = 1,   ///< The first byte.
        FromEnd = 2,     ///< The end of the storage, behind bytes that were never written, too.
        FromCurrent = 3  ///< The cursor.
    };

    /// Which way a seek goes. Any value but Forward means backward.
    enum OffsetDirection_t : int { Forward = 1, Backward = 2 };

    virtual ~ISerializer() = default;

    /// The Windows error code that the calling thread met last, whoever caused it.
    virtual int GetLastErrorCode() = 0;

    virtual bool IsReadOnly() = 0;  ///< True where writes never move anything.
    virtual bool CanSeek() = 0;     ///< False where Seek() and Skip() do nothing and return 0.

    /// Moves the cursor by offset bytes. Returns offset.
    /// Throws SeekException when the cursor would leave the storage; it stays where it was.
    virtual unsigned int Seek(unsigned int offset, OffsetType_t type, OffsetDirection_t direction) = 0;

    /// Moves the cursor forward by count bytes or up to the end of the storage. Returns how far it went.
    virtual unsigned int Skip(unsigned int count) = 0;

    /// \name Values
    /// A value moves as a whole or not at all: 0 is returned then, the cursor stays, and a read leaves its
    /// output as it was, except that ReadByte() may overwrite it.
    /// @{
    virtual unsigned int ReadByte(unsigned char& value) = 0;    ///< 1 byte.
    virtual unsigned int WriteByte(unsigned char value) = 0;    ///< 1 byte.
    virtual unsigned int ReadShort(unsigned short& value) = 0;  ///< 2 bytes.
    virtual unsigned int ReadShort(short& value) = 0;           ///< 2 bytes.
    virtual unsigned int WriteShort(short value) = 0;           ///< 2 bytes.
    virtual unsigned int ReadLong(unsigned int& value) = 0;     ///< 4 bytes.
    virtual unsigned int ReadLong(int& value) = 0;              ///< 4 bytes.
    virtual unsigned int ReadLong(unsigned long& value) = 0;    ///< 4 bytes.
    virtual unsigned int ReadLong(long& value) = 0;             ///< 4 bytes.
    virtual unsigned int WriteLong(long value) = 0;             ///< 4 bytes.
    virtual unsigned int ReadInt64(std::uint64_t& value) = 0;   ///< 8 bytes.
    virtual unsigned int ReadInt64(std::int64_t& value) = 0;    ///< 8 bytes.
    virtual unsigned int WriteInt64(std::int64_t value) = 0;    ///< 8 bytes.
    virtual unsigned int ReadFloat(float& value) = 0;           ///< 4 bytes.
    virtual unsigned int WriteFloat(float value) = 0;           ///< 4 bytes.
    virtual unsigned int ReadDouble(double& value) = 0;         ///< 8 bytes.
    virtual unsigned int WriteDouble(double value) = 0;         ///< 8 bytes.
    /// @}

    /// Reads count bytes, or what is there, into a new block whose readable part they become.
    /// out: replaced by the block, which it alone owns (what the caller chains behind the block stays the
    /// caller's); emptied when nothing was read.
    virtual unsigned int ReadBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& out) = 0;

    /// Reads everything that was written and not yet read, as the other overload does. out stays as it was
    /// when the cursor is past all that was written.
    virtual unsigned int ReadBuffer(std::shared_ptr<ACE_Message_Block>& out) = 0;

    /// Writes count bytes of data, all or none. data: not changed; may be null where count is 0.
    virtual unsigned int WriteBuffer(void* data, unsigned int count) = 0;

    /// Writes the first count bytes of the block's readable part, or the whole of it where it is shorter.
    /// Only this block: its continuation is left out, and its read position stays. An empty pointer writes
    /// nothing.
    virtual unsigned int WriteBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& block) = 0;

    /// Writes the whole of the block's readable part, as the other overload does.
    virtual unsigned int WriteBuffer(std::shared_ptr<ACE_Message_Block>& block) = 0;
};

}  // namespace WindowsAgentCommon
