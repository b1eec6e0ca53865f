#include "logging/FileWrite.h"

#include <atomic>

#include "foundation/Win32.h"

namespace CorvaneLogger::detail {
namespace {

std::uint32_t WriteWithWindows(void* file, const void* bytes, std::uint32_t size, unsigned long& error) {
    DWORD written = 0;
    error = ::WriteFile(file, bytes, size, &written, nullptr) ? ERROR_SUCCESS : ::GetLastError();
    return written;
}

std::atomic<FileWrite> current{WriteWithWindows};

}  // namespace

std::uint32_t WriteLogFile(void* file, const void* bytes, std::uint32_t size, unsigned long& error) {
    return current.load(std::memory_order_relaxed)(file, bytes, size, error);
}

void ReplaceFileWrite(FileWrite write) noexcept { current = write != nullptr ? write : WriteWithWindows; }

}  // namespace CorvaneLogger::detail
