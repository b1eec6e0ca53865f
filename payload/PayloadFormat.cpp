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
    damaged_ = !take(field);
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
    if (rest() < kGroupHeadSize) return false;
    const auto head = NumberAt<GroupHead>(at_);
    const GroupHead expected{{'C', 'P'}, version_, 0, head.fields};
    if (std::memcmp(&head, &expected, sizeof head) != 0) return false;
    at_ += kGroupHeadSize;
    left_ = head.fields;
    return true;
}

bool FieldReader::take(FieldView& field) noexcept {
    if (rest() < kFieldHeadSize) return false;
    std::memcpy(&field.head, at_, kFieldHeadSize);
    const std::size_t behindHead = rest() - kFieldHeadSize;
    if (field.head.keySize > behindHead || field.head.valueSize > behindHead - field.head.keySize)
        return false;
    if (version_ != kVersionWithKeys && field.head.keySize != 0) return false;
    field.key = at_ + kFieldHeadSize;
    field.value = field.key + field.head.keySize;
    if (!IsValue(field)) return false;
    at_ = field.value + field.head.valueSize;
    return true;
}

FieldDecoder::~FieldDecoder() {
    auto& text = boost::strict_get<std::string>(text_.second);
    if (text.capacity() <= kMostKeptText) home_ = std::move(text);
}

const PayloadField& FieldDecoder::Decode(const FieldView& field) {
    const FieldHead& head = field.head;
    if (head.kind == kText) {
        text_.first = head.typeInfo;
        boost::strict_get<std::string>(text_.second).assign(field.value, head.valueSize);
        return text_;
    }
    if (head.kind == kWideText) {
        wide_.first = head.typeInfo;
        auto& text = boost::strict_get<std::wstring>(wide_.second);
        text.resize(head.valueSize / sizeof(wchar_t));
        std::memcpy(text.data(), field.value, head.valueSize);
        return wide_;
    }
    other_.first = head.typeInfo;
    PayloadValue& other = other_.second;
    if (head.kind == kInteger) other = NumberAt<std::int64_t>(field.value);
    if (head.kind == kDouble) other = NumberAt<double>(field.value);
    if (head.kind == kBool) other = *field.value != 0;
    if (head.kind == kUnsigned) other = NumberAt<unsigned int>(field.value);
    if (head.kind == kTime) {
        const auto seconds = static_cast<time_t>(NumberAt<std::int64_t>(field.value));
        other = ACE_Time_Value(seconds, NumberAt<std::int32_t>(field.value + sizeof(std::int64_t)));
    }
    return other_;
}

}  // namespace WindowsAgentCommon::detail
