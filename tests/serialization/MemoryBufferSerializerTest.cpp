#include "WindowsAgentCommon/MemoryBufferSerializer.h"

#include "WindowsAgentCommon/KORException.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "tests/support/GuardedHeap.h"

using namespace WindowsAgentCommon;
using test::GuardedBuffer;
using test::GuardedHeap;

namespace {

using BlockPtr = std::shared_ptr<ACE_Message_Block>;
constexpr unsigned int kMax = std::numeric_limits<unsigned int>::max();

std::string Written(const MemoryBufferSerializer& buffer) {
    return std::string(reinterpret_cast<const char*>(buffer.GetCurrentBufferAddress()),
                       buffer.GetEditPoint());
}

std::string Text(const BlockPtr& block) { return std::string(block->rd_ptr(), block->length()); }

}  // namespace

// That every overload reads its own kind back is in the tests of DualChannelSerializer.
TEST(MemoryBufferSerializer, WritesEveryKindOfValueLittleEndian) {
    MemoryBufferSerializer buffer(1, 3);
    ISerializer& serializer = buffer;
    EXPECT_EQ(1U, serializer.WriteByte(0xFE));
    EXPECT_EQ(2U, serializer.WriteShort(-2));
    EXPECT_EQ(4U, serializer.WriteLong(0x01020304));
    EXPECT_EQ(8U, serializer.WriteInt64(-0x0102030405060708));
    EXPECT_EQ(4U, serializer.WriteFloat(1.5F));
    EXPECT_EQ(8U, serializer.WriteDouble(-0.0));
    const std::string expected(
        "\xFE\xFE\xFF\x04\x03\x02\x01\xF8\xF8\xF9\xFA\xFB\xFC\xFD\xFE\0\0\xC0\x3F"
        "\0\0\0\0\0\0\0\x80",
        27);
    EXPECT_EQ(expected, Written(buffer));
}

TEST(MemoryBufferSerializer, GrowsByWholeIncrementsCountedFromTheWriteOrRefuses) {
    const struct {
        unsigned int initialSize, growBy, before, count, written, capacity;
    } rows[] = {
        {4, 10, 0, 4, 4, 4},       {4, 10, 0, 6, 6, 14},        {4, 10, 0, 10, 10, 24},
        {4, 10, 4, 1, 1, 14},      {0, 1, 0, 1, 1, 2},          {16, 16, 16, 0, 0, 16},
        {4, 0, 0, 4, 4, 4},        {4, 0, 0, 5, 0, 4},          {0, kMax, 0, 1, 0, 0},
        {4, kMax, 0, 5, 0, 4},     {8, 1, 0, kMax, 0, 8},       {8, 1, 8, kMax - 8, 0, 8},
        {8, kMax, 1, kMax, 0, 8},  {8, 0x80000000, 4, 5, 0, 8}, {8, 16, 4, kMax - 3, 0, 8},
        {8, 1, 0, kMax - 9, 0, 8},  // fits 32 bits, but not the memory of this test
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.initialSize << "+" << row.growBy << ": " << row.count);
        const GuardedHeap heap;
        MemoryBufferSerializer buffer(row.initialSize, row.growBy);
        ::SetLastError(0);
        char bytes[16] = "0123456789abcde";
        EXPECT_EQ(row.before, buffer.WriteBuffer(bytes, row.before));
        EXPECT_EQ(row.written, buffer.WriteBuffer(bytes, row.count));
        EXPECT_EQ(row.capacity, buffer.GetCurrentBufferSize());
        EXPECT_EQ(row.before + row.written, buffer.GetCursor());
        EXPECT_EQ(std::string(bytes, row.before) + std::string(bytes, row.written), Written(buffer));
        const bool refused = row.written < row.count && row.growBy != 0;
        EXPECT_EQ(refused ? ERROR_NOT_ENOUGH_MEMORY : 0, buffer.GetLastErrorCode());
    }
    EXPECT_THROW(MemoryBufferSerializer(kMax, 1), std::bad_alloc);
}

