#include "WindowsAgentCommon/FileUtil.h"

#include "foundation/Path.h"
#include "serialization/FileAccess.h"

#include <zlib.h>

#include <memory>
#include <ostream>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr unsigned int kGzipBuffer = 64 * 1024;

struct GzipTraits {
    using Value = gzFile;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value file) noexcept { ::gzclose(file); }
};
using GzipHandle = detail::UniqueHandle<GzipTraits>;

// The thread's last error as the failed call left it, or another where it left none.
DWORD LastErrorOr(DWORD otherwise) {
    const DWORD error = ::GetLastError();
    return error != ERROR_SUCCESS ? error : otherwise;
}

GzipHandle OpenGzip(const std::wstring& path, const char* mode) {
    const std::wstring systemPath = detail::SystemPath(path);
    ::SetLastError(ERROR_SUCCESS);
    GzipHandle file(::gzopen_w(systemPath.c_str(), mode));
    if (file) ::gzbuffer(file.Get(), kGzipBuffer);
    return file;
}

// What went wrong with reading or writing. The last error is that of the system call, if one was to blame.
DWORD GzipError(gzFile file, DWORD ofSystemCall) {
    const DWORD system = LastErrorOr(ofSystemCall);
    int code = Z_OK;
    ::gzerror(file, &code);
    switch (code) {
        case Z_OK:
            return ERROR_SUCCESS;
        case Z_BUF_ERROR:
            return ERROR_HANDLE_EOF;  // the compressed data ends in the middle
        case Z_MEM_ERROR:
            return ERROR_NOT_ENOUGH_MEMORY;
        case Z_ERRNO:
            return system;
        default:
            return ERROR_INVALID_DATA;
    }
}

// take: gets each piece and returns an error code.
template <class Take>
DWORD Decompress(gzFile file, Take take) {
    const std::unique_ptr<char[]> buffer(new char[kGzipBuffer]);
    std::uint64_t total = 0;
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);
        const int got = ::gzread(file, buffer.get(), kGzipBuffer);
        if (got < 0) return GzipError(file, ERROR_READ_FAULT);
        // A compressed file cut within its first two bytes passes for one that is not compressed.
        const bool isStump = got == 0 || (got == 1 && buffer[0] == '\x1f');
        if (total == 0 && isStump && ::gzdirect(file)) return ERROR_HANDLE_EOF;
        const DWORD error = take(buffer.get(), static_cast<std::size_t>(got));
        if (error != ERROR_SUCCESS) return error;
        total += static_cast<unsigned int>(got);
        if (static_cast<unsigned int>(got) < kGzipBuffer) return GzipError(file, ERROR_READ_FAULT);
    }
}

DWORD Compress(HANDLE source, gzFile target) {
    const std::unique_ptr<char[]> buffer(new char[kGzipBuffer]);
    for (;;) {
        DWORD got = 0;
        if (!::ReadFile(source, buffer.get(), kGzipBuffer, &got, nullptr)) return ::GetLastError();
        if (got == 0) return ERROR_SUCCESS;
        ::SetLastError(ERROR_SUCCESS);
        if (::gzwrite(target, buffer.get(), got) != static_cast<int>(got))
            return GzipError(target, ERROR_WRITE_FAULT);
    }
}

}  // namespace

unsigned long GZip(const std::wstring& source, const std::wstring& gzFile) {
    const detail::FileHandle file = detail::OpenToRead(source);
    if (!file) return ::GetLastError();
    if (detail::IsSameFile(file.Get(), detail::SystemPath(gzFile)))
        return ERROR_SHARING_VIOLATION;  // instead of emptying it
    GzipHandle target = OpenGzip(gzFile, "wb");
    if (!target) return LastErrorOr(ERROR_OPEN_FAILED);
    const DWORD error = Compress(file.Get(), target.Get());
    ::SetLastError(ERROR_SUCCESS);
    const int closed = ::gzclose(target.Release());
    if (error != ERROR_SUCCESS || closed == Z_OK) return error;
    return LastErrorOr(ERROR_WRITE_FAULT);
}

unsigned long GUnZip(const std::wstring& gzFile, std::ostream& out) {
    const GzipHandle source = OpenGzip(gzFile, "rb");
    if (!source) return LastErrorOr(ERROR_OPEN_FAILED);
    return Decompress(source.Get(), [&](const char* data, std::size_t size) -> DWORD {
        out.write(data, static_cast<std::streamsize>(size));
        return out ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
    });
}

unsigned long GUnZip(const std::wstring& gzFile, const std::wstring& target) {
    const GzipHandle source = OpenGzip(gzFile, "rb");
    if (!source) return LastErrorOr(ERROR_OPEN_FAILED);
    const detail::FileHandle file = detail::CreateToWrite(target);
    if (!file) return ::GetLastError();
    return Decompress(source.Get(), [&](const char* data, std::size_t size) {
        return detail::WriteAll(file.Get(), data, size);
    });
}

}  // namespace WindowsAgentCommon
