#include "WindowsAgentCommon/DualChannelSerializer.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/MemoryBufferSerializer.h"
#include "WindowsAgentCommon/MessageBlocks.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include "tests/support/GuardedHeap.h"

using namespace WindowsAgentCommon;
using test::GuardedHeap;

namespace {

using S = ISerializer;
using BlockPtr = std::shared_ptr<ACE_Message_Block>;
constexpr unsigned int kMax = std::numeric_limits<unsigned int>::max();

std::string Written(const MemoryBufferSerializer& buffer) {
    return std::string(reinterpret_cast<char*>(buffer.GetCurrentBufferAddress()), buffer.GetEditPoint());
}

std::string BytesOf(const BlockPtr& block) { return std::string(block->rd_ptr(), block->length()); }

template <class Value>
void ExpectRead(S& serializer, unsigned int (S::*read)(Value&), Value expected) {
    Value value{};
    EXPECT_EQ(sizeof(Value), (serializer.*read)(value));
    EXPECT_EQ(expected, value);
}

TEST(Serializer, DualWritesEveryKindLittleEndianToOneChannelAndReadsItFromTheOther) {
    const auto reads = std::make_shared<MemoryBufferSerializer>(1, 3);
    const auto writes = std::make_shared<MemoryBufferSerializer>(1, 3);
    std::shared_ptr<S> read = reads, write = writes;
    DualChannelSerializer dual(read, write), other(write, read);
    auto block = std::make_shared<ACE_Message_Block>(8);
    block->copy("wxyz", 4);
    block->rd_ptr(1);
    char bytes[] = "ab";
    EXPECT_EQ(1U, dual.WriteByte(0xFE));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(2U, dual.WriteShort(-2));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(4U, dual.WriteLong(-0x01020304));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(8U, dual.WriteInt64(-0x0102030405060708));
    EXPECT_EQ(12U, dual.WriteFloat(1.5F) + dual.WriteDouble(-0.0));
    EXPECT_EQ(7U, dual.WriteBuffer(bytes, 2) + dual.WriteBuffer(2, block) + dual.WriteBuffer(block));
    block.reset();
    EXPECT_EQ(0U, dual.WriteBuffer(block) + dual.WriteBuffer(3, block));
    std::string expected("\xFE\xFE\xFF\xFE\xFF");
    for (int i = 0; i < 4; ++i) expected += "\xFC\xFC\xFD\xFE";
    for (int i = 0; i < 2; ++i) expected += "\xF8\xF8\xF9\xFA\xFB\xFC\xFD\xFE";
    expected += std::string("\0\0\xC0\x3F\0\0\0\0\0\0\0\x80", 12) + "abxyxyz";
    EXPECT_EQ(expected, Written(*writes));

    // It has no cursor, though its channels have.
    EXPECT_EQ(0U, dual.Seek(5, S::FromStart, S::Forward) + dual.Skip(5) + reads->GetCursor());
    EXPECT_FALSE(dual.CanSeek() || dual.IsReadOnly());
    EXPECT_EQ(56U, writes->GetCursor());
    writes->Seek(0, S::FromStart, S::Forward);
    ExpectRead<unsigned char>(other, &S::ReadByte, 0xFE);
    ExpectRead<unsigned short>(other, &S::ReadShort, 0xFFFE);
    ExpectRead<short>(other, &S::ReadShort, -2);
    ExpectRead<unsigned int>(other, &S::ReadLong, 0xFEFDFCFC);
    ExpectRead<int>(other, &S::ReadLong, -0x01020304);
    ExpectRead<unsigned long>(other, &S::ReadLong, 0xFEFDFCFC);
    ExpectRead<long>(other, &S::ReadLong, -0x01020304);
    ExpectRead<std::uint64_t>(other, &S::ReadInt64, 0xFEFDFCFBFAF9F8F8);
    ExpectRead<std::int64_t>(other, &S::ReadInt64, -0x0102030405060708);
    ExpectRead<float>(other, &S::ReadFloat, 1.5F);
    ExpectRead<double>(other, &S::ReadDouble, -0.0);
    EXPECT_EQ(3U, other.ReadBuffer(3, block));
    EXPECT_EQ("abx", BytesOf(block));
    EXPECT_EQ(4U, other.ReadBuffer(block));
    EXPECT_EQ(0U, reads->GetCursor());
    other = dual;
    other.GetReadChannel(write);
    DualChannelSerializer(other).GetWriteChannel(read);
    EXPECT_TRUE(read == writes && write == reads);
}

TEST(Serializer, MemoryGrowsByWholeIncrementsCountedFromTheWriteOrRefuses) {
    const unsigned int rows[][6] = {
        {4, 10, 0, 4, 4, 4},        {4, 10, 0, 6, 6, 14},      {4, 10, 0, 10, 10, 24},
        {4, 10, 4, 1, 1, 14},       {0, 1, 0, 1, 1, 2},        {16, 16, 16, 0, 0, 16},
        {4, 0, 0, 4, 4, 4},         {4, 0, 0, 5, 0, 4},        {0, kMax, 0, 1, 0, 0},
        {8, 1, 0, kMax, 0, 8},      {8, 1, 8, kMax - 8, 0, 8}, {8, 0x80000000, 4, 5, 0, 8},
        {8, 16, 4, kMax - 3, 0, 8}, {8, 1, 0, kMax - 9, 0, 8},  // the last lacks memory alone
    };
    for (const auto& [initialSize, growBy, before, count, written, capacity] : rows) {
        SCOPED_TRACE(testing::Message() << initialSize << "+" << growBy << ": " << count);
        const GuardedHeap heap;
        MemoryBufferSerializer buffer(initialSize, growBy);
        ::SetLastError(0);
        char bytes[16] = "0123456789abcde";
        EXPECT_EQ(before, buffer.WriteBuffer(bytes, before));
        EXPECT_EQ(written, buffer.WriteBuffer(bytes, count));
        EXPECT_EQ(capacity, buffer.GetCurrentBufferSize());
        EXPECT_EQ(before + written, buffer.GetCursor());
        EXPECT_EQ(std::string(bytes, before) + std::string(bytes, written), Written(buffer));
        const bool refused = written < count && growBy != 0;
        EXPECT_EQ(refused ? ERROR_NOT_ENOUGH_MEMORY : 0, buffer.GetLastErrorCode());
    }
    EXPECT_THROW(MemoryBufferSerializer(kMax, 1), std::bad_alloc);
}

TEST(Serializer, MemoryIsReadUpToTheCapacityAndNotAByteFurther) {
    const GuardedHeap heap;
    MemoryBufferSerializer buffer(4, 10);
    char bytes[] = "abcdef";
    buffer.WriteBuffer(bytes, 6);
    buffer.Seek(0, S::FromStart, S::Forward);
    BlockPtr block;
    EXPECT_EQ(6U, buffer.ReadBuffer(block));
    EXPECT_EQ("abcdef", BytesOf(block));
    EXPECT_EQ(0U, buffer.ReadBuffer(block));
    EXPECT_FALSE(block);
    std::int64_t number = 5;
    unsigned char byte = 9;
    EXPECT_EQ(1U, buffer.Skip(1));
    EXPECT_EQ(7U, buffer.ReadBuffer(kMax, block));
    EXPECT_EQ(std::string(7, '\0'), BytesOf(block));  // nobody wrote them
    EXPECT_EQ(0U,
              buffer.ReadBuffer(block) + buffer.ReadInt64(number) + buffer.ReadByte(byte) + buffer.Skip(9));
    EXPECT_TRUE(block && number == 5 && byte == 0);  // only the byte is overwritten
    EXPECT_EQ(0U, buffer.ReadBuffer(1, block));
    EXPECT_FALSE(block);
    EXPECT_EQ(6U, buffer.GetEditPoint());
}

TEST(Serializer, MemorySeeksWithinTheStorageOrThrowsTheCasesLine) {
    const auto otherType = static_cast<S::OffsetType_t>(-4);
    const auto otherWay = static_cast<S::OffsetDirection_t>(-1);
    const std::tuple<unsigned int, S::OffsetType_t, S::OffsetDirection_t, unsigned int, int> rows[] = {
        {8, S::FromStart, S::Forward, 8, 0},        {9, S::FromStart, S::Forward, 3, 111},
        {0, S::FromEnd, S::Forward, 3, 0},          {1, S::FromEnd, S::Forward, 3, 117},
        {5, S::FromCurrent, S::Forward, 8, 0},      {6, S::FromCurrent, S::Forward, 3, 122},
        {kMax, S::FromCurrent, S::Forward, 3, 122}, {kMax, S::FromEnd, S::Backward, 3, 138},
        {0, S::FromStart, S::Backward, 3, 0},       {1, S::FromStart, S::Backward, 3, 133},
        {3, S::FromEnd, S::Backward, 5, 0},         {9, S::FromEnd, S::Backward, 3, 138},
        {3, S::FromCurrent, S::Backward, 0, 0},     {4, S::FromCurrent, S::Backward, 3, 144},
        {kMax, otherType, S::Forward, 3, 0},        {3, S::FromEnd, otherWay, 5, 0},
    };
    for (const auto& [offset, type, direction, cursor, line] : rows) {
        SCOPED_TRACE(testing::Message() << offset << " by " << type << "," << direction);
        MemoryBufferSerializer buffer(8, 8);
        buffer.Skip(3);
        try {
            EXPECT_EQ(offset, buffer.Seek(offset, type, direction));
            EXPECT_EQ(0, line);
        } catch (const SeekException& failure) {
            EXPECT_EQ(line, failure.GetLine());
            EXPECT_EQ("MemoryBufferSerializer WindowsAgentCommon::MemoryBufferSerializer::Seek",
                      failure.GetFile() + " " + failure.GetFunction());
        }
        EXPECT_EQ(cursor, buffer.GetCursor());
    }
}

TEST(Serializer, MemoryTakesTheReadablePartOfABlock) {
    const std::tuple<std::size_t, std::size_t, unsigned int, std::string, std::string> rows[] = {
        {2, 6, 3, "cde", "cdef"}, {4, 6, kMax, "ef", "ef"}, {0, 7, 7, "", ""}};  // the last: beyond its end
    for (const auto& [readAt, writeAt, count, expected, all] : rows) {
        SCOPED_TRACE(testing::Message() << readAt << " to " << writeAt);
        const test::GuardedBuffer bytes("abcdef", 6);
        auto block = std::make_shared<ACE_Message_Block>(bytes.Data(), 6);
        block->rd_ptr(readAt);
        block->wr_ptr(writeAt);
        MemoryBufferSerializer counted(0, 8), whole(0, 8);
        EXPECT_EQ(expected.size(), counted.WriteBuffer(count, block));
        EXPECT_EQ(all.size(), whole.WriteBuffer(block));
        EXPECT_EQ(expected + "," + all, Written(counted) + "," + Written(whole));
    }
}

TEST(Serializer, MemoryViewsShareOneStorageThatTheLastReleases) {
    for (const bool originalFirst : {true, false}) {
        const GuardedHeap heap;
        std::optional<MemoryBufferSerializer> original(std::in_place, 4, 4), copy;
        original->WriteLong(1);
        copy = *original;
        EXPECT_EQ(4U,
                  original->WriteBuffer(original->GetCurrentBufferAddress(), 4));  // and moves the storage
        EXPECT_EQ(12U, original->GetCurrentBufferSize());
        long number = 0;
        EXPECT_EQ(0U, copy->ReadLong(number) + copy->WriteBuffer(nullptr, 5));  // its capacity is its own
        EXPECT_EQ(2U, copy->WriteShort(3));  // grows within what the other made
        (originalFirst ? original : copy).reset();
        MemoryBufferSerializer last(1, 1);
        last = originalFirst ? *copy : *original;
        last.Seek(0, S::FromStart, S::Forward);
        for (const long expected : {1, 3}) ExpectRead<long>(last, &S::ReadLong, expected);
        EXPECT_EQ(1U, GuardedHeap::Blocks());
    }
}

using Owner = std::unique_ptr<ACE_Message_Block, ACE_Message_Block* (*)(ACE_Message_Block*)>;

Owner Create(int size) {
    ACE_Message_Block* block = nullptr;
    CreateDataMessageBlock(size, block);
    return {block, ACE_Message_Block::release};
}

unsigned int TotalSize(ACE_Message_Block* chain) {
    MessageBlockChainSizeVisitor size;
    VisitContChain(chain, size);
    return size.GetTotalSize();
}

TEST(MessageBlocks, MeasuresAndEndsChains) {
    const std::tuple<std::vector<int>, int, unsigned int> rows[] = {
        {{}, -1, 0}, {{100}, 0, 100}, {{100, 50, 25}, 75, 175}, {std::vector<int>(2000, 1), 1999, 2000}};
    for (const auto& [sizes, behindHead, total] : rows) {
        Owner chain(nullptr, ACE_Message_Block::release);
        ACE_Message_Block* last = nullptr;
        for (const int size : sizes) {
            ACE_Message_Block* const block = Create(size).release();
            last == nullptr ? chain.reset(block) : last->cont(block);
            last = block;
        }
        EXPECT_EQ(total, TotalSize(chain.get()));
        EXPECT_EQ(behindHead, GetContChainSize(chain.get()));  // deliberately without the head
        EXPECT_EQ(last, GetContChainTail(chain.get()));
        EXPECT_TRUE(!chain || chain->reference_count() == 1);
    }
    char byte = 0;
    ACE_Message_Block head(&byte, 1), huge(&byte, INT_MAX), more(&byte, INT_MAX), most(&byte, 5);
    head.cont(&huge);
    huge.cont(&more);
    more.cont(&most);
    EXPECT_TRUE(TotalSize(&head) == UINT_MAX && GetContChainSize(&head) == INT_MAX);
}

TEST(MessageBlocks, CreatesDataBlocksThatShareOneLock) {
    const Owner first = Create(3), empty = Create(0);
    EXPECT_EQ(ACE_Message_Block::MB_DATA, first->msg_type());
    EXPECT_TRUE(first->size() == 3 && first->length() + empty->size() == 0 && first->cont() == nullptr);
    EXPECT_NE(nullptr, first->locking_strategy());
    EXPECT_EQ(first->locking_strategy(), empty->locking_strategy());
    EXPECT_EQ(ACE_Time_Value::max_time, first->msg_deadline_time());
    for (const int size : {-1, INT_MAX}) EXPECT_FALSE(Create(size)) << size;
}

}  // namespace
