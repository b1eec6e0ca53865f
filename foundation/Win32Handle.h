#pragma once

#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

/// The one owner of a Windows handle: closes it once, and keeps the calling thread's last error while it
/// does. Traits give the value type, its invalid value (null or INVALID_HANDLE_VALUE: a property of the kind,
/// not something to remember) and the closing call. Movable, not copyable; not thread-safe.
template <class Traits>
class UniqueHandle {
public:
    using Value = typename Traits::Value;

    explicit UniqueHandle(Value value = Traits::Invalid()) noexcept : value_(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    explicit operator bool() const noexcept { return value_ != Traits::Invalid(); }
    Value Get() const noexcept { return value_; }

    /// Gives up ownership.
    Value Release() noexcept { return std::exchange(value_, Traits::Invalid()); }

    /// Closes what is owned and owns value from now on; resetting to what is owned already does nothing.
    void Reset(Value value = Traits::Invalid()) noexcept {
        if (value == value_) return;
        if (*this) {
            const DWORD kept = ::GetLastError();
            Traits::Close(value_);
            ::SetLastError(kept);
        }
        value_ = value;
    }

private:
    Value value_;
};

/// Events, threads, processes, mappings: invalid is null.
struct KernelTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value handle) noexcept { ::CloseHandle(handle); }
};

/// What CreateFile returns: invalid is INVALID_HANDLE_VALUE.
struct FileTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value handle) noexcept { ::CloseHandle(handle); }
};

/// What FindFirstFile returns: invalid is INVALID_HANDLE_VALUE.
struct FindTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value handle) noexcept { ::FindClose(handle); }
};

/// The service control manager and its services: invalid is null.
struct ServiceTraits {
    using Value = SC_HANDLE;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value handle) noexcept { ::CloseServiceHandle(handle); }
};

/// Open registry keys: invalid is null.
struct RegistryTraits {
    using Value = HKEY;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value key) noexcept { ::RegCloseKey(key); }
};

/// Memory that the system allocated for the caller: invalid is null.
struct LocalMemoryTraits {
    using Value = void*;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value memory) noexcept { ::LocalFree(memory); }
};

using KernelHandle = UniqueHandle<KernelTraits>;
using FileHandle = UniqueHandle<FileTraits>;
using FindHandle = UniqueHandle<FindTraits>;
using ServiceHandle = UniqueHandle<ServiceTraits>;
using RegistryHandle = UniqueHandle<RegistryTraits>;
using LocalMemory = UniqueHandle<LocalMemoryTraits>;

}  // namespace WindowsAgentCommon::detail
