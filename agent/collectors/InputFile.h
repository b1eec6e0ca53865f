#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/sdk/Handle.h"

namespace CorvaneAgent {

/// Where reading a file has come to, and what tells this file from another of the same name: its identity in
/// the file system, and a digest of its first bytes, since identities are used again.
struct FilePosition {
    std::uint64_t offset = 0;   ///< Bytes from the file's beginning.
    std::uint64_t ordinal = 0;  ///< Events or lines before it.
    std::uint64_t index = 0;    ///< The file system's number for the file.
    std::uint32_t volume = 0;   ///< The volume's serial number.
    std::uint32_t prefixLength = 0;
    std::uint64_t prefixDigest = 0;  ///< Of the first prefixLength bytes.

    std::string ToText() const;  ///< Numbers, separated by blanks.

    /// False, and nothing changed, for anything that ToText does not make.
    bool FromText(const std::string& text);
};

/// A file that others may write to, rename and delete meanwhile. Functions return the Windows code, 0 =
/// success. One thread at a time.
class InputFile {
public:
    unsigned long Open(const std::wstring& path);  ///< Closes what was open; on failure nothing is open.
    void Close() { handle_.reset(); }
    bool IsOpen() const { return handle_ != nullptr; }

    /// Reads up to size bytes from offset. got: 0 at the end.
    unsigned long Read(std::uint64_t offset, char* out, std::size_t size, std::size_t& got) const;

    unsigned long GetSize(std::uint64_t& size) const;

    /// Whether other is the same file, whatever its name.
    bool IsSameAs(const InputFile& other) const;

    /// Fills in what tells this file from others, with a digest of the first bytes before position.offset (at
    /// most 1,024). False when they cannot be read.
    bool Describe(FilePosition& position) const;

    /// Whether position is one in this file: the same identity and first bytes, and not beyond the end.
    bool Matches(const FilePosition& position) const;

    /// Whether the first bytes are still those of position.
    bool HasPrefix(const FilePosition& position) const;

private:
    bool digest(std::uint32_t length, std::uint64_t& out) const;

    Handle handle_;
    std::uint64_t index_ = 0;
    std::uint32_t volume_ = 0;
};

}  // namespace CorvaneAgent
