#include "agent/collectors/InputFile.h"

#include "WindowsAgentCommon/Formatting.h"

#include <algorithm>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr std::uint32_t kPrefixBytes = 1024;

/// Reads a decimal number up to a blank or the end, and the blank.
bool takeNumber(const char*& at, std::uint64_t most, std::uint64_t& out) {
    const char* const begin = at;
    out = 0;
    for (; *at >= '0' && *at <= '9'; ++at) {
        const auto digit = static_cast<std::uint64_t>(*at - '0');
        if (out > (most - digit) / 10) return false;
        out = out * 10 + digit;
    }
    if (at == begin || (*at != ' ' && *at != '\0')) return false;
    if (*at == ' ') ++at;
    return true;
}

}  // namespace

std::string FilePosition::ToText() const {
    std::string text;
    WindowsAgentCommon::Format(text, "%I64u %I64u %I64u %u %u %I64u", offset, ordinal, index, volume,
                               prefixLength, prefixDigest);
    return text;
}

bool FilePosition::FromText(const std::string& text) {
    const char* at = text.c_str();
    std::uint64_t numbers[6];
    for (int i = 0; i < 6; ++i) {
        const std::uint64_t most = i == 3 ? UINT32_MAX : i == 4 ? kPrefixBytes : UINT64_MAX;
        if (!takeNumber(at, most, numbers[i])) return false;
    }
    if (at != text.c_str() + text.size()) return false;
    *this = {numbers[0],
             numbers[1],
             numbers[2],
             static_cast<std::uint32_t>(numbers[3]),
             static_cast<std::uint32_t>(numbers[4]),
             numbers[5]};
    return true;
}

unsigned long InputFile::Open(const std::wstring& path) {
    handle_.reset();
    const HANDLE file =
        ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file == INVALID_HANDLE_VALUE) return ::GetLastError();
    Handle opened(file);
    BY_HANDLE_FILE_INFORMATION information;
    if (!::GetFileInformationByHandle(file, &information)) return ::GetLastError();
    index_ = static_cast<std::uint64_t>(information.nFileIndexHigh) << 32 | information.nFileIndexLow;
    volume_ = information.dwVolumeSerialNumber;
    handle_ = std::move(opened);
    return 0;
}

unsigned long InputFile::Read(std::uint64_t offset, char* out, std::size_t size, std::size_t& got) const {
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD count = 0;
    got = 0;
    if (!::ReadFile(handle_.get(), out, static_cast<DWORD>(size), &count, &place)) {
        const DWORD error = ::GetLastError();
        return error == ERROR_HANDLE_EOF ? 0 : error;
    }
    got = count;
    return 0;
}

unsigned long InputFile::GetSize(std::uint64_t& size) const {
    LARGE_INTEGER value;
    if (!::GetFileSizeEx(handle_.get(), &value)) return ::GetLastError();
    size = static_cast<std::uint64_t>(value.QuadPart);
    return 0;
}

bool InputFile::IsSameAs(const InputFile& other) const {
    return index_ == other.index_ && volume_ == other.volume_;
}

bool InputFile::Describe(FilePosition& position) const {
    position.index = index_;
    position.volume = volume_;
    position.prefixLength =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(position.offset, kPrefixBytes));
    return digest(position.prefixLength, position.prefixDigest);
}

bool InputFile::Matches(const FilePosition& position) const {
    std::uint64_t size = 0;
    return position.index == index_ && position.volume == volume_ && GetSize(size) == 0 &&
           size >= position.offset && HasPrefix(position);
}

bool InputFile::HasPrefix(const FilePosition& position) const {
    std::uint64_t now = 0;
    return digest(position.prefixLength, now) && now == position.prefixDigest;
}

/// FNV-1a, 64 bits; false when there are fewer bytes.
bool InputFile::digest(std::uint32_t length, std::uint64_t& out) const {
    char bytes[kPrefixBytes];
    std::size_t got = 0;
    if (length > kPrefixBytes || Read(0, bytes, length, got) != 0 || got != length) return false;
    out = 14'695'981'039'346'656'037U;
    for (std::size_t i = 0; i < got; ++i)
        out = (out ^ static_cast<unsigned char>(bytes[i])) * 1'099'511'628'211U;
    return true;
}

}  // namespace CorvaneAgent
