#include "agent/collectors/TextStream.h"

#include <cstring>
#include <utility>

namespace CorvaneAgent {

namespace {

constexpr std::size_t kPart = 256 * 1024;

bool isContinuation(unsigned char byte) noexcept { return (byte & 0xC0) == 0x80; }

/// The length of the character that begins here, 0 for none.
std::size_t characterLength(const unsigned char* at, std::size_t left) noexcept {
    const unsigned char lead = at[0];
    if (lead < 0x80) return lead == 0 ? 0 : 1;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || length > left) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(at[i])) return 0;
    }
    // Overlong forms, surrogates, and what is beyond U+10FFFF.
    if ((lead == 0xE0 && at[1] < 0xA0) || (lead == 0xED && at[1] > 0x9F) || (lead == 0xF0 && at[1] < 0x90) ||
        (lead == 0xF4 && at[1] > 0x8F))
        return 0;
    return length;
}

void appendCharacter(std::string& out, std::uint32_t character) {
    if (character < 0x80) {
        out += static_cast<char>(character);
        return;
    }
    char bytes[4];
    std::size_t length = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
    for (std::size_t i = length; i-- > 1; character >>= 6)
        bytes[i] = static_cast<char>(0x80 | (character & 0x3F));
    bytes[0] = static_cast<char>((length == 2 ? 0xC0 : length == 3 ? 0xE0 : 0xF0) | character);
    out.append(bytes, length);
}

}  // namespace

void RepairUtf8(char* text, std::size_t size) noexcept {
    std::size_t i = 0;
    while (i < size) {
        std::uint32_t four;
        // Four plain characters at once: no high bit, and no zero among them.
        while (i + sizeof four <= size && (std::memcpy(&four, text + i, sizeof four),
                                           ((four | (four - 0x01010101U)) & 0x80808080U) == 0))
            i += sizeof four;
        if (i >= size) return;
        const std::size_t length = characterLength(reinterpret_cast<unsigned char*>(text) + i, size - i);
        if (length == 0) text[i] = '?';
        i += length == 0 ? 1 : length;
    }
}

unsigned long TextStream::Attach(InputFile file, std::uint64_t offset) {
    Detach();
    char first[4];
    std::size_t got = 0;
    const unsigned long error = file.Read(0, first, sizeof first, got);
    if (error != 0) return error;
    file_ = std::move(file);
    std::size_t mark = 0;
    detect(first, got, mark);
    offset_ = next_ = offset < mark ? mark : offset;
    if (got == 0) encoding_ = Encoding::kUnknown;  // told apart when there is something
    return 0;
}

void TextStream::Detach() {
    file_.Close();
    buffer_.clear();
    head_ = 0;
    offset_ = next_ = 0;
    encoding_ = Encoding::kUnknown;
}

/// False when what follows could still make it another encoding.
bool TextStream::detect(const char* bytes, std::size_t size, std::size_t& mark) {
    const auto at = [&](std::size_t i) { return i < size ? static_cast<unsigned char>(bytes[i]) : 0x100U; };
    mark = 0;
    encoding_ = Encoding::kUtf8;
    if (at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF) {
        mark = 3;
    } else if (at(0) == 0xFF && at(1) == 0xFE) {
        mark = 2;
        encoding_ = Encoding::kUtf16Little;
    } else if (at(0) == 0xFE && at(1) == 0xFF) {
        mark = 2;
        encoding_ = Encoding::kUtf16Big;
    } else if (at(0) != 0 && at(1) == 0 && size >= 2) {
        encoding_ = Encoding::kUtf16Little;
    } else if (at(0) == 0 && at(1) != 0 && size >= 2) {
        encoding_ = Encoding::kUtf16Big;
    }
    return size >= 3 || (size == 2 && encoding_ != Encoding::kUtf8);
}

unsigned long TextStream::Fill(bool& added) {
    added = false;
    if (!file_.IsOpen()) return 0;
    raw_.resize(kPart);
    std::size_t got = 0;
    const unsigned long error = file_.Read(next_, raw_.data(), kPart, got);
    if (error != 0 || got == 0) return error;
    std::size_t mark = 0;
    if (next_ == 0) {
        // A file that was just begun may show the half of its byte-order mark.
        const bool certain = detect(raw_.data(), got, mark);
        const auto lead = static_cast<unsigned char>(raw_[0]);
        if (!certain && (lead >= 0xEF || lead == 0)) return 0;
    }
    buffer_.erase(0, head_);
    head_ = 0;
    const std::size_t before = buffer_.size();
    const std::size_t used = mark + decode(raw_.data() + mark, got - mark);
    if (mark != 0) offset_ = mark;
    next_ += used;
    added = buffer_.size() != before;
    return 0;
}

/// Appends the text of the bytes; returns how many were whole.
std::size_t TextStream::decode(const char* bytes, std::size_t size) {
    if (encoding_ == Encoding::kUtf8) {
        buffer_.append(bytes, size);
        return size;
    }
    const auto* const at = reinterpret_cast<const unsigned char*>(bytes);
    const std::size_t high = encoding_ == Encoding::kUtf16Big ? 0 : 1;
    const auto unit = [&](std::size_t i) -> std::uint32_t { return at[i + high] << 8U | at[i + 1 - high]; };
    std::size_t i = 0;
    for (; i + 2 <= size; i += 2) {
        std::uint32_t character = unit(i);
        if (character >= 0xD800 && character < 0xDC00) {
            if (i + 4 > size) break;  // its other half is yet to come
            const std::uint32_t low = unit(i + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            } else {
                character = 0xFFFD;
            }
        } else if (character >= 0xDC00 && character < 0xE000) {
            character = 0xFFFD;
        }
        appendCharacter(buffer_, character);
    }
    return i;
}

void TextStream::Consume(std::size_t size) {
    offset_ += fileBytes(head_, size);
    head_ += size;
}

std::uint64_t TextStream::OffsetOf(std::size_t index) const { return offset_ + fileBytes(head_, index); }

/// How many bytes of the file a part of the buffer was.
std::uint64_t TextStream::fileBytes(std::size_t from, std::size_t size) const {
    if (encoding_ == Encoding::kUtf8 || encoding_ == Encoding::kUnknown) return size;
    std::uint64_t units = 0;
    for (std::size_t i = from; i < from + size; ++i) {
        const auto byte = static_cast<unsigned char>(buffer_[i]);
        units += isContinuation(byte) ? 0 : byte >= 0xF0 ? 2 : 1;
    }
    return units * 2;
}

}  // namespace CorvaneAgent
