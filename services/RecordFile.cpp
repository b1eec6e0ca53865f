#include "services/RecordFile.h"

#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/PathText.h"
#include "foundation/Path.h"
#include "serialization/FileAccess.h"

#include <sstream>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

namespace {

constexpr std::size_t kReadable = 32;  // characters of the name that a file name shows
constexpr std::size_t kDigest = 32;    // hexadecimal digits: 128 bits
constexpr std::size_t kFraming = 12;   // bytes of a binary entry beside its name and value
constexpr std::size_t kLongestEntry = 4096;

bool IsGone(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

// Bytes of the binary form; 0 where it cannot hold an entry.
std::uint64_t PackedSize(const EnvironmentBlock& block) {
    std::uint64_t size = 4;
    for (const auto& [name, value] : block.Entries()) {
        if (name.size() > kLongestEntry || value.size() > kLongestEntry) return 0;
        const std::size_t entry = name.size() + value.size() + kFraming;
        if (entry > kLongestEntry) return 0;
        size += entry;
    }
    return size;
}

// Of the two names one may be held by a virus scanner, or by a thread that ended with the process.
DWORD CreateTemporary(const std::wstring& path, std::wstring& temporary, FileHandle& file) {
    DWORD error = ERROR_SUCCESS;
    for (const wchar_t* const ending : {L".tmp", L".record.tmp"}) {
        temporary = path + ending;
        file = CreateToWrite(temporary);
        error = file ? ERROR_SUCCESS : ::GetLastError();
        if (error != ERROR_SHARING_VIOLATION) break;
    }
    return error;
}

}  // namespace

std::wstring RecordFileName(const std::string& name) {
    std::string text = name;
    const std::string digest = SHA256Sum(text.data(), static_cast<unsigned int>(text.size()));
    if (digest.size() < kDigest) return {};
    std::wstring file;
    for (const char c : name.substr(0, kReadable)) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        file += plain || c == '-' ? static_cast<wchar_t>(c) : L'_';
    }
    return file + L'-' + std::wstring(digest.begin(), digest.begin() + kDigest) + L".record";
}

unsigned long PackRecord(const EnvironmentBlock& block, std::string& bytes) {
    const std::uint64_t size = PackedSize(block);
    if (size == 0 || size > kLargestRecord) return ERROR_INVALID_DATA;
    std::ostringstream stream;
    block.SaveTo(stream);
    bytes = stream.str();
    return bytes.size() == size ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long UnpackRecord(const std::string& bytes, EnvironmentBlock& block) {
    std::istringstream stream(bytes);
    // The block's own reader ends silently at what is damaged: what it took tells by its size.
    if (block.ReadFrom(stream) && PackedSize(block) == bytes.size()) return ERROR_SUCCESS;
    block = EnvironmentBlock();
    return ERROR_INVALID_DATA;
}

RecordReplacement::~RecordReplacement() {
    if (exists_) ::DeleteFileW(temporary_.c_str());
}

unsigned long RecordReplacement::Write(const std::string& bytes) {
    FileHandle file;
    DWORD error = CreateTemporary(path_, temporary_, file);
    if (error == ERROR_PATH_NOT_FOUND) {
        error = CreateDirectoryRecursive(ParentFolder(path_, false));
        if (error == ERROR_SUCCESS) error = CreateTemporary(path_, temporary_, file);
    }
    if (error != ERROR_SUCCESS) return error;
    exists_ = true;
    error = WriteAll(file.Get(), bytes.data(), bytes.size());
    if (error == ERROR_SUCCESS && !::FlushFileBuffers(file.Get())) error = ::GetLastError();
    return error;
}

unsigned long RecordReplacement::Commit() {
    constexpr DWORD kHow = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (!::MoveFileExW(temporary_.c_str(), path_.c_str(), kHow)) return ::GetLastError();
    exists_ = false;
    return ERROR_SUCCESS;
}

unsigned long ReadRecordFile(const std::wstring& path, std::string& bytes) {
    unsigned long long size = 0;
    const DWORD error = GetFilesize(path, size);
    if (error != ERROR_SUCCESS) return IsGone(error) ? ERROR_FILE_NOT_FOUND : error;
    return size > kLargestRecord ? ERROR_INVALID_DATA : ReadWholeFile(path, bytes);
}

unsigned long RemoveRecordFile(const std::wstring& path) {
    if (::DeleteFileW(path.c_str())) return ERROR_SUCCESS;
    const DWORD error = ::GetLastError();
    return IsGone(error) ? ERROR_SUCCESS : error;
}

}  // namespace WindowsAgentCommon::detail
