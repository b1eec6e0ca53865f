// The binary and the text form: docs/formats/environment-block.md.

#include "WindowsAgentCommon/EnvironmentBlock.h"

#include "WindowsAgentCommon/FileUtil.h"
#include "config/EntryAccess.h"

#include <cstring>
#include <istream>
#include <ostream>
#include <string_view>
#include <tuple>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr std::size_t kWindow = 4096;  // the longest record
constexpr std::size_t kFraming = 12;   // the three lengths of a record

std::uint32_t Number(const char* bytes) {
    std::uint32_t number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

void Append(std::string& bytes, std::uint32_t number) {
    bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

// One record of length bytes; false where its inner lengths run past it.
bool TakeRecord(const char* record, std::size_t length, detail::Entries& entries) {
    const std::size_t room = length - kFraming, keyLength = Number(record + 4);
    if (keyLength > room) return false;
    const char* const key = record + 8;
    const std::size_t valueLength = Number(key + keyLength);
    if (valueLength > room - keyLength) return false;
    // Records come in order, as a rule; behind all others costs no search then.
    entries.emplace_hint(entries.end(), std::piecewise_construct, std::forward_as_tuple(key, keyLength),
                         std::forward_as_tuple(key + keyLength + 4, valueLength));
    return true;
}

// The complete records among held bytes, from at, which moves past them; false where reading ends.
bool TakeRecords(const char* window, std::size_t held, std::size_t& at, detail::Entries& entries) {
    while (held - at >= 4) {
        const std::size_t length = Number(window + at);
        if (length < kFraming || length > kWindow) return false;
        if (length > held - at) return true;
        if (!TakeRecord(window + at, length, entries)) return false;
        at += length;
    }
    return true;
}

std::string Trimmed(std::string_view text, const char* characters) {
    const std::size_t begin = text.find_first_not_of(characters);
    if (begin == std::string_view::npos) return {};
    return std::string(text.substr(begin, text.find_last_not_of(characters) + 1 - begin));
}

}  // namespace

bool EnvironmentBlock::SaveTo(std::ostream& stream) const {
    if (!stream.good()) return false;
    std::string bytes;
    Append(bytes, m_wMagicValue | m_wCurrentVersion);
    for (const auto& [name, value] : entries_) {
        Append(bytes, static_cast<std::uint32_t>(name.size() + value.size() + kFraming));
        Append(bytes, static_cast<std::uint32_t>(name.size()));
        bytes += name;
        Append(bytes, static_cast<std::uint32_t>(value.size()));
        bytes += value;
        if (bytes.size() < kWindow) continue;
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        bytes.clear();
    }
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return true;
}

bool EnvironmentBlock::ReadFrom(std::istream& stream) {
    if (!stream.good()) return false;
    entries_.clear();
    char window[kWindow];
    if (!stream.read(window, 4)) return false;
    const std::uint32_t header = Number(window);
    if ((header & m_wMagicValue) != m_wMagicValue || (header & m_wCurrentVersion) == 0) {
        ::SetLastError(ERROR_BAD_FILE_TYPE);
        return false;
    }
    bool whole = true;
    for (std::size_t held = 0; whole && stream.good();) {
        stream.read(window + held, static_cast<std::streamsize>(kWindow - held));
        held += static_cast<std::size_t>(stream.gcount());
        std::size_t at = 0;
        whole = TakeRecords(window, held, at, entries_);
        held -= at;
        std::memmove(window, window + at, held);
    }
    return true;
}

bool EnvironmentBlock::SaveTo(const std::wstring& path) const {
    std::vector<std::string> lines;
    lines.reserve(entries_.size());
    for (const auto& [name, value] : entries_) lines.push_back(name + "=" + value);
    return SaveTextFile(path, lines);
}

bool EnvironmentBlock::ReadFrom(const std::wstring& path) {
    std::vector<std::string> lines;
    if (!ReadTextFile(path, lines)) return false;
    detail::Entries found;
    for (const std::string& line : lines) {
        const std::size_t sign = line.find('=');
        if (sign == std::string::npos) continue;
        const std::string_view text = line;
        found.emplace(Trimmed(text.substr(0, sign), " \t\r\n\v\f"), Trimmed(text.substr(sign + 1), "\r\n"));
    }
    entries_.merge(found);
    return true;
}

}  // namespace WindowsAgentCommon
