#include "WindowsAgentCommon/TOLVEventInformation.h"

#include "WindowsAgentCommon/KORException.h"
#include "serialization/ReadablePart.h"

#include <ace/Message_Block.h>

#include <cstring>
#include <limits>

namespace WindowsAgentCommon {

namespace {

constexpr std::uint16_t kFormatVersion = 1, kHeaderCount = 7;
constexpr std::size_t kMostFields = std::numeric_limits<std::uint16_t>::max();

constexpr const char* kFieldNames[] = {
#define CORVANE_TOLV_KEY_TEXT(value, key, name) #key,
    CORVANE_TOLV_FIELDS(CORVANE_TOLV_KEY_TEXT)
#undef CORVANE_TOLV_KEY_TEXT
};
static_assert(std::size(kFieldNames) == static_cast<std::size_t>(TOLVFieldName::MAX) - 1);

// A text's length, its bytes up to the first zero, and that zero.
std::size_t SizeOf(const std::string& text) { return sizeof(std::uint32_t) + std::strlen(text.c_str()) + 1; }

template <class Number>
void AppendNumber(std::string& out, Number number) {
    out.append(reinterpret_cast<const char*>(&number), sizeof number);
}

// The length is that of what is written, so that a text with a zero inside is not misread.
void AppendText(std::string& out, const std::string& text) {
    const std::size_t length = std::strlen(text.c_str());
    AppendNumber(out, static_cast<std::uint32_t>(length));
    out.append(text.c_str(), length + 1);
}

// Takes numbers and texts from bytes that may be anything.
class Reader {
public:
    explicit Reader(const detail::ReadablePart& part)
        : bytes_(static_cast<const char*>(part.data)), size_(part.size) {}

    template <class Number>
    Number TakeNumber() {
        Number number;
        std::memcpy(&number, Take(sizeof number), sizeof number);
        return number;
    }

    void TakeText(std::string& text) {
        const std::size_t length = TakeNumber<std::uint32_t>();
        text.assign(Take(length), length);
        Take(1);  // its terminator
    }

    std::size_t Taken() const { return taken_; }

private:
    const char* Take(std::size_t size) {
        if (size > size_ - taken_) {
            throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__,
                                           "The bytes end inside an event record");
        }
        const char* const taken = bytes_ + taken_;
        taken_ += size;
        return taken;
    }

    const char* bytes_;
    std::size_t size_;
    std::size_t taken_ = 0;
};

}  // namespace

struct TOLVEventInformation::HeaderTexts {
    static constexpr std::string TOLVEventInformation::*kInOrder[] = {
        &TOLVEventInformation::tolvVersion_,    &TOLVEventInformation::eventId_,
        &TOLVEventInformation::vendor_,         &TOLVEventInformation::product_,
        &TOLVEventInformation::productVersion_, &TOLVEventInformation::headerDelimiter_,
        &TOLVEventInformation::fieldDelimiter_};
    static_assert(std::size(kInOrder) == kHeaderCount);
};

TOLVEventInformation::TOLVEventInformation()
    : tolvVersion_("1.0"),
      vendor_("Velmora"),
      product_("Corvane"),
      productVersion_("7.2"),
      headerDelimiter_("|"),
      fieldDelimiter_("\t") {}

TOLVEventInformation::TOLVEventInformation(const TOLVEventInformation& other) = default;
TOLVEventInformation& TOLVEventInformation::operator=(const TOLVEventInformation& other) = default;
TOLVEventInformation::~TOLVEventInformation() = default;

const char* TOLVEventInformation::GetField(TOLVFieldName field) const {
    const auto found = fields_.find(field);
    return found == fields_.end() ? nullptr : found->second.c_str();
}

bool TOLVEventInformation::IsFieldSet(TOLVFieldName field) const { return fields_.count(field) != 0; }

bool TOLVEventInformation::SetField(TOLVFieldName field, const std::string& value) {
    fields_.emplace(field, value);
    return true;
}

const char* TOLVEventInformation::GetFieldNameText(TOLVFieldName field) {
    if (field <= TOLVFieldName::NONE || field >= TOLVFieldName::MAX) return nullptr;
    return kFieldNames[static_cast<std::size_t>(field) - 1];
}

std::size_t TOLVEventInformation::GetSerializedSize() const {
    std::size_t size = 3 * sizeof(std::uint16_t);
    for (const auto header : HeaderTexts::kInOrder) size += SizeOf(this->*header);
    for (const auto& field : fields_) size += sizeof(std::uint16_t) + SizeOf(field.second);
    return size;
}

void TOLVEventInformation::SerializeTo(ACE_Message_Block* block) const {
    const auto first = fields_.begin(), last = fields_.empty() ? first : std::prev(fields_.end());
    if (fields_.size() > kMostFields ||
        (!fields_.empty() &&
         (first->first < TOLVFieldName::NONE || static_cast<std::size_t>(last->first) > kMostFields))) {
        throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__,
                                       "The event record has more or other fields than its form can hold");
    }
    std::string bytes;
    bytes.reserve(GetSerializedSize());
    AppendNumber(bytes, kFormatVersion);
    AppendNumber(bytes, kHeaderCount);
    for (const auto header : HeaderTexts::kInOrder) AppendText(bytes, this->*header);
    AppendNumber(bytes, static_cast<std::uint16_t>(fields_.size()));
    for (const auto& [field, text] : fields_) {
        AppendNumber(bytes, static_cast<std::uint16_t>(field));
        AppendText(bytes, text);
    }
    // A write position outside the buffer would make copy() believe in room that is not there.
    const bool isInOrder = block != nullptr && block->data_block() != nullptr &&
                           block->wr_ptr() >= block->base() && block->wr_ptr() <= block->mark();
    if (!isInOrder || block->copy(bytes.data(), bytes.size()) != 0) {
        throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__,
                                       "The block has no room for the event record");
    }
}

void TOLVEventInformation::SerializeFrom(ACE_Message_Block* block) {
    Clear();
    try {
        Reader in(detail::GetReadablePart(block));
        in.TakeNumber<std::uint16_t>();  // the format version
        in.TakeNumber<std::uint16_t>();  // the number of header texts, which is always seven
        for (const auto header : HeaderTexts::kInOrder) in.TakeText(this->*header);
        std::string text;
        for (unsigned int count = in.TakeNumber<std::uint16_t>(); count > 0; --count) {
            const auto field = static_cast<TOLVFieldName>(in.TakeNumber<std::uint16_t>());
            in.TakeText(text);
            SetField(field, text);
        }
        block->rd_ptr(in.Taken());
    } catch (...) {
        Clear();
        throw;
    }
}

void TOLVEventInformation::Clear() {
    for (const auto header : HeaderTexts::kInOrder) (this->*header).clear();
    fields_.clear();
}

}  // namespace WindowsAgentCommon
