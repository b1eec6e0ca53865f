#pragma once

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/support/ImportPatch.h"

namespace WindowsAgentCommon::test {

/// While it lives, counts the bytes that the product, ACE and the C++ library hold on the C runtime's heap.
/// One at a time, in a program of one thread.
class HeapMeter {
public:
    HeapMeter() {
        for (const wchar_t* const module : {L"CorvaneCommon.dll", L"libACE.dll", L"libstdc++-6.dll"}) {
            Patch(mallocs_, module, "malloc", Malloc);
            Patch(callocs_, module, "calloc", Calloc);
            Patch(reallocs_, module, "realloc", Realloc);
            Patch(frees_, module, "free", Free);
        }
    }

    /// Bytes held more than when the meter began; less than 0 when older ones were given back.
    static std::ptrdiff_t Held() { return held_; }

    /// The most that was held since Mark().
    static std::ptrdiff_t Peak() { return peak_; }
    static void Mark() { peak_ = held_; }

private:
    template <class Function>
    using Patches = std::vector<std::unique_ptr<ImportPatch<Function>>>;

    template <class Function>
    static void Patch(Patches<Function>& patches, const wchar_t* module, const char* name,
                      Function* function) {
        try {
            patches.push_back(std::make_unique<ImportPatch<Function>>(module, name, function));
        } catch (const std::runtime_error&) {  // not every module calls every function
        }
    }

    static void* Add(void* memory) {
        if (memory != nullptr) held_ += static_cast<std::ptrdiff_t>(::_msize(memory));
        peak_ = std::max(peak_, held_);
        return memory;
    }
    static void Subtract(void* memory) {
        if (memory != nullptr) held_ -= static_cast<std::ptrdiff_t>(::_msize(memory));
    }

    static void* Malloc(std::size_t size) { return Add(std::malloc(size)); }
    static void* Calloc(std::size_t count, std::size_t size) { return Add(std::calloc(count, size)); }
    static void* Realloc(void* old, std::size_t size) {
        const std::ptrdiff_t before = old == nullptr ? 0 : static_cast<std::ptrdiff_t>(::_msize(old));
        void* const memory = std::realloc(old, size);
        if (memory != nullptr || size == 0) held_ -= before;
        return Add(memory);
    }
    static void Free(void* memory) {
        Subtract(memory);
        std::free(memory);
    }

    static inline std::ptrdiff_t held_ = 0, peak_ = 0;

    Patches<void*(std::size_t)> mallocs_;
    Patches<void*(std::size_t, std::size_t)> callocs_;
    Patches<void*(void*, std::size_t)> reallocs_;
    Patches<void(void*)> frees_;
};

}  // namespace WindowsAgentCommon::test
