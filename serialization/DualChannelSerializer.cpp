#include "WindowsAgentCommon/DualChannelSerializer.h"

#include "serialization/ReadablePart.h"

#include <algorithm>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

DualChannelSerializer::DualChannelSerializer(std::shared_ptr<ISerializer>& readChannel,
                                             std::shared_ptr<ISerializer>& writeChannel)
    : readChannel_(readChannel), writeChannel_(writeChannel) {}

DualChannelSerializer::DualChannelSerializer(const DualChannelSerializer& other) = default;

DualChannelSerializer& DualChannelSerializer::operator=(const DualChannelSerializer& other) = default;

DualChannelSerializer::~DualChannelSerializer() = default;

int DualChannelSerializer::GetLastErrorCode() { return static_cast<int>(::GetLastError()); }

bool DualChannelSerializer::IsReadOnly() { return false; }

bool DualChannelSerializer::CanSeek() { return false; }

unsigned int DualChannelSerializer::Seek(unsigned int, OffsetType_t, OffsetDirection_t) { return 0; }

unsigned int DualChannelSerializer::Skip(unsigned int) { return 0; }

unsigned int DualChannelSerializer::ReadByte(unsigned char& value) { return readChannel_->ReadByte(value); }
unsigned int DualChannelSerializer::WriteByte(unsigned char value) { return writeChannel_->WriteByte(value); }
unsigned int DualChannelSerializer::ReadShort(unsigned short& value) {
    return readChannel_->ReadShort(value);
}
unsigned int DualChannelSerializer::ReadShort(short& value) { return readChannel_->ReadShort(value); }
unsigned int DualChannelSerializer::WriteShort(short value) { return writeChannel_->WriteShort(value); }
unsigned int DualChannelSerializer::ReadLong(unsigned int& value) { return readChannel_->ReadLong(value); }
unsigned int DualChannelSerializer::ReadLong(int& value) { return readChannel_->ReadLong(value); }
unsigned int DualChannelSerializer::ReadLong(unsigned long& value) { return readChannel_->ReadLong(value); }
unsigned int DualChannelSerializer::ReadLong(long& value) { return readChannel_->ReadLong(value); }
unsigned int DualChannelSerializer::WriteLong(long value) { return writeChannel_->WriteLong(value); }
unsigned int DualChannelSerializer::ReadInt64(std::uint64_t& value) { return readChannel_->ReadInt64(value); }
unsigned int DualChannelSerializer::ReadInt64(std::int64_t& value) { return readChannel_->ReadInt64(value); }
unsigned int DualChannelSerializer::WriteInt64(std::int64_t value) {
    return writeChannel_->WriteInt64(value);
}
unsigned int DualChannelSerializer::ReadFloat(float& value) { return readChannel_->ReadFloat(value); }
unsigned int DualChannelSerializer::WriteFloat(float value) { return writeChannel_->WriteFloat(value); }
unsigned int DualChannelSerializer::ReadDouble(double& value) { return readChannel_->ReadDouble(value); }
unsigned int DualChannelSerializer::WriteDouble(double value) { return writeChannel_->WriteDouble(value); }

unsigned int DualChannelSerializer::ReadBuffer(unsigned int count, std::shared_ptr<ACE_Message_Block>& out) {
    return readChannel_->ReadBuffer(count, out);
}

unsigned int DualChannelSerializer::ReadBuffer(std::shared_ptr<ACE_Message_Block>& out) {
    return readChannel_->ReadBuffer(out);
}

unsigned int DualChannelSerializer::WriteBuffer(void* data, unsigned int count) {
    return writeChannel_->WriteBuffer(data, count);
}

unsigned int DualChannelSerializer::WriteBuffer(unsigned int count,
                                                std::shared_ptr<ACE_Message_Block>& block) {
    const detail::ReadablePart part = detail::GetReadablePart(block.get());
    return writeChannel_->WriteBuffer(part.data, std::min(count, part.size));
}

unsigned int DualChannelSerializer::WriteBuffer(std::shared_ptr<ACE_Message_Block>& block) {
    const detail::ReadablePart part = detail::GetReadablePart(block.get());
    return writeChannel_->WriteBuffer(part.data, part.size);
}

void DualChannelSerializer::GetReadChannel(std::shared_ptr<ISerializer>& out) { out = readChannel_; }

void DualChannelSerializer::GetWriteChannel(std::shared_ptr<ISerializer>& out) { out = writeChannel_; }

}  // namespace WindowsAgentCommon
