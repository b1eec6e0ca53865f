#include "WindowsAgentCommon/Payloads.h"

#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PayloadMappings.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "tests/payload/PayloadServices.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/Thread.h"

#include <ace/Message_Block.h>
#include <gtest/gtest.h>

#include <climits>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

struct Release {
    void operator()(ACE_Message_Block* block) const { block->release(); }
};
using Chain = std::unique_ptr<ACE_Message_Block, Release>;

// Megabytes; clang-tidy would take a constant in their place for a slip.
std::string Ys(std::size_t count) { return std::string(count, 'y'); }

struct Version {
    std::unique_ptr<IPayloadMapping> mapping;
    std::shared_ptr<IPayload> Create() const {
        std::shared_ptr<IPayload> payload;
        mapping->CreatePayload(payload);
        return payload;
    }
    std::shared_ptr<IPayload> Read(const ACE_Message_Block* chain) const {
        std::shared_ptr<IPayload> payload = Create();
        const bool isRead = mapping->ReadPayload(chain, payload);
        EXPECT_EQ(isRead, payload != nullptr);
        return payload;
    }
};

std::vector<Version> Versions() {
    std::vector<Version> versions(2);
    versions[0].mapping = std::make_unique<PayloadMappingv1>();
    versions[1].mapping = std::make_unique<PayloadMappingv2>();
    return versions;
}

Chain BlockOf(char* bytes, std::size_t size) {
    Chain block(new ACE_Message_Block(bytes, size));
    block->wr_ptr(size);
    return block;
}

// Every alternative, values that do not fit into one block, and empty ones.
std::vector<Recorder::Visited> EachKind() {
    return {{1, {1, std::string("a\0b", 3)}, 2},
            {2, {LLONG_MIN, std::wstring(L"\x20AC\xD800")}, 255},
            {3, {7, std::int64_t{LLONG_MIN}}, 0},
            {0xFFFFFFFF, {8, -0.5}, 0},
            {5, {4, true}, 0},
            {6, {10, ACE_Time_Value(INT_MIN + 1, -999999)}, 0},
            {7, {2, 0xFFFFFFFFU}, 0},
            {8, {1, std::string(5000, 'x')}, 0},
            {9, {3, std::wstring()}, 0},
            {10, {1, Ys(0xFFFFFF)}, 0}};
}

// "src" = "10.0.0.1" (type 1) and "sev" = 5 (type 7): the example of docs/formats, key texts given.
std::string Example(unsigned char version) {
    const std::string first = version == 1 ? "src:1" : "", second = version == 1 ? "sev:7" : "";
    const auto key = [&](const std::string& text) { return std::string{static_cast<char>(text.size()), 0}; };
    return std::string{'C', 'P', static_cast<char>(version), 0, 2, 0, 0, 0} +
           std::string("\1\0\0\0\0\0\0\0\x6B\xF9\xE4\x50\x08\0\0\0\0\0", 18) + key(first) + first +
           "10.0.0.1" + std::string("\7\0\0\0\0\0\0\0\x6A\x11\x7F\x50\x08\0\0\0\2\0", 18) + key(second) +
           second + std::string("\5\0\0\0\0\0\0\0", 8);
}

}  // namespace

TEST(Payloads, HandOutWhatWasAddedAlsoWhenTheirBlocksAreRead) {
    for (const Version& version : Versions()) {
        const auto payload = version.Create();
        EXPECT_TRUE(payload->GetMessageBlock() == nullptr && payload->GetSize() == 0);
        for (int round = 0; round < 2; ++round) {  // a cleared payload is as new
            for (const auto& [id, field, flags] : EachKind()) payload->AddField(id, field, flags);
            EXPECT_EQ(EachKind(), Recorder::Fields(*payload));
            const auto read = version.Read(payload->GetMessageBlock());
            ASSERT_TRUE(read);
            EXPECT_EQ(EachKind(), Recorder::Fields(*read));
            EXPECT_EQ(EachKind().size(), read->GetFieldCount());
            EXPECT_TRUE(read->GetSize() == payload->GetSize() && payload->GetSize() > 0xFFFFFF);
            EXPECT_EQ(payload->GetSize(), payload->GetMessageBlock()->total_length());
            payload->Clear();
            EXPECT_TRUE(Recorder::Fields(*payload).empty() && payload->GetFieldCount() == 0);
        }
        EXPECT_THROW(payload->AddField(1, {1, Ys(0x1000000)}, 0), OperationNotSupportedException);
        EXPECT_THROW(payload->AddField(1, {1, 1.5}, 256), OperationNotSupportedException);
        EXPECT_EQ(nullptr, payload->GetMessageBlock());
    }
}

