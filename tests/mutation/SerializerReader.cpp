// Inputs are little programs for serializers: two bytes of sizes, then operations.

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/MemoryBufferSerializer.h"
#include "tests/mutation/Reader.h"

#include <ace/Message_Block.h>

#include <algorithm>

#include "tests/support/GuardedHeap.h"

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

enum Operation {
    kSeek,
    kSkip,
    kValue,
    kReadBlock,
    kWriteBytes,
    kWriteOwn,
    kWriteHuge,
    kWriteBlock,
    kCopy,
    kDrop
};
constexpr unsigned int kOperations = kDrop + 1;
constexpr unsigned int kMostPerByte = 512;  // an operation of two bytes grows by two times 255 at most

/// What is left of the input; zeros when nothing is.
struct Input {
    const char* at;
    std::size_t left;

    unsigned int Take(std::size_t width) {
        unsigned int value = 0;
        width = std::min(width, left);
        for (std::size_t i = 0; i < width; ++i) value |= static_cast<unsigned int>(at[i] & 0xFF) << (8 * i);
        at += width;
        left -= width;
        return value;
    }
};

void Seek(MemoryBufferSerializer& view, Input& input) {
    const unsigned int offset = input.Take(4), before = view.GetCursor();
    const auto type = static_cast<ISerializer::OffsetType_t>(input.Take(1));
    try {
        view.Seek(offset, type, static_cast<ISerializer::OffsetDirection_t>(input.Take(1)));
    } catch (const SeekException&) {
        Require(view.GetCursor() == before, "a failed seek moved the cursor");
    }
}

void MoveValue(MemoryBufferSerializer& view, unsigned int kind) {
    unsigned char byte = 1;
    long number = 2;
    std::int64_t longer = 3;
    switch (kind % 6) {
        case 0:
            view.ReadByte(byte);
            break;
        case 1:
            view.ReadLong(number);
            break;
        case 2:
            view.ReadInt64(longer);
            break;
        case 3:
            view.WriteByte(byte);
            break;
        case 4:
            view.WriteLong(number);
            break;
        default:
            view.WriteInt64(longer);
            break;
    }
}

void MoveBytes(Operation operation, MemoryBufferSerializer& view, Input& input) {
    std::shared_ptr<ACE_Message_Block> block;
    const unsigned int first = input.Take(4), second = input.Take(4), size = view.GetCurrentBufferSize();
    const std::size_t part = std::min<std::size_t>(input.left, first % 256);
    char* const bytes = const_cast<char*>(input.at);
    if (operation == kReadBlock) {
        const unsigned int count = second % 2 == 0 ? view.ReadBuffer(first, block) : view.ReadBuffer(block);
        Require(count == (block ? block->length() : 0), "a block has another length than was returned");
        Require(count <= view.GetCursor(), "more was read than is there");
    } else if (operation == kWriteBytes) {
        Require(view.WriteBuffer(bytes, part) <= part, "more was written than there is");
    } else if (operation == kWriteOwn) {
        const unsigned int from = std::min(first % 256, size);
        view.WriteBuffer(view.GetCurrentBufferAddress() + from, std::min(second % 256, size - from));
    } else if (operation == kWriteHuge) {  // more than the heap below gives
        Require(view.WriteBuffer(bytes, first | 0x2000000) == 0, "a write without memory was accepted");
    } else {
        block = std::make_shared<ACE_Message_Block>(bytes, std::min<std::size_t>(input.left, 255));
        block->rd_ptr(first);
        block->wr_ptr(second);
        view.WriteBuffer(block);
    }
}

void Read(const char* bytes, std::size_t size) {
    const GuardedHeap heap(16 << 20);
    Input input{bytes, size};
    std::vector<MemoryBufferSerializer> views;
    const unsigned int initialSize = input.Take(1);
    views.emplace_back(initialSize, input.Take(1));
    while (input.left > 0) {
        MemoryBufferSerializer& view = views.back();
        switch (const auto operation = static_cast<Operation>(input.Take(1) % kOperations); operation) {
            case kSeek:
                Seek(view, input);
                break;
            case kSkip:
                view.Skip(input.Take(4));
                break;
            case kValue:
                MoveValue(view, input.Take(1));
                break;
            case kCopy:
                views.push_back(MemoryBufferSerializer(view));
                break;
            case kDrop:
                if (views.size() > 1)
                    views.erase(views.begin() + static_cast<int>(input.Take(1) % views.size()));
                break;
            default:
                MoveBytes(operation, view, input);
                break;
        }
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
    const std::string back{kSeek, 0, 0, 0, 0, 1, 1};
    const std::string values{kValue, 3, kValue, 4, kValue, 5, kValue, 0, kValue, 1, kValue, 2};
    const std::string block{kReadBlock, 100, 0, 0, 0, 0, 0, 0, 0}, rest{kReadBlock, 0, 0, 0, 0, 1, 0, 0, 0};
    const std::string bytes{kWriteBytes, 6, 0, 0, 0, 0, 0, 0, 0, kSkip, 2, 0, 0, 0};
    const std::string blocks{kWriteBlock, 1, 0, 0, 0, 4, 0, 0, 0, kWriteHuge, 0, 0, 0, 0, 0, 0, 0, 0};
    const std::string own{kWriteOwn, 2, 0, 0, 0, 9, 0, 0, 0, kSeek, 1, 0, 0, 0, 3, 2};
    return {"\x10\x10" + values + back + values + rest, "\x04\x0A" + bytes + back + rest + rest + block,
            "\x08\x03" + values + char{kCopy} + own + char{kCopy} + values + std::string{kDrop, 0, kDrop, 1} +
                block,
            "\x08\x08" + blocks + back + own + block};
}

const Registration kRegistered({"Serializer", Examples, Read, kMostPerByte});

}  // namespace
