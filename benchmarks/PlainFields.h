#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace WindowsAgentCommon::bench {

/// A field as the least that could be written and read back: where its bytes are.
struct PlainField {
    unsigned int id;
    std::int64_t typeInfo;
    unsigned int shape;  // which type and flags
    const void* bytes;
    std::size_t size;
};

/// Copies fields one by one to a buffer and out of it again, their lengths checked both times.
class PlainFields {
public:
    explicit PlainFields(std::size_t size) : buffer_(size), value_(size) {}

    void Rewind() { at_ = 0; }

    bool Write(const PlainField& field) {
        const auto size = static_cast<std::uint32_t>(field.size);
        return Put(&field.id, sizeof field.id) && Put(&field.typeInfo, sizeof field.typeInfo) &&
               Put(&field.shape, sizeof field.shape) && Put(&size, sizeof size) &&
               Put(field.bytes, field.size);
    }

    /// field: bytes that are valid until the next call.
    bool Read(PlainField& field) {
        std::uint32_t size = 0;
        if (!Get(&field.id, sizeof field.id) || !Get(&field.typeInfo, sizeof field.typeInfo) ||
            !Get(&field.shape, sizeof field.shape) || !Get(&size, sizeof size) || size > value_.size() ||
            !Get(value_.data(), size))
            return false;
        field.bytes = value_.data();
        field.size = size;
        return true;
    }

private:
    bool Put(const void* bytes, std::size_t size) {
        if (size > buffer_.size() - at_) return false;
        std::memcpy(buffer_.data() + at_, bytes, size);
        at_ += size;
        return true;
    }

    bool Get(void* bytes, std::size_t size) {
        if (size > buffer_.size() - at_) return false;
        std::memcpy(bytes, buffer_.data() + at_, size);
        at_ += size;
        return true;
    }

    std::vector<char> buffer_, value_;
    std::size_t at_ = 0;
};

}  // namespace WindowsAgentCommon::bench