TEST(Payloads, ThatShareBlocksNeverSeeWhatTheOtherAdds) {
    for (const Version& version : Versions()) {
        const auto payload = version.Create();
        payload->AddField(1, {7, std::int64_t{1}}, 0);
        const Chain shared(payload->GetMessageBlock()->duplicate());
        const auto clone = payload->Clone();
        EXPECT_EQ(payload->GetMessageBlock()->base(), clone->GetMessageBlock()->base());
        payload->AddField(2, {7, std::int64_t{2}}, 0);
        clone->AddField(3, {7, std::int64_t{3}}, 0);
        const auto first = Recorder::Fields(*payload), second = Recorder::Fields(*clone);
        EXPECT_TRUE(first.size() == 2 && first[1].id == 2 && second.size() == 2 && second[1].id == 3);
        const auto original = version.Read(shared.get());
        ASSERT_TRUE(original && original->GetFieldCount() == 1);
        payload->Clear();
        payload->AddField(4, {7, std::int64_t{4}}, 0);
        EXPECT_TRUE(Recorder::Fields(*clone) == second && Recorder::Fields(*original)[0].id == 1);
    }
}

TEST(Payloads, ThatShareBlocksMayBeUsedByDifferentThreads) {
    for (const Version& version : Versions()) {
        auto payload = version.Create();
        payload->AddField(1, {1, std::string(100, 'x')}, 0);
        const auto work = [](std::shared_ptr<IPayload> mine) {
            for (std::int64_t i = 0; i < 2000; ++i) {
                mine = mine->Clone();
                if (i % 50 == 0) mine->AddField(2, {7, i}, 0);
            }
            EXPECT_EQ(41U, Recorder::Fields(*mine).size());
        };
        const Thread one([&, mine = payload->Clone()] { work(mine); });
        const Thread two([&, mine = payload->Clone()] { work(mine); });
        payload.reset();
    }
}

TEST(Payloads, AreReadFromWholeBlocksOfTheirFormatOnly) {
    const std::tuple<const char*, std::size_t, std::string> damages[] = {
        {"mark", 0, "X"},
        {"other version", 2, "\3"},
        {"more fields than there are", 4, "\3"},
        {"fewer fields", 4, "\1"},
        {"value longer than the block", 20, "\xFF\xFF\xFF\xFF"},
        {"value up to 2^32 with the key", 20, "\xFB\xFF\xFF\xFF"},
        {"value one byte too long", 20, "\x31"},
        {"unknown kind", 24, "\7"},
        {"integer of 8 bytes called unsigned", 24, "\6"},
        {"key longer than the block", 26, "\xFF\xFF"}};
    unsigned char number = 0;
    for (const Version& version : Versions()) {
        const std::string good = Example(++number);
        const auto reads = [&](const std::string& bytes) {
            const GuardedBuffer guarded{std::string_view(bytes)};
            const Chain block = BlockOf(guarded.Data(), bytes.size());
            return version.Read(block.get()) != nullptr;
        };
        EXPECT_TRUE(reads(good) && reads(good + good));  // blocks may be joined
        for (std::size_t size = 0; size < good.size(); ++size)
            EXPECT_FALSE(reads(good.substr(0, size))) << size;
        for (const auto& [what, at, bytes] : damages) {
            SCOPED_TRACE(what);
            EXPECT_FALSE(reads(std::string(good).replace(at, bytes.size(), bytes)));
        }
        EXPECT_FALSE(reads(Example(static_cast<unsigned char>(3 - number))));
        EXPECT_FALSE(version.Read(nullptr));
        const std::tuple<unsigned char, std::string, bool> values[] = {
            {1, "\xAC\x20", true},
            {1, "\xAC", false},
            {4, "\1", true},
            {4, "\2", false},
            {5, std::string("\0\0\0\x80\xFF\xFF\xFF\xFF\xC1\xBD\xF0\xFF", 12), true},
            {5, std::string("\0\0\0\0\1\0\0\0\0\0\0\0", 12), false},
            {5, std::string("\0\0\0\0\0\0\0\0\x40\x42\x0F\0", 12), false}};
        for (const auto& [kind, bytes, isGood] : values) {
            std::string field(20, '\0');
            field[12] = static_cast<char>(bytes.size());
            field[16] = static_cast<char>(kind);
            EXPECT_EQ(isGood, reads(std::string(good).replace(4, 1, "\3") + field + bytes)) << +kind;
        }
    }
}

TEST(Payloads, AreWrittenAsDocumentedAndVersion1BringsItsNames) {
    const PayloadServices services;
    std::shared_ptr<IPayloadProfile> profile;
    services.factory.CreatePayloadProfile(profile);
    unsigned int id = 0;
    EXPECT_FALSE(services.factory.FindField("src", 1, id));
    std::string bytes = Example(1);
    const Chain block = BlockOf(bytes.data(), bytes.size());
    EXPECT_EQ(0x50E4F96B, Recorder::Fields(*Versions()[0].Read(block.get()))[0].id);
    EXPECT_TRUE(services.factory.FindField("src", 1, id) && id == 0x50E4F96B);
    profile->AddField("src", 1);
    profile->AddField("sev", 7);
    unsigned char number = 0;
    for (const Version& version : Versions()) {
        const auto payload = version.Create();
        EXPECT_TRUE(payload->AddField(*profile, "src", std::string("10.0.0.1")));
        EXPECT_FALSE(payload->AddField(*profile, "dst", std::string("10.0.0.1")));
        payload->AddField(0x507F116A, {7, std::int64_t{5}}, 0);
        const ACE_Message_Block* const written = payload->GetMessageBlock();
        EXPECT_EQ(Example(++number), std::string(written->rd_ptr(), written->length()));
    }
}
