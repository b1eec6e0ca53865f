// Inputs are the binary form of an event record.

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/TOLVEventInformation.h"
#include "tests/mutation/Reader.h"

#include <ace/Message_Block.h>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

std::string Written(const TOLVEventInformation& record) {
    ACE_Message_Block block(record.GetSerializedSize());
    record.SerializeTo(&block);
    return {block.rd_ptr(), block.length()};
}

void Read(const char* bytes, std::size_t size) {
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

std::vector<std::string> Examples() {
    TOLVEventInformation record;
    std::vector<std::string> examples{Written(record)};
    for (int field = 0; field < 50; field += 7) record.SetField(static_cast<TOLVFieldName>(field), "text");
    examples.push_back(Written(record));
    for (int field = 0; field < 60; ++field) record.SetField(static_cast<TOLVFieldName>(field), "");
    examples.push_back(Written(record));
    return examples;
}

// A field takes 7 bytes and a node of the map, of two maps.
const Registration kRegistered({"TOLVEvent", Examples, Read, 32});

}  // namespace