TEST(MemoryBufferSerializer, ReadsUpToTheCapacityAndNotAByteFurther) {
    const GuardedHeap heap;
    MemoryBufferSerializer buffer(8, 3);
    buffer.WriteInt64(-1);
    buffer.WriteByte(7);
    std::int64_t number = 5;
    EXPECT_EQ(0U, buffer.ReadInt64(number));
    EXPECT_EQ(5, number);
    EXPECT_EQ(9U, buffer.GetCursor());
    short unwritten = -1;
    EXPECT_EQ(2U, buffer.ReadShort(unwritten));
    EXPECT_EQ(0, unwritten);
    EXPECT_EQ(0U, buffer.ReadShort(unwritten));
    unsigned char byte = 9;
    EXPECT_EQ(0U, buffer.ReadByte(byte));
    EXPECT_EQ(0, byte);  // overwritten, unlike the others
    EXPECT_EQ(0U, buffer.Skip(kMax));
    EXPECT_EQ(9U, buffer.GetEditPoint());
}

TEST(MemoryBufferSerializer, SeeksWithinTheStorageOrThrowsTheCasesLine) {
    using S = ISerializer;
    const auto otherType = static_cast<S::OffsetType_t>(-4), hugeType = static_cast<S::OffsetType_t>(999);
    const auto otherWay = static_cast<S::OffsetDirection_t>(-1);
    const struct {
        unsigned int offset;
        S::OffsetType_t type;
        S::OffsetDirection_t direction;
        unsigned int cursor;
        int line;
    } rows[] = {
        {8, S::FromStart, S::Forward, 8, 0},        {9, S::FromStart, S::Forward, 3, 111},
        {0, S::FromEnd, S::Forward, 3, 0},          {1, S::FromEnd, S::Forward, 3, 117},
        {5, S::FromCurrent, S::Forward, 8, 0},      {6, S::FromCurrent, S::Forward, 3, 122},
        {kMax, S::FromCurrent, S::Forward, 3, 122}, {kMax - 2, S::FromCurrent, S::Forward, 3, 122},
        {0, S::FromStart, S::Backward, 3, 0},       {1, S::FromStart, S::Backward, 3, 133},
        {3, S::FromEnd, S::Backward, 5, 0},         {9, S::FromEnd, S::Backward, 3, 138},
        {3, S::FromCurrent, S::Backward, 0, 0},     {4, S::FromCurrent, S::Backward, 3, 144},
        {kMax, S::FromEnd, S::Backward, 3, 138},    {3, S::FromEnd, otherWay, 5, 0},
        {kMax, otherType, S::Forward, 3, 0},        {kMax, hugeType, S::Backward, 3, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.offset << " by " << row.type << "," << row.direction);
        MemoryBufferSerializer buffer(8, 8);
        buffer.Skip(3);
        try {
            EXPECT_EQ(row.offset, buffer.Seek(row.offset, row.type, row.direction));
            EXPECT_EQ(0, row.line);
        } catch (const SeekException& failure) {
            EXPECT_EQ(row.line, failure.GetLine());
            EXPECT_EQ("MemoryBufferSerializer", failure.GetFile());
            EXPECT_EQ("WindowsAgentCommon::MemoryBufferSerializer::Seek", failure.GetFunction());
        }
        EXPECT_EQ(row.cursor, buffer.GetCursor());
        EXPECT_EQ(0U, buffer.GetEditPoint());
    }
}

TEST(MemoryBufferSerializer, ReadsBlocksOfWhatIsThere) {
    const GuardedHeap heap;
    MemoryBufferSerializer buffer(4, 10);
    char bytes[] = "abcdef";
    buffer.WriteBuffer(bytes, 6);
    buffer.Seek(0, ISerializer::FromStart, ISerializer::Forward);
    BlockPtr block;
    EXPECT_EQ(6U, buffer.ReadBuffer(block));
    EXPECT_EQ("abcdef", Text(block));
    EXPECT_EQ(0U, buffer.ReadBuffer(block));
    EXPECT_FALSE(block);
    EXPECT_EQ(8U, buffer.ReadBuffer(kMax, block));
    EXPECT_EQ(std::string(8, '\0'), Text(block));
    EXPECT_EQ(0U, buffer.ReadBuffer(block));  // past the edit point: the block stays
    EXPECT_TRUE(block);
    EXPECT_EQ(0U, buffer.ReadBuffer(1, block));
    EXPECT_FALSE(block);
}

