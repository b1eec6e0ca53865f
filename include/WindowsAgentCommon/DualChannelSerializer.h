#pragma once

#include <cstdint>
#include <memory>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/ISerializer.h"

namespace WindowsAgentCommon {

/// Two serializers as one: every read is served by the read channel, every write goes to the write channel,
/// with the results, outputs and exceptions of that channel. It adds nothing to the bytes.
///
/// It shares both channels with its maker and its copies; both may be one serializer. It has no cursor of
/// its own: Seek() and Skip() do nothing and return 0, whatever the channels can.
///
/// Reading needs a read channel and writing a write channel: through an empty pointer the call crashes. The
/// thread rules are those of the channels, and one dual serializer is used by one thread at a time.
class CORVANE_API DualChannelSerializer : public ISerializer {
public:
    /// Both pointers are copied; the arguments stay as they are.
    DualChannelSerializer(std::shared_ptr<ISerializer>& readChannel,
                          std::shared_ptr<ISerializer>& writeChannel);

    DualChannelSerializer(const DualChannelSerializer& other);             ///< Shares other's channels.
    DualChannelSerializer& operator=(const DualChannelSerializer& other);  ///< Shares other's channels.

    ~DualChannelSerializer() override;

    int GetLastErrorCode() override;
    bool IsReadOnly() override;  ///< False.
    bool CanSeek() override;     ///< False.

    unsigned int Seek(unsigned int offset, OffsetType_t type, OffsetDirection_t direction) override;
    unsigned int Skip(unsigned int count) override;

    unsigned int ReadByte(unsigned char& value) override;
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
    unsigned int ReadBuffer(std::shared_ptr<ACE_Message_Block>& out) override;
    unsigned int WriteBuffer(void* data, unsigned int count) override;
    /// Both block writes reach the write channel as plain bytes.
    unsigned int WriteBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& block) override;
    unsigned int WriteBuffer(std::shared_ptr<ACE_Message_Block>& block) override;

    void GetReadChannel(std::shared_ptr<ISerializer>& out);   ///< out: the read channel, shared.
    void GetWriteChannel(std::shared_ptr<ISerializer>& out);  ///< out: the write channel, shared.

private:
    std::shared_ptr<ISerializer> readChannel_;
    std::shared_ptr<ISerializer> writeChannel_;
};

}  // namespace WindowsAgentCommon
