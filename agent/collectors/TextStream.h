#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/collectors/InputFile.h"

namespace CorvaneAgent {

/// Makes text valid UTF-8 without control characters that are no text: replaces by "?" each byte that is part
/// of no character, zeros included. In place.
void RepairUtf8(char* text, std::size_t size) noexcept;

/// A file's text as UTF-8, read in parts of 256 KiB as they are asked for: UTF-8, or UTF-16 of either byte
/// order, told apart by byte-order mark or, without one, by the zero beside the first character. What is
/// unpaired in UTF-16 becomes U+FFFD; UTF-8 is handed out as it is. Knows the place in the file of all that
/// it hands out. One thread at a time.
class TextStream {
public:
    /// Begins with a file at an offset, such as Offset() gave; 0 skips a byte-order mark. Returns the Windows
    /// code of a failed read, 0 = success; the stream is then empty.
    unsigned long Attach(InputFile file, std::uint64_t offset);
    void Detach();

    const InputFile& File() const { return file_; }
    bool IsOpen() const { return file_.IsOpen(); }

    /// Reads the next part behind what is held. added: 0 at the end of the file, for now. Moves what is held.
    unsigned long Fill(bool& added);

    /// What is held. The holder may change it in place.
    char* Data() { return buffer_.data() + head_; }
    std::size_t Size() const { return buffer_.size() - head_; }

    void Consume(std::size_t size);                   ///< Drops the first size bytes of what is held.
    std::uint64_t Offset() const { return offset_; }  ///< The place in the file of the first byte held.

    /// The place of a byte that is held.
    std::uint64_t OffsetOf(std::size_t index) const;

private:
    enum class Encoding { kUnknown, kUtf8, kUtf16Little, kUtf16Big };

    std::uint64_t fileBytes(std::size_t from, std::size_t size) const;
    std::size_t decode(const char* bytes, std::size_t size);
    bool detect(const char* bytes, std::size_t size, std::size_t& mark);

    InputFile file_;
    Encoding encoding_ = Encoding::kUnknown;
    std::string buffer_, raw_;
    std::size_t head_ = 0;
    std::uint64_t offset_ = 0, next_ = 0;  // in the file: of what is held, of what is read next
};

}  // namespace CorvaneAgent
