#pragma once

#include "WindowsAgentCommon/IPayload.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

class ACE_Message_Block;

namespace WindowsAgentCommon::detail {

/// \file
/// The wire formats of payloads (docs/formats/payload-v1.md, payload-v2.md).

/// What a group of fields begins with.
struct GroupHead {
    unsigned char mark[2] = {'C', 'P'};
    unsigned char version;
    unsigned char reserved = 0;
    std::uint32_t fields;
};
constexpr std::size_t kGroupHeadSize = 8;
static_assert(sizeof(GroupHead) == kGroupHeadSize);

/// What a field begins with; key and value follow.
struct FieldHead {
    std::int64_t typeInfo;
    std::uint32_t id;
    std::uint32_t valueSize;
    unsigned char kind;  // PayloadValue::which()
    unsigned char flags;
    std::uint16_t keySize;
};
constexpr std::size_t kFieldHeadSize = 20;  // without the padding at the structure's end
static_assert(offsetof(FieldHead, keySize) + sizeof(std::uint16_t) == kFieldHeadSize);

/// Writes a head to where it belongs. Number by number: bytes that were just written one by one must not be
/// read as one number, which costs more than all the rest.
inline void Store(const FieldHead& head, char* at) noexcept {
    std::memcpy(at, &head.typeInfo, sizeof head.typeInfo);
    std::memcpy(at + offsetof(FieldHead, id), &head.id, sizeof head.id);
    std::memcpy(at + offsetof(FieldHead, valueSize), &head.valueSize, sizeof head.valueSize);
    std::memcpy(at + offsetof(FieldHead, kind), &head.kind, sizeof head.kind);
    std::memcpy(at + offsetof(FieldHead, flags), &head.flags, sizeof head.flags);
    std::memcpy(at + offsetof(FieldHead, keySize), &head.keySize, sizeof head.keySize);
}

constexpr std::size_t kMostValueSize = 0xFFFFFF;
constexpr std::size_t kMostKeySize = 0xFFFF;

/// The version whose fields carry their keys.
constexpr unsigned char kVersionWithKeys = 1;

/// A value's bytes. They are value's own or lie in buffer, so the object must not be moved.
class EncodedValue {
public:
    explicit EncodedValue(const PayloadValue& value);
    EncodedValue(const EncodedValue&) = delete;
    EncodedValue& operator=(const EncodedValue&) = delete;

    std::size_t Size() const noexcept { return size_; }

    /// Writes the bytes to where there is room for them.
    void CopyTo(char* at) const noexcept {
        if (size_ == sizeof(std::int64_t))
            std::memcpy(at, data_, sizeof(std::int64_t));  // most numbers: no call
        else
            std::memcpy(at, data_, size_);
    }

private:
    void set(const std::string& text);
    void set(const std::wstring& text);
    void set(const ACE_Time_Value& time);
    template <class Number>
    void set(const Number& number);

    const void* data_ = buffer_;
    std::size_t size_ = 0;
    char buffer_[12];
};

/// A field as it stands in a block; the pointers point there.
struct FieldView {
    FieldHead head;
    const char* key;
    const char* value;
};

/// Walks the fields of a chain whose bytes may be anything. Throws nothing.
class FieldReader {
public:
    /// chain: not owned, not null.
    FieldReader(const ACE_Message_Block* chain, unsigned char version) noexcept
        : block_(chain), version_(version) {}

    /// Takes the next field. False at the end, and where a block holds anything but whole groups of fields.
    bool Next(FieldView& field) noexcept;

    /// When Next has returned false: whether every block was whole.
    bool IsAtEnd() const noexcept { return block_ == nullptr && left_ == 0 && !damaged_; }

private:
    bool nextGroup() noexcept;

    const ACE_Message_Block* block_;  // not looked into yet; null behind the last one
    const char* at_ = nullptr;
    const char* end_ = nullptr;
    std::uint32_t left_ = 0;  // fields of the group
    const unsigned char version_;
    bool damaged_ = false;
};

/// Makes fields of their bytes, using the memory of the narrow texts before again.
class FieldDecoder {
public:
    /// text: a text to begin with, whatever is in it; comes back, with more memory perhaps.
    explicit FieldDecoder(std::string& text);
    FieldDecoder(const FieldDecoder&) = delete;
    FieldDecoder& operator=(const FieldDecoder&) = delete;
    ~FieldDecoder();

    /// field: as FieldReader gave it. Valid until the next call.
    const PayloadField& Decode(const FieldView& field);

private:
    std::string& home_;
    PayloadField text_, other_{0, false};
    std::string& string_;  // in text_
};

}  // namespace WindowsAgentCommon::detail
