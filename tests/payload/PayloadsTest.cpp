#include "WindowsAgentCommon/Payloads.h"

#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PayloadMappings.h"
#include "tests/payload/PayloadServices.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/Thread.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <climits>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;
using namespace std::string_literals;

namespace {

struct Release {
    void operator()(ACE_Message_Block* block) const { block->release(); }
};
using Chain = std::unique_ptr<ACE_Message_Block, Release>;
using Fields = std::vector<std::tuple<unsigned int, PayloadField, unsigned int>>;  // id, field, flags

Fields FieldsOf(const IPayload& payload) {
    struct : IPayloadVisitor {
        void Visit(unsigned int id, const PayloadField& field, unsigned int flags) override {
            fields.emplace_back(id, field, flags);
        }
        Fields fields;
    } recorder;
    payload.Accept(recorder);
    return recorder.fields;
}

// Megabytes; clang-tidy would take a constant in their place for a slip.
std::string Ys(std::size_t count) { return std::string(count, 'y'); }

PayloadField Integer(std::int64_t value) { return {7, value}; }

/// What both versions of the format must do.
struct Payloads : testing::TestWithParam<int> {
    Payloads() {
        if (GetParam() == 1) mapping = std::make_unique<PayloadMappingv1>();
        mapping->CreatePayload(payload);
    }
    std::shared_ptr<IPayload> Read(const ACE_Message_Block* chain) const {
        std::shared_ptr<IPayload> read;
        mapping->CreatePayload(read);
        const bool isRead = mapping->ReadPayload(chain, read);
        EXPECT_EQ(isRead, read != nullptr);
        return read;
    }
    /// The id of the first field; 0 where the bytes are refused.
    unsigned int FirstId(const std::string& bytes) const {
        const GuardedBuffer guarded{std::string_view(bytes)};
        const Chain block(new ACE_Message_Block(guarded.Data(), bytes.size()));
        block->wr_ptr(bytes.size());
        const auto read = Read(block.get());
        return read ? std::get<0>(FieldsOf(*read).at(0)) : 0;
    }

    std::unique_ptr<IPayloadMapping> mapping = std::make_unique<PayloadMappingv2>();
    std::shared_ptr<IPayload> payload;
};
INSTANTIATE_TEST_SUITE_P(Version, Payloads, testing::Values(1, 2));

// "src" = "10.0.0.1" (type 1) and "sev" = 5 (type 7): the example of docs/formats, key texts given.
std::string Example(int version) {
    const std::string first = version == 1 ? "src:1" : "", second = version == 1 ? "sev:7" : "";
    const auto key = [](const std::string& text) {
        return std::string{static_cast<char>(text.size()), 0} + text;
    };
    return std::string{'C', 'P', static_cast<char>(version), 0, 2, 0, 0, 0} +
           "\1\0\0\0\0\0\0\0\x6B\xF9\xE4\x50\x08\0\0\0\0\0"s + key(first) + "10.0.0.1" +
           "\7\0\0\0\0\0\0\0\x6A\x11\x7F\x50\x08\0\0\0\2\0"s + key(second) + "\5\0\0\0\0\0\0\0"s;
}

}  // namespace

TEST_P(Payloads, HandOutWhatWasAddedAlsoWhenTheirBlocksAreRead) {
    const Fields each = {// every alternative, values that do not fit into one block, and empty ones
                         {1, {1, "a\0b"s}, 2},
                         {2, {LLONG_MIN, std::wstring(L"\x20AC\xD800")}, 255},
                         {3, {7, std::int64_t{LLONG_MIN}}, 0},
                         {0xFFFFFFFF, {8, -0.5}, 0},
                         {5, {4, true}, 0},
                         {6, {10, ACE_Time_Value(INT_MIN + 1, -999999)}, 0},
                         {7, {2, 0xFFFFFFFFU}, 0},
                         {8, {1, std::string(5000, 'x')}, 0},
                         {9, {3, std::wstring()}, 0},
                         {10, {1, Ys(0xFFFFFF)}, 0}};
    EXPECT_TRUE(payload->GetMessageBlock() == nullptr && payload->GetSize() == 0);
    for (int round = 0; round < 2; ++round) {  // a cleared payload is as new
        for (const auto& [id, field, flags] : each) payload->AddField(id, field, flags);
        EXPECT_TRUE(FieldsOf(*payload) == each);
        const auto read = Read(payload->GetMessageBlock());
        ASSERT_TRUE(read);
        EXPECT_TRUE(FieldsOf(*read) == each);
        EXPECT_EQ(each.size(), read->GetFieldCount());
        EXPECT_TRUE(read->GetSize() == payload->GetSize() && payload->GetSize() > 0xFFFFFF);
        EXPECT_EQ(payload->GetSize(), payload->GetMessageBlock()->total_length());
        payload->Clear();
        EXPECT_TRUE(FieldsOf(*payload).empty() && payload->GetFieldCount() == 0);
    }
    EXPECT_THROW(payload->AddField(1, {1, Ys(0x1000000)}, 0), OperationNotSupportedException);
    EXPECT_THROW(payload->AddField(1, {1, 1.5}, 256), OperationNotSupportedException);
    EXPECT_EQ(nullptr, payload->GetMessageBlock());
}

