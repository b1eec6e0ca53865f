// What events and their texts come in: payloads, raw message files and event records.

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/Payloads.h"
#include "WindowsAgentCommon/RawMessageFile.h"
#include "WindowsAgentCommon/TOLVEventInformation.h"
#include "tests/mutation/Reader.h"

#include <ace/Message_Block.h>

#include <memory>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

std::string BytesIn(const ACE_Message_Block& block) { return {block.rd_ptr(), block.length()}; }

// Fills another payload with what it is handed.
struct Copier : IPayloadVisitor {
    void Visit(unsigned int id, const PayloadField& field, unsigned int flags) override {
        payload.AddField(id, field, flags);
    }
    Payloadv2 payload;
};

// Inputs are blocks of either version.
void ReadPayload(const char* bytes, std::size_t size) {
    const std::unique_ptr<ACE_Message_Block, void (*)(ACE_Message_Block*)> block(
        new ACE_Message_Block(bytes, size), [](ACE_Message_Block* each) { each->release(); });
    block->wr_ptr(size);
    Payloadv1 first;
    Payloadv2 second;
    const bool isFirst = first.Read(block.get()), isSecond = second.Read(block.get());
    Require(!isFirst || !isSecond, "a block is of two versions");
    Require(!isFirst || first.GetSize() == size, "a block was not read to its end");
    if (!isSecond) return;  // the fields of version 1 would fill the global registry for good
    Copier copier, again;
    second.Accept(copier);
    copier.payload.Accept(again);
    Require(copier.payload.GetFieldCount() == second.GetFieldCount(), "fields were lost");
    const ACE_Message_Block *one = copier.payload.GetMessageBlock(), *two = again.payload.GetMessageBlock();
    for (; one != nullptr && two != nullptr; one = one->cont(), two = two->cont())
        Require(BytesIn(*one) == BytesIn(*two), "a copy has other bytes");
    Require(one == two, "a copy has other blocks");
}

template <class Payload>
std::string PayloadOf(std::size_t values) {
    const PayloadValue each[] = {std::string("10.0.0.1"), std::wstring(L"wide"),   std::int64_t{5}, 0.5, true,
                                 ACE_Time_Value(1, 2),    static_cast<unsigned>(7)};
    Payload payload;
    for (std::size_t i = 0; i < values; ++i) payload.AddField(static_cast<unsigned>(i), {1, each[i % 7]}, 0);
    return BytesIn(*payload.GetMessageBlock());
}

std::vector<std::string> Payloads() {
    const std::string small = PayloadOf<Payloadv2>(2);
    return {PayloadOf<Payloadv1>(7), PayloadOf<Payloadv2>(7), PayloadOf<Payloadv2>(20), small + small};
}

void ReadMessages(const char* bytes, std::size_t size) {
    static const Log log(CorvaneLogger::CV_Logger::Logger("Code.RawMessageFile"));
    const FileInput input(bytes, size);
    std::map<unsigned long, std::wstring> messages;
    const bool whole = RawMessageFile::Load(FileInput::Path(), messages, log);
    std::size_t needed = 4;
    for (const auto& message : messages) needed += 8 + 2 * message.second.size();
    Require(messages.empty() || needed <= size, "more was read than is there");
    DWORD count = 0;
    if (size >= sizeof count) std::memcpy(&count, bytes, sizeof count);
    Require(!whole || (size >= sizeof count && messages.size() <= count), "a file that is none was read");
}

std::vector<std::string> Messages() {
    std::string file(1, 20);
    file.append(3, '\0');
    for (char key = 0; key < 20; ++key) {
        file += {key, 0, 0, 0, key, 0, 0, 0};
        file.append(2U * static_cast<unsigned char>(key), 'x');
    }
    return {std::string(4, '\0'), file};
}

std::string Written(const TOLVEventInformation& record) {
    ACE_Message_Block block(record.GetSerializedSize());
    record.SerializeTo(&block);
    return BytesIn(block);
}

void ReadRecord(const char* bytes, std::size_t size) {
    ACE_Message_Block block(bytes, size);
    block.wr_ptr(size);
    TOLVEventInformation record, again;
    try {
        record.SerializeFrom(&block);
    } catch (const UnmarshalMemoryException&) {
        return Require(block.length() == size && *record.GetVendor() == 0, "a refused record left something");
    }
    Require(block.length() < size, "a record of no bytes was read");
    const std::string written = Written(record);
    Require(written.size() <= size - block.length(), "more was read than is there");
    ACE_Message_Block copy(written.data(), written.size());
    copy.wr_ptr(written.size());
    again.SerializeFrom(&copy);
    Require(Written(again) == written, "what was read is not read again");
}

std::vector<std::string> Records() {
    TOLVEventInformation record;
    std::vector<std::string> examples{Written(record)};
    for (int field = 0; field < 50; field += 7) record.SetField(static_cast<TOLVFieldName>(field), "text");
    examples.push_back(Written(record));
    for (int field = 0; field < 60; ++field) record.SetField(static_cast<TOLVFieldName>(field), "");
    examples.push_back(Written(record));
    return examples;
}

const Registration kPayload({"Payload", Payloads, ReadPayload, 32});
// The file's bytes, and a node of the map for each 8 of them.
const Registration kMessages({"RawMessageFile", Messages, ReadMessages, 16});
// A field takes 7 bytes and a node of the map, of two maps.
const Registration kRecord({"TOLVEvent", Records, ReadRecord, 32});

}  // namespace
