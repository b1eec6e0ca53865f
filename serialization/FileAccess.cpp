#include "serialization/FileAccess.h"

#include "foundation/Path.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

FileHandle OpenToRead(const std::wstring& path, DWORD sharing) {
    return FileHandle(::CreateFileW(SystemPath(path).c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
}

FileHandle CreateToWrite(const std::wstring& path) {
    return FileHandle(::CreateFileW(SystemPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

DWORD WriteAll(HANDLE file, const char* data, std::size_t size, std::size_t piece) {
    while (size != 0) {
        DWORD written = 0;
        const DWORD wanted = static_cast<DWORD>(std::min(size, piece));
        if (!::WriteFile(file, data, wanted, &written, nullptr)) return ::GetLastError();
        if (written == 0) return ERROR_WRITE_FAULT;
        data += written;
        size -= written;
    }
    return ERROR_SUCCESS;
}

DWORD ReadWholeFile(const std::wstring& path, std::string& text) {
    const FileHandle file = OpenToRead(path);
    if (!file) return ::GetLastError();
    LARGE_INTEGER size = {};
    if (!::GetFileSizeEx(file.Get(), &size)) return ::GetLastError();
    std::string bytes;
    if (size.QuadPart > static_cast<LONGLONG>(bytes.max_size())) return ERROR_NOT_ENOUGH_MEMORY;
    try {
        bytes.resize(static_cast<std::size_t>(size.QuadPart));
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    std::size_t read = 0;
    const DWORD error = ReadUpTo(file.Get(), bytes.data(), bytes.size(), read);
    if (error != ERROR_SUCCESS) return error;
    bytes.resize(read);  // somebody may have cut the file meanwhile
    text.swap(bytes);
    return ERROR_SUCCESS;
}

}  // namespace WindowsAgentCommon::detail
