#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// Bytes that end exactly where an inaccessible page begins: touching one byte more faults.
class GuardedBuffer {
public:
    /// Copies size bytes from content.
    GuardedBuffer(const void* content, std::size_t size) {
        constexpr std::size_t kPage = 4096;
        const std::size_t readable = (size / kPage + 1) * kPage;
        memory_ = static_cast<char*>(::VirtualAlloc(nullptr, readable + kPage, MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        if (memory_ == nullptr || !::VirtualProtect(memory_ + readable, kPage, PAGE_NOACCESS, &before))
            throw std::bad_alloc();  // ends the test, and its memory with it
        data_ = memory_ + readable - size;
        std::memcpy(data_, content, size);
    }

    /// Copies a text without its terminator.
    template <class Char>
    explicit GuardedBuffer(std::basic_string_view<Char> text)
        : GuardedBuffer(text.data(), text.size() * sizeof(Char)) {}

    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    ~GuardedBuffer() { ::VirtualFree(memory_, 0, MEM_RELEASE); }

    /// The first of the bytes.
    template <class Value = char>
    Value* Data() const noexcept {
        return reinterpret_cast<Value*>(data_);
    }

private:
    char* memory_ = nullptr;
    char* data_ = nullptr;
};

}  // namespace WindowsAgentCommon::test
