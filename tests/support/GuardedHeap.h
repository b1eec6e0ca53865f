#pragma once

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>

#include "tests/support/GuardedBuffer.h"
#include "tests/support/ImportPatch.h"

namespace WindowsAgentCommon::test {

/// While it lives, what CorvaneCommon.dll itself takes from the C runtime's heap ends at an inaccessible
/// page, and what it gives back becomes inaccessible: reading or writing one byte too far faults. Memory from
/// operator new is not meant, and growing always moves. One at a time; the memory must be given back before.
class GuardedHeap {
public:
    /// limit: larger requests fail as if memory were lacking.
    explicit GuardedHeap(std::size_t limit = 16 << 20) {
        limit_ = limit;
        blocks_.clear();
    }

    /// How many blocks are in use.
    static std::size_t Blocks() { return blocks_.size(); }

private:
    struct Block {
        Block(const void* content, std::size_t count) : memory(content, count), size(count) {}
        GuardedBuffer memory;
        std::size_t size;
    };

    static void* Add(std::size_t size) {
        if (size > limit_) return nullptr;
        // Where heaps leave old bytes, here is something that no test takes for zero.
        const std::unique_ptr<char[]> filling(new char[size]);
        std::memset(filling.get(), 0xCD, size);
        auto block = std::make_unique<Block>(filling.get(), size);
        void* const address = block->memory.Data<void>();
        blocks_[address] = std::move(block);
        return address;
    }

    static void* Calloc(std::size_t count, std::size_t size) {
        if (size != 0 && count > limit_ / size) return nullptr;
        void* const address = Add(count * size);
        return address == nullptr ? nullptr : std::memset(address, 0, count * size);
    }

    static void* Realloc(void* old, std::size_t size) {
        const std::size_t before = blocks_.at(old)->size;
        void* const address = Add(size);
        if (address == nullptr) return nullptr;
        std::memcpy(address, old, std::min(before, size));
        blocks_.erase(old);
        return address;
    }

    static void Free(void* address) {
        if (blocks_.erase(address) == 0) std::free(address);
    }

    static inline std::size_t limit_ = 0;
    static inline std::map<void*, std::unique_ptr<Block>> blocks_;

    ImportPatch<void*(std::size_t, std::size_t)> calloc_{L"CorvaneCommon.dll", "calloc", Calloc};
    ImportPatch<void*(void*, std::size_t)> realloc_{L"CorvaneCommon.dll", "realloc", Realloc};
    ImportPatch<void(void*)> free_{L"CorvaneCommon.dll", "free", Free};
};

}  // namespace WindowsAgentCommon::test
