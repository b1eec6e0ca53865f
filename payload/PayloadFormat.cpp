#include "payload/PayloadFormat.h"

#include "serialization/ReadablePart.h"

#include <ace/Message_Block.h>
#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/get.hpp>

#include <cstring>
#include <limits>

namespace WindowsAgentCommon::detail {

namespace {

// The alternatives of PayloadValue, in its order.
enum Kind : unsigned char { kText, kWideText, kInteger, kDouble, kBool, kTime, kUnsigned, kKinds };

// What a payload keeps for the next visit.
constexpr std::size_t kMostKeptText = 65536;

// A time's bytes: seconds, then microseconds.
constexpr std::size_t kTimeSize = sizeof(std::int64_t) + sizeof(std::int32_t);

constexpr std::size_t kFixedSizes[kKinds] = {0, 0,         sizeof(std::int64_t), sizeof(double),
                                             1, kTimeSize, sizeof(std::uint32_t)};

template <class Number>
Number NumberAt(const char* bytes) noexcept {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

bool IsTime(const char* bytes) noexcept {
    const auto seconds = NumberAt<std::int64_t>(bytes);
    const auto microseconds = NumberAt<std::int32_t>(bytes + sizeof seconds);
    return seconds >= std::numeric_limits<time_t>::min() && seconds <= std::numeric_limits<time_t>::max() &&
           microseconds > -1'000'000 && microseconds < 1'000'000;
}

bool IsValue(const FieldView& field) noexcept {
    const FieldHead& head = field.head;
    if (head.kind == kText) return true;
    if (head.kind == kWideText) return head.valueSize % sizeof(wchar_t) == 0;
    if (head.kind >= kKinds || head.valueSize != kFixedSizes[head.kind]) return false;
    if (head.kind == kBool) return static_cast<unsigned char>(*field.value) <= 1;
    return head.kind != kTime || IsTime(field.value);
}

// Takes the field that begins at at, if there is a whole one before end, and moves at behind it.
bool Take(const char*& at, const char* end, bool withKeys, FieldView& field) noexcept {
    const auto rest = static_cast<std::size_t>(end - at);
    if (rest < kFieldHeadSize) return false;
    std::memcpy(&field.head, at, kFieldHeadSize);
    const std::size_t behindHead = rest - kFieldHeadSize;
    if (field.head.keySize > behindHead || field.head.valueSize > behindHead - field.head.keySize)
        return false;
    if (!withKeys && field.head.keySize != 0) return false;
    field.key = at + kFieldHeadSize;
    field.value = field.key + field.head.keySize;
    if (!IsValue(field)) return false;
    at = field.value + field.head.valueSize;
    return true;
}

}  // namespace

// --- writing ---

EncodedValue::EncodedValue(const PayloadValue& value) {
    boost::apply_visitor([this](const auto& alternative) { set(alternative); }, value);
}

void EncodedValue::set(const std::string& text) {
    data_ = text.data();
    size_ = text.size();
}

void EncodedValue::set(const std::wstring& text) {
    data_ = text.data();
    size_ = text.size() * sizeof(wchar_t);
}

void EncodedValue::set(const ACE_Time_Value& time) {
    set(std::int64_t{time.sec()});
    set(std::int32_t{time.usec()});
}

template <class Number>
void EncodedValue::set(const Number& number) {
    std::memcpy(buffer_ + size_, &number, sizeof number);
    size_ += sizeof number;
}

// --- reading ---

bool FieldReader::Next(FieldView& field) noexcept {
    while (left_ == 0) {
        if (damaged_ || (at_ == end_ && block_ == nullptr)) return false;
        damaged_ = !nextGroup();
    }
    damaged_ = !Take(at_, end_, version_ == kVersionWithKeys, field);
    if (damaged_) return false;
    --left_;
    return true;
}

bool FieldReader::nextGroup() noexcept {
    if (at_ == end_) {
        const ReadablePart part = GetReadablePart(block_);
        at_ = static_cast<const char*>(part.data);
        end_ = at_ + part.size;
        block_ = block_->cont();
    }
    if (static_cast<std::size_t>(end_ - at_) < kGroupHeadSize) return false;
    const auto head = NumberAt<GroupHead>(at_);
    const GroupHead expected{{'C', 'P'}, version_, 0, head.fields};
    if (std::memcmp(&head, &expected, sizeof head) != 0) return false;
    at_ += kGroupHeadSize;
    left_ = head.fields;
    return true;
}

FieldDecoder::FieldDecoder(std::string& text)
    : home_(text), text_(0, std::move(text)), string_(boost::strict_get<std::string>(text_.second)) {}

FieldDecoder::~FieldDecoder() {
    if (string_.capacity() <= kMostKeptText) home_ = std::move(string_);
}

const PayloadField& FieldDecoder::Decode(const FieldView& field) {
    const FieldHead& head = field.head;
    if (head.kind == kText) {
        text_.first = head.typeInfo;
        string_.assign(field.value, head.valueSize);
        return text_;
    }
    other_.first = head.typeInfo;
    PayloadValue& other = other_.second;
    switch (head.kind) {
        case kWideText: {
            std::wstring text(head.valueSize / sizeof(wchar_t), L'\0');
            std::memcpy(text.data(), field.value, head.valueSize);
            other = std::move(text);
            break;
        }
        case kInteger:
            other = NumberAt<std::int64_t>(field.value);
            break;
        case kDouble:
            other = NumberAt<double>(field.value);
            break;
        case kBool:
            other = *field.value != 0;
            break;
        case kTime: {
            const auto seconds = static_cast<time_t>(NumberAt<std::int64_t>(field.value));
            other = ACE_Time_Value(seconds, NumberAt<std::int32_t>(field.value + sizeof(std::int64_t)));
            break;
        }
        default:
            other = NumberAt<unsigned int>(field.value);
            break;
    }
    return other_;
}

}  // namespace WindowsAgentCommon::detail
