#pragma once

#include <malloc.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/support/ImportPatch.h"

namespace WindowsAgentCommon::test {

/// While it lives, counts the bytes that the product, ACE and the C++ library hold on the C runtime's heap,
/// and how often they ask for some there or at the system. One at a time, in a program of one thread.
class HeapMeter {
public:
    HeapMeter() {
        for (const wchar_t* const module : {L"CorvaneCommon.dll", L"libACE.dll", L"libstdc++-6.dll"}) {
            Patch(module, "malloc", Malloc);
            Patch(module, "calloc", Calloc);
            Patch(module, "realloc", Realloc);
            Patch(module, "free", Free);
            Patch(module, "HeapAlloc", OfSystem);
        }
    }

    /// Bytes held more than when the meter began; less than 0 when older ones were given back.
    static std::ptrdiff_t Held() { return held_; }

    /// The most that was held since Mark().
    static std::ptrdiff_t Peak() { return peak_; }
    static void Mark() { peak_ = held_; }

    static int Allocations() { return allocations_; }

private:
    template <class Function>
    void Patch(const wchar_t* module, const char* name, Function* function) {
        try {
            patches_.push_back(std::make_shared<ImportPatch<Function>>(module, name, function));
        } catch (const std::runtime_error&) {  // not every module calls every function
        }
    }

    static std::ptrdiff_t SizeOf(void* memory) {
        return memory == nullptr ? 0 : static_cast<std::ptrdiff_t>(::_msize(memory));
    }
    static void* Add(void* memory) {
        ++allocations_;
        held_ += SizeOf(memory);
        peak_ = std::max(peak_, held_);
        return memory;
    }
    static void* Malloc(std::size_t size) { return Add(std::malloc(size)); }
    static void* Calloc(std::size_t count, std::size_t size) { return Add(std::calloc(count, size)); }
    static void* Realloc(void* old, std::size_t size) {
        const std::ptrdiff_t before = SizeOf(old);
        void* const memory = std::realloc(old, size);
        if (memory != nullptr || size == 0) held_ -= before;
        return Add(memory);
    }
    static void Free(void* memory) {
        held_ -= SizeOf(memory);
        std::free(memory);
    }

    static void* WINAPI OfSystem(HANDLE heap, DWORD flags, SIZE_T size) {
        return ++allocations_, ::HeapAlloc(heap, flags, size);
    }

    static inline std::ptrdiff_t held_ = 0, peak_ = 0;
    static inline int allocations_ = 0;
    std::vector<std::shared_ptr<void>> patches_;
};

}  // namespace WindowsAgentCommon::test
