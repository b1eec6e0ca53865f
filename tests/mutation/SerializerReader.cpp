// Inputs are little programs for serializers: two bytes of sizes, then operations of six bytes: which one,
// three for a number, two more.

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/MemoryBufferSerializer.h"

#include <ace/Message_Block.h>

#include <algorithm>

#include "tests/mutation/Reader.h"
#include "tests/support/GuardedHeap.h"

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

constexpr std::size_t kOperation = 6;
constexpr unsigned int kMostPerByte = 512;  // an operation grows by two times 255 at most

void Seek(MemoryBufferSerializer& view, unsigned int offset, unsigned char type, unsigned char direction) {
    const unsigned int before = view.GetCursor();
    try {
        view.Seek(offset, static_cast<ISerializer::OffsetType_t>(type % 5),
                  static_cast<ISerializer::OffsetDirection_t>(direction % 3));
    } catch (const SeekException&) {
        Require(view.GetCursor() == before, "a failed seek moved the cursor");
    }
}

void ReadBlock(MemoryBufferSerializer& view, unsigned int count, bool counted) {
    std::shared_ptr<ACE_Message_Block> block;
    const unsigned int got = counted ? view.ReadBuffer(count, block) : view.ReadBuffer(block);
    Require(got == (block ? block->length() : 0), "a block has another length than was returned");
    Require(got <= view.GetCursor(), "more was read than is there");
}

// A block whose positions may lie anywhere has a readable part or none.
void WriteBlock(MemoryBufferSerializer& view, char* bytes, std::size_t size, std::size_t readAt,
                std::size_t writeAt) {
    const std::size_t readable = readAt <= writeAt && writeAt <= size ? writeAt - readAt : 0;
    auto block = std::make_shared<ACE_Message_Block>(bytes, size);
    block->rd_ptr(readAt);
    block->wr_ptr(writeAt);
    for (const bool counted : {false, true}) {
        const unsigned int got = counted ? view.WriteBuffer(~0U, block) : view.WriteBuffer(block);
        const unsigned char* const end = view.GetCurrentBufferAddress() + view.GetCursor();
        Require(got == 0 || (got == readable && std::memcmp(end - got, bytes + readAt, got) == 0),
                "something else than the readable part was written");
    }
}

// number: small in three of four, anywhere in 32 bits otherwise.
void Run(std::vector<MemoryBufferSerializer>& views, const unsigned char* operation, unsigned int number,
         std::size_t left) {
    MemoryBufferSerializer& view = views.back();
    char* const bytes = reinterpret_cast<char*>(const_cast<unsigned char*>(operation));
    const unsigned char first = operation[4], second = operation[5];
    const unsigned int size = view.GetCurrentBufferSize(), from = std::min<unsigned int>(first, size);
    const std::size_t part = std::min<std::size_t>(left, first);
    const unsigned int kind = operation[0] % 11;
    std::int64_t value = number;
    unsigned char byte = first;
    if (kind == 0) Seek(view, number, first, second);
    if (kind == 1) view.Skip(number);
    if (kind == 2) static_cast<void>(view.ReadInt64(value) + view.ReadByte(byte));
    if (kind == 3) static_cast<void>(view.WriteInt64(value) + view.WriteByte(byte));
    if (kind == 4) ReadBlock(view, number, second % 2 == 0);
    if (kind == 5) Require(view.WriteBuffer(bytes, part) <= part, "more was written than there is");
    if (kind == 6)
        view.WriteBuffer(view.GetCurrentBufferAddress() + from, std::min<unsigned int>(second, size - from));
    // more than the heap below gives
    if (kind == 7)
        Require(view.WriteBuffer(bytes, number | 0x2000000) == 0, "a write without memory was accepted");
    if (kind == 8) WriteBlock(view, bytes, std::min<std::size_t>(left, 255), number, second);
    if (kind == 9) views.push_back(MemoryBufferSerializer(view));
    if (kind == 10 && views.size() > 1) views.erase(views.begin() + static_cast<int>(first % views.size()));
}

void Read(const char* bytes, std::size_t size) {
    const GuardedHeap heap(16 << 20);
    const auto* operation = reinterpret_cast<const unsigned char*>(bytes);
    std::vector<MemoryBufferSerializer> views;
    views.emplace_back(size > 0 ? operation[0] : 0, size > 1 ? operation[1] : 0);
    for (std::size_t left = size < 2 ? 0 : size - 2; left >= kOperation; left -= kOperation) {
        const unsigned char* const at = operation + size - left;
        const unsigned int number = at[1] | at[2] << 8 | static_cast<unsigned int>(at[3]) << 24;
        Run(views, at, at[3] % 4 == 0 ? number : number % 64, left);
        for (const MemoryBufferSerializer& each : views) {
            const unsigned int capacity = each.GetCurrentBufferSize();
            Require(each.GetCursor() <= capacity && each.GetEditPoint() <= capacity,
                    "a position lies outside");
            Require(capacity <= 4096 + kMostPerByte * size, "the storage grew beyond what was written");
            const volatile unsigned char* const storage = each.GetCurrentBufferAddress();
            if (capacity > 0) static_cast<void>(storage[0] + storage[capacity - 1]);
        }
    }
    views.clear();
    Require(GuardedHeap::Blocks() == 0, "a storage outlived its last view");
}

std::vector<std::string> Examples() {
    std::string each("\x04\x0A"), twice("\x10\x03");
    for (char kind = 0; kind < 11; ++kind) {
        const std::string operation{kind, 5, 0, 1, 7, 2}, back{0, 0, 0, 0, 1, 1};
        each += operation;
        twice += operation + back + operation;
    }
    return {each, twice, twice + each.substr(2)};
}

const Registration kRegistered({"Serializer", Examples, Read, kMostPerByte});

}  // namespace