TEST_P(Payloads, ThatShareBlocksNeverSeeWhatTheOtherAdds) {
    payload->AddField(1, Integer(1), 0);
    const Chain shared(payload->GetMessageBlock()->duplicate());
    const auto clone = payload->Clone();
    EXPECT_EQ(payload->GetMessageBlock()->base(), clone->GetMessageBlock()->base());
    payload->AddField(2, Integer(2), 0);
    clone->AddField(3, Integer(3), 0);
    const Fields second = {{1, Integer(1), 0}, {3, Integer(3), 0}};
    EXPECT_TRUE(FieldsOf(*payload) == (Fields{{1, Integer(1), 0}, {2, Integer(2), 0}}));
    EXPECT_TRUE(FieldsOf(*clone) == second);
    const auto original = Read(shared.get());
    payload->Clear();
    payload->AddField(4, Integer(4), 0);
    EXPECT_TRUE(FieldsOf(*clone) == second);
    EXPECT_TRUE(FieldsOf(*original) == (Fields{{1, Integer(1), 0}}));
}

TEST_P(Payloads, ThatShareBlocksMayBeUsedByDifferentThreads) {
    payload->AddField(1, {1, std::string(100, 'x')}, 0);
    const auto work = [](std::shared_ptr<IPayload> mine) {
        for (std::int64_t i = 0; i < 2000; ++i) {
            mine = mine->Clone();
            if (i % 50 == 0) mine->AddField(2, Integer(i), 0);
        }
        EXPECT_EQ(41U, FieldsOf(*mine).size());
    };
    const Thread one([&, mine = payload->Clone()] { work(mine); });
    const Thread two([&, mine = payload->Clone()] { work(mine); });
    payload.reset();
}

TEST_P(Payloads, AreReadFromWholeBlocksOfTheirFormatOnly) {
    const std::string good = Example(GetParam());
    EXPECT_TRUE(FirstId(good) != 0 && FirstId(good + good) != 0);  // blocks may be joined
    for (std::size_t size = 0; size < good.size(); ++size)
        EXPECT_EQ(FirstId(good.substr(0, size)), 0U) << size;
    const std::tuple<const char*, std::size_t, std::string> damages[] = {
        {"mark", 0, "X"},
        {"other version", 2, std::string(1, static_cast<char>(3 - GetParam()))},
        {"unknown version", 2, "\3"},
        {"more fields than there are", 4, "\3"},
        {"fewer fields", 4, "\1"},
        {"value longer than the block", 20, "\xFF\xFF\xFF\xFF"},
        {"value up to 2^32 with the key", 20, "\xFB\xFF\xFF\xFF"},
        {"value one byte too long", 20, "\x31"},
        {"unknown kind", 24, "\7"},
        {"integer of 8 bytes called unsigned", 24, "\6"},
        {"key longer than the block", 26, "\xFF\xFF"}};
    for (const auto& [what, at, bytes] : damages)
        EXPECT_EQ(FirstId(std::string(good).replace(at, bytes.size(), bytes)), 0U) << what;
    EXPECT_EQ(FirstId(Example(3 - GetParam())), 0U);
    EXPECT_FALSE(Read(nullptr));
    const std::tuple<char, std::string, bool> values[] = {
        {'\1', "\xAC\x20", true},
        {'\1', "\xAC", false},
        {'\4', "\1", true},
        {'\4', "\2", false},
        {'\5', "\0\0\0\x80\xFF\xFF\xFF\xFF\xC1\xBD\xF0\xFF"s, true},
        {'\5', "\0\0\0\0\1\0\0\0\0\0\0\0"s, false},
        {'\5', "\0\0\0\0\0\0\0\0\x40\x42\x0F\0"s, false}};
    for (const auto& [kind, bytes, isGood] : values) {
        std::string field(20, '\0');
        field[12] = static_cast<char>(bytes.size());
        field[16] = kind;
        EXPECT_EQ(isGood, FirstId(std::string(good).replace(4, 1, "\3") + field + bytes) != 0) << +kind;
    }
}

TEST_P(Payloads, AreWrittenAsDocumentedAndVersion1BringsItsNames) {
    const PayloadServices services;
    unsigned int id = 0;
    const bool isKnown = services.factory.FindField("src", 1, id);  // by a test before this one
    EXPECT_EQ(0x50E4F96B, FirstId(Example(GetParam())));
    EXPECT_EQ(services.factory.FindField("src", 1, id), isKnown || GetParam() == 1);
    std::shared_ptr<IPayloadProfile> profile;
    services.factory.CreatePayloadProfile(profile);
    profile->AddField("src", 1);
    profile->AddField("sev", 7);
    EXPECT_TRUE(payload->AddField(*profile, "src", "10.0.0.1"s));
    EXPECT_FALSE(payload->AddField(*profile, "dst", "10.0.0.1"s));
    payload->AddField(0x507F116A, Integer(5), 0);
    const ACE_Message_Block* const written = payload->GetMessageBlock();
    EXPECT_EQ(Example(GetParam()), std::string(written->rd_ptr(), written->length()));
}
