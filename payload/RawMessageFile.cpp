#include "WindowsAgentCommon/RawMessageFile.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "foundation/Path.h"
#include "serialization/FileAccess.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

using Messages = std::map<unsigned long, std::wstring>;

static_assert(sizeof(unsigned long) == 4 && sizeof(wchar_t) == 2, "numbers and texts are stored as they are");

constexpr std::size_t kEntryHead = 2 * sizeof(DWORD);  // key and length
constexpr std::size_t kWritePiece = 1024 * 1024;       // with 64 KiB, saving takes a fifth longer

std::string TextOf(DWORD error) {
    std::string text;
    GetLastErrorText(error, text);
    return text;
}

// Makes few large writes of many small ones. After an error nothing more is written.
class Writer {
public:
    Writer() : buffer_(new char[kWritePiece]) {}

    void Write(HANDLE file, const void* data, std::size_t size) {
        if (size > kWritePiece - used_) Flush(file);
        if (size <= kWritePiece) {
            std::memcpy(buffer_.get() + used_, data, size);
            used_ += size;
        } else if (error_ == ERROR_SUCCESS) {
            error_ = detail::WriteAll(file, static_cast<const char*>(data), size, kWritePiece);
        }
    }

    DWORD Flush(HANDLE file) {
        if (error_ == ERROR_SUCCESS) error_ = detail::WriteAll(file, buffer_.get(), used_, kWritePiece);
        used_ = 0;
        return error_;
    }

private:
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    DWORD error_ = ERROR_SUCCESS;
};

[[noreturn]] void ThrowDamaged(DWORD entry, DWORD count, const char* what) {
    std::string text;
    Format(text, "%s entry %u of %u", what, static_cast<unsigned int>(entry),
           static_cast<unsigned int>(count));
    throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__, text);
}

// size: not 0.
std::unique_ptr<char[]> ReadBytes(HANDLE file, std::uint64_t size) {
    if (size > static_cast<std::size_t>(PTRDIFF_MAX)) throw std::bad_alloc();
    std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(size)]);
    std::size_t read = 0;
    const DWORD error = detail::ReadUpTo(file, bytes.get(), static_cast<std::size_t>(size), read);
    if (error != ERROR_SUCCESS) throw KORException(__FILE__, __FUNCTION__, __LINE__, TextOf(error));
    if (read != size)
        throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__, "The file was cut short");
    return bytes;
}

// Returns the number of entries.
DWORD AddEntries(const char* bytes, std::size_t size, Messages& messages) {
    DWORD count = 0, head[2];
    if (size < sizeof count) ThrowDamaged(0, 0, "The file ends before");
    std::memcpy(&count, bytes, sizeof count);
    std::size_t at = sizeof count;
    for (DWORD entry = 0; entry < count; ++entry) {
        if (size - at < kEntryHead) ThrowDamaged(entry + 1, count, "The file ends inside");
        std::memcpy(head, bytes + at, kEntryHead);
        at += kEntryHead;
        if (head[1] > (size - at) / sizeof(wchar_t)) ThrowDamaged(entry + 1, count, "The file ends inside");
        // Texts lie at even offsets. The hint is right for every file that Save made.
        const auto* const text = reinterpret_cast<const wchar_t*>(bytes + at);
        messages.try_emplace(messages.end(), head[0], text, head[1]);
        at += head[1] * sizeof(wchar_t);
    }
    if (at != size) ThrowDamaged(count, count, "The file goes on behind");
    return count;
}

}  // namespace

bool RawMessageFile::Save(const std::wstring& path, std::map<unsigned long, std::wstring>& messages,
                          Log log) {
    Writer writer;
    detail::FileHandle file(::CreateFileW(detail::SystemPath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                          nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const std::string why = TextOf(::GetLastError());
        log->Debug("Unable to create raw message file %ls -- %s", path.c_str(), why.c_str());
        return false;
    }
    const auto count = static_cast<DWORD>(messages.size());
    writer.Write(file.Get(), &count, sizeof count);
    for (const auto& [key, text] : messages) {
        const DWORD head[] = {key, static_cast<DWORD>(text.size())};
        writer.Write(file.Get(), head, sizeof head);
        writer.Write(file.Get(), text.data(), text.size() * sizeof(wchar_t));
    }
    const DWORD error = writer.Flush(file.Get());
    file.Reset();
    if (error != ERROR_SUCCESS) {
        log->Debug("Unable to write raw message file %ls -- %s", path.c_str(), TextOf(error).c_str());
        return false;
    }
    log->Debug("Saved %d raw messages to file %ls", static_cast<int>(count), path.c_str());
    return true;
}

bool RawMessageFile::Load(const std::wstring& path, std::map<unsigned long, std::wstring>& messages,
                          Log log) {
    const detail::FileHandle file = detail::OpenToRead(path, FILE_SHARE_READ);
    if (!file) {
        const std::string why = TextOf(::GetLastError());
        log->Debug("Unable to open raw message file %ls -- %s", path.c_str(), why.c_str());
        return false;
    }
    try {
        LARGE_INTEGER size = {};
        if (!::GetFileSizeEx(file.Get(), &size)) {
            throw KORException(__FILE__, __FUNCTION__, __LINE__, TextOf(::GetLastError()));
        }
        if (size.QuadPart == 0) {
            log->Debug("Raw message file %ls -- is empty", path.c_str());
            return false;
        }
        const auto bytes = ReadBytes(file.Get(), static_cast<std::uint64_t>(size.QuadPart));
        const DWORD count = AddEntries(bytes.get(), static_cast<std::size_t>(size.QuadPart), messages);
        log->Debug("Loaded %d raw messages from file %ls", static_cast<int>(count), path.c_str());
        return true;
    } catch (const std::exception& failure) {
        log->Debug("Unable to load raw message file %ls -- %s", path.c_str(), failure.what());
        return false;
    }
}

}  // namespace WindowsAgentCommon
