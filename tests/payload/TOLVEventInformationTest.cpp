#include "WindowsAgentCommon/TOLVEventInformation.h"

#include "WindowsAgentCommon/KORException.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "tests/support/GuardedBuffer.h"

using namespace WindowsAgentCommon;
using namespace std::string_literals;

namespace {

constexpr auto Field(int number) { return static_cast<TOLVFieldName>(number); }

std::string Written(const TOLVEventInformation& record) {
    ACE_Message_Block block(record.GetSerializedSize());
    record.SerializeTo(&block);
    EXPECT_EQ(block.space(), 0U);
    return {block.rd_ptr(), block.length()};
}

// Reads bytes that end at an inaccessible page. Whether they were taken; a refusal must leave nothing.
bool Reads(const std::string& bytes, TOLVEventInformation& record) {
    const test::GuardedBuffer buffer{std::string_view(bytes)};
    ACE_Message_Block block(buffer.Data(), bytes.size());
    block.wr_ptr(bytes.size());
    record.SetSrc("old");
    record.SetVendor("old");
    try {
        record.SerializeFrom(&block);
        return block.rd_ptr() <= block.wr_ptr();
    } catch (const UnmarshalMemoryException&) {
        EXPECT_FALSE(record.IsFieldSet(TOLVFieldName::src));
        EXPECT_EQ(record.GetEventId() + ""s + record.GetVendor() + record.GetFieldDelimiter(), "");
        EXPECT_EQ(block.length(), bytes.size());
        return false;
    }
}

}  // namespace

TEST(TOLVEvent, EveryFieldHasItsKeyItsNumberAndItsOwnAccessors) {
    std::istringstream keys(
        "cat devTime devTimeFormat proto sev src dst srcPort dstPort srcPreNAT dstPreNAT srcPostNAT "
        "dstPostNAT usrName srcMAC dstMAC srcPreNATPORT dstPreNATPORT srcPostNATPORT dstPostNATPORT identSrc "
        "identHostName identNetBios identGrpName identMAC vSrc vSrcName accountName srcBytes dstBytes "
        "srcPackets dstPackets totalPackets role realm policy resource url groupID domain calLanguage "
        "calCountryOrRegion");
    std::string key;
    for (int number = 1; keys >> key; ++number)
        EXPECT_EQ(TOLVEventInformation::GetFieldNameText(Field(number)), key);
    for (const int number : {INT_MIN, -1, 0, 43, 50, INT_MAX})
        EXPECT_EQ(TOLVEventInformation::GetFieldNameText(Field(number)), nullptr) << number;
    TOLVEventInformation record;
    EXPECT_EQ(record.GetSrcPreNATPORT(), nullptr);
    record.SetSrcPreNATPORT("17");
    record.SetVSrcName("27");
    record.SetCalCountryOrRegion("42");
    EXPECT_TRUE(record.SetField(Field(17), "no"));  // deliberately true
    const TOLVEventInformation copy(record);
    record.SetEventId("later");
    for (const int number : {17, 27, 42}) EXPECT_EQ(copy.GetField(Field(number)), std::to_string(number));
    EXPECT_STREQ(copy.GetEventId(), "");
}

TEST(TOLVEvent, BytesAreTheDocumentedForm) {
    const std::string fresh =
        "\1\0\7\0\3\0\0\0"s
        "1.0\0\0\0\0\0\0\7\0\0\0Velmora\0\7\0\0\0Corvane\0\3\0\0\0"s
        "7.2\0\1\0\0\0|\0\1\0\0\0\t\0"s;
    TOLVEventInformation record, back;
    EXPECT_EQ(Written(record), fresh + "\0\0"s);
    record.SetField(Field(0xFFFF), "");
    record.SetField(Field(50), "b");
    record.SetDst("a\0lost"s);  // written up to the zero, and read again as that
    record.SetField(Field(0), "z");
    const std::string fields = "\0\0\1\0\0\0z\0\7\0\1\0\0\0a\0\x32\0\1\0\0\0b\0\xFF\xFF\0\0\0\0\0"s;
    EXPECT_EQ(Written(record), fresh + "\4\0"s + fields);
    EXPECT_TRUE(Reads(Written(record), back));
    EXPECT_EQ(Written(back), Written(record));
    EXPECT_FALSE(back.IsFieldSet(TOLVFieldName::src));  // of before

    std::string odd = fresh + "\2\0\6\0\1\0\0\0a!\6\0\1\0\0\0b!"s;  // one key twice, no terminators
    odd.replace(0, 4, "\xFF\xFF\0\0"s);                             // of no version, with no header texts
    ACE_Message_Block two(500);
    two.copy(odd.data(), odd.size());
    record.SerializeTo(&two);
    back.SerializeFrom(&two);
    EXPECT_STREQ(back.GetSrc(), "a");
    back.SerializeFrom(&two);
    EXPECT_TRUE(Written(back) == Written(record) && two.length() == 0);
}

TEST(TOLVEvent, BytesThatEndTooEarlyAreRefusedAndLeaveNothing) {
    TOLVEventInformation record, back;
    record.SetEventId("4624");
    record.SetSrc("10.0.0.1");
    record.SetUrl(std::string(300, 'u'));
    const std::string bytes = Written(record);
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(Reads(bytes.substr(0, size), back)) << size;
    EXPECT_THROW(back.SerializeFrom(nullptr), UnmarshalMemoryException);
}

TEST(TOLVEvent, WhatDoesNotFitIsNotWrittenAtAll) {
    const TOLVEventInformation record;
    for (const std::size_t missing : {record.GetSerializedSize(), std::size_t{1}}) {
        ACE_Message_Block block(record.GetSerializedSize() - missing);
        EXPECT_THROW(record.SerializeTo(&block), UnmarshalMemoryException);
        EXPECT_EQ(block.length(), 0U);
        block.wr_ptr(block.size() + 1);  // behind the end
        EXPECT_THROW(record.SerializeTo(&block), UnmarshalMemoryException);
    }
    EXPECT_THROW(record.SerializeTo(nullptr), UnmarshalMemoryException);
    ACE_Message_Block large(600'000);
    for (const int number : {INT_MIN, -1, 0x10000}) {
        TOLVEventInformation odd;
        EXPECT_TRUE(odd.SetField(Field(number), "x"));
        EXPECT_THROW(odd.SerializeTo(&large), UnmarshalMemoryException) << number;
    }
    TOLVEventInformation full;
    for (int number = 0xFFFF; number > 0; --number) full.SetField(Field(number), "");
    full.SerializeTo(&large);
    full.SetField(Field(0), "");
    large.reset();
    EXPECT_THROW(full.SerializeTo(&large), UnmarshalMemoryException);
    EXPECT_EQ(large.length(), 0U);
}