TEST(MemoryBufferSerializer, WritesTheReadablePartOfABlockWhateverItsPositionsSay) {
    const struct {
        const char* name;
        std::size_t readAt, writeAt;
        unsigned int count;
        const char* expected;
    } rows[] = {
        {"whole", 0, 6, 6, "abcdef"},          {"part", 2, 6, 3, "cde"},
        {"count too large", 4, 6, kMax, "ef"}, {"empty", 3, 3, 5, ""},
        {"read after write", 4, 2, 5, ""},     {"write past the end", 0, 7, 7, ""},
        {"both past the end", 7, 9, 2, ""},    {"far out", 2, kMax, kMax, ""},
        {"both far out", kMax, kMax, 1, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const GuardedBuffer bytes("abcdef", 6);
        const auto block = std::make_shared<ACE_Message_Block>(bytes.Data(), 6);
        block->rd_ptr(row.readAt);
        block->wr_ptr(row.writeAt);
        BlockPtr argument = block;
        MemoryBufferSerializer counted(0, 8), whole(0, 8);
        const unsigned int length = static_cast<unsigned int>(std::strlen(row.expected));
        EXPECT_EQ(length, counted.WriteBuffer(row.count, argument));
        EXPECT_EQ(row.expected, Written(counted));
        EXPECT_EQ(row.name == std::string("part") ? 4U : length, whole.WriteBuffer(argument));
        EXPECT_TRUE(row.writeAt > 6 || block->rd_ptr() == bytes.Data() + row.readAt);
    }
    BlockPtr none;
    MemoryBufferSerializer buffer;
    EXPECT_EQ(0U, buffer.WriteBuffer(none) + buffer.WriteBuffer(5, none) + buffer.WriteBuffer(nullptr, 5));
    EXPECT_EQ(0U, buffer.GetEditPoint());
}

TEST(MemoryBufferSerializer, CopiesItsOwnBytesThoughTheyMove) {
    const GuardedHeap heap;
    MemoryBufferSerializer buffer(6, 1);
    for (const char byte : {'a', 'b', 'c', 'd', 'e', 'f'}) buffer.WriteByte(static_cast<unsigned char>(byte));
    EXPECT_EQ(4U, buffer.WriteBuffer(buffer.GetCurrentBufferAddress() + 2, 4));
    EXPECT_EQ("abcdefcdef", Written(buffer));
}

TEST(MemoryBufferSerializer, CopiesAreViewsOfOneStorageThatTheLastReleases) {
    for (const bool originalFirst : {true, false}) {
        const GuardedHeap heap;
        std::optional<MemoryBufferSerializer> original(std::in_place, 4, 4), copy;
        original->WriteLong(1);
        copy = *original;
        MemoryBufferSerializer assigned(1, 1);
        assigned = *original;
        assigned = assigned;
        EXPECT_EQ(1U, GuardedHeap::Blocks());
        original->WriteLong(2);  // moves the storage
        EXPECT_EQ(12U, original->GetCurrentBufferSize());
        EXPECT_EQ(4U, copy->GetCurrentBufferSize());
        EXPECT_EQ(4U, copy->GetCursor());
        EXPECT_EQ(original->GetCurrentBufferAddress(), copy->GetCurrentBufferAddress());
        long number = 0;
        EXPECT_EQ(0U, copy->ReadLong(number));  // its capacity is its own
        EXPECT_EQ(2U, copy->WriteShort(3));     // grows within what the other made
        (originalFirst ? original : copy).reset();
        MemoryBufferSerializer& last = originalFirst ? *copy : *original;
        last.Seek(4, ISerializer::FromStart, ISerializer::Forward);
        EXPECT_EQ(4U, last.ReadLong(number));
        EXPECT_EQ(3, number);
        EXPECT_EQ(1U, GuardedHeap::Blocks());
        original.reset();
        copy.reset();
        EXPECT_EQ(4U, assigned.GetEditPoint());
        EXPECT_EQ(1, *assigned.GetCurrentBufferAddress());
    }
}
