#include "WindowsAgentCommon/DualChannelSerializer.h"

#include "WindowsAgentCommon/MemoryBufferSerializer.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

using namespace WindowsAgentCommon;

namespace {

struct Channels {
    std::shared_ptr<MemoryBufferSerializer> reads = std::make_shared<MemoryBufferSerializer>(64, 8);
    std::shared_ptr<MemoryBufferSerializer> writes = std::make_shared<MemoryBufferSerializer>(64, 8);
    std::shared_ptr<ISerializer> read = reads, write = writes;
    DualChannelSerializer dual{read, write};
};

template <class Value>
void ExpectRead(ISerializer& serializer, unsigned int (ISerializer::*read)(Value&), Value expected) {
    Value value{};
    EXPECT_EQ(sizeof(Value), (serializer.*read)(value));
    EXPECT_EQ(expected, value);
}

}  // namespace

TEST(DualChannelSerializer, WritesEveryKindToOneChannelAndReadsItFromTheOther) {
    Channels c;
    auto block = std::make_shared<ACE_Message_Block>(8);
    block->copy("wxyz", 4);
    block->rd_ptr(1);
    char bytes[] = "ab";
    EXPECT_EQ(1U, c.dual.WriteByte(0x81));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(2U, c.dual.WriteShort(-2));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(4U, c.dual.WriteLong(-3));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(8U, c.dual.WriteInt64(-4));
    EXPECT_EQ(12U, c.dual.WriteFloat(-0.5F) + c.dual.WriteDouble(1e300));
    EXPECT_EQ(7U, c.dual.WriteBuffer(bytes, 2) + c.dual.WriteBuffer(2, block) + c.dual.WriteBuffer(block));
    block.reset();
    EXPECT_EQ(0U, c.dual.WriteBuffer(block) + c.dual.WriteBuffer(3, block));
    EXPECT_EQ(56U, c.writes->GetCursor());
    EXPECT_EQ(0U, c.reads->GetCursor());

    c.writes->Seek(0, ISerializer::FromStart, ISerializer::Forward);
    DualChannelSerializer other(c.write, c.read);
    ExpectRead<unsigned char>(other, &ISerializer::ReadByte, 0x81);
    ExpectRead<unsigned short>(other, &ISerializer::ReadShort, 0xFFFE);
    ExpectRead<short>(other, &ISerializer::ReadShort, -2);
    ExpectRead<unsigned int>(other, &ISerializer::ReadLong, 0xFFFFFFFD);
    ExpectRead<int>(other, &ISerializer::ReadLong, -3);
    ExpectRead<unsigned long>(other, &ISerializer::ReadLong, 0xFFFFFFFD);
    ExpectRead<long>(other, &ISerializer::ReadLong, -3);
    ExpectRead<std::uint64_t>(other, &ISerializer::ReadInt64, 0xFFFFFFFFFFFFFFFC);
    ExpectRead<std::int64_t>(other, &ISerializer::ReadInt64, -4);
    ExpectRead<float>(other, &ISerializer::ReadFloat, -0.5F);
    ExpectRead<double>(other, &ISerializer::ReadDouble, 1e300);
    EXPECT_EQ(3U, other.ReadBuffer(3, block));
    EXPECT_EQ("abx", std::string(block->rd_ptr(), 3));
    EXPECT_EQ(4U, other.ReadBuffer(block));
    EXPECT_EQ("yxyz", std::string(block->rd_ptr(), 4));
    EXPECT_EQ(0U, c.reads->GetCursor());
}

TEST(DualChannelSerializer, HasNoCursorThoughItsChannelsHave) {
    Channels c;
    for (const auto type : {ISerializer::FromStart, ISerializer::FromEnd, ISerializer::FromCurrent})
        EXPECT_EQ(0U, c.dual.Seek(5, type, ISerializer::Forward) + c.dual.Skip(5));
    EXPECT_EQ(0U, c.reads->GetCursor() + c.writes->GetCursor());
    EXPECT_FALSE(c.dual.CanSeek() || c.dual.IsReadOnly());
}

TEST(DualChannelSerializer, SharesItsChannelsWithCopiesAndCallers) {
    Channels c;
    DualChannelSerializer both(c.write, c.write);
    both.WriteLong(7);
    ExpectRead<short>(both, &ISerializer::ReadShort, 0);  // behind the written bytes
    both = c.dual;
    std::shared_ptr<ISerializer> read, write;
    both.GetReadChannel(read);
    DualChannelSerializer(both).GetWriteChannel(write);
    EXPECT_EQ(c.reads, read);
    EXPECT_EQ(c.writes, write);
}
