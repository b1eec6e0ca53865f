#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"
#include "payload/FieldKey.h"

#include <boost/variant/get.hpp>

#include <charconv>
#include <cstring>
#include <new>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr std::size_t kBodySize = 0x10000;

// Deliberately a constant, not the field's value, wherever 32 bits are to be written in hexadecimal.
constexpr std::string_view kHexadecimal32 = "0xFFFFFFFF";

IPayloadFactory* FindFactory() {
    auto* const factory = dynamic_cast<IPayloadFactory*>(_getService(IPayloadFactory::GetServiceName()));
    if (factory != nullptr) return factory;
    throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                  "The payload factory is missing: no payload can be rendered");
}

}  // namespace

SyslogPayloadBuilderVisitor::SyslogPayloadBuilderVisitor(const std::string& fieldSeparator,
                                                         const std::string& keyValueSeparator)
    : keyValueSeparator_(keyValueSeparator),
      fieldSeparator_(fieldSeparator),
      factory_(FindFactory()),
      log_(GetLoggerFactory().GetLog("Code.SyslogPayloadBuilder.Visitor")),
      body_(kBodySize) {
    if (body_.data_block() == nullptr) throw std::bad_alloc();
    factory_->RegisterField(detail::kHeaderField, detail::kHeaderQualifier, headerId_);
}

SyslogPayloadBuilderVisitor::~SyslogPayloadBuilderVisitor() = default;

void SyslogPayloadBuilderVisitor::Visit(unsigned int fieldId, const PayloadField& field, unsigned int flags) {
    if ((flags & kVisitHeader) != 0) {
        if (fieldId != headerId_) return;
        header_.clear();
        if (const auto* const text = boost::strict_get<std::string>(&field.second)) header_ = *text;
        return;
    }
    const std::string& name = nameOf(fieldId);
    const unsigned int code = static_cast<unsigned int>(field.first) & kPayloadTypeMask;
    const std::string_view text = textOf(code, field);
    const bool isText = code >= kPayloadText && code <= kPayloadWideText;
    if (isText && (field.first & kPayloadDeferred) != 0)
        deferred_.emplace_back(name, text);
    else
        AddField(name, text);
}

void SyslogPayloadBuilderVisitor::FinalizeContents() {
    for (const auto& [name, text] : deferred_) AddField(name, text);
    deferred_.clear();
}

std::string SyslogPayloadBuilderVisitor::GetPayload() const {
    return std::string(body_.rd_ptr(), body_.length());
}

std::string SyslogPayloadBuilderVisitor::GetSyslogHeader() const { return header_; }

// --- a payload's beginning and end ---

void SyslogPayloadBuilderVisitor::reset() {
    body_.reset();
    deferred_.clear();  // of a payload that turned out to be damaged
}

void SyslogPayloadBuilderVisitor::copyLine(std::string& out) const {
    out.reserve(header_.size() + body_.length());
    out.assign(header_).append(body_.rd_ptr(), body_.length());
}

// --- the body ---

void SyslogPayloadBuilderVisitor::AddField(std::string_view name, std::string_view value) {
    if (body_.length() > 0) append(std::string_view(fieldSeparator_).substr(0, 1));
    append(name);
    append(keyValueSeparator_);
    append(value);
}

void SyslogPayloadBuilderVisitor::append(std::string_view piece) {
    if (piece.empty() || piece.size() > body_.space()) return;
    if (piece.size() == 1)
        *body_.wr_ptr() = piece.front();  // separators: no call
    else
        std::memcpy(body_.wr_ptr(), piece.data(), piece.size());
    body_.wr_ptr(piece.size());
}

const std::string& SyslogPayloadBuilderVisitor::nameOf(unsigned int fieldId) {
    const auto known = names_.find(fieldId);
    if (known != names_.end()) return known->second;
    static const std::string kUnknown;
    std::string name;
    if (!factory_->GetFieldName(fieldId, name)) return kUnknown;  // it may become known later
    return names_.emplace(fieldId, std::move(name)).first->second;
}

// --- values ---

// The text lies in field, in conversion_ or in text_.
std::string_view SyslogPayloadBuilderVisitor::textOf(unsigned int code, const PayloadField& field) {
    const PayloadValue* const value = &field.second;
    const bool hexadecimal = (field.first & kPayloadHexadecimal) != 0;
    switch (code) {
        case 1:
            if (const auto* const text = boost::strict_get<std::string>(value)) return *text;
            return {};
        case 2: {
            const auto* const id = boost::strict_get<unsigned int>(value);
            if (id == nullptr || !GetGlobalStringRegistry()->GetString(*id, text_)) return {};
            return text_;
        }
        case 3:
            return wideText(boost::strict_get<std::wstring>(value));
        case 4:
            if (const auto* const flag = boost::strict_get<bool>(value)) return *flag ? "true" : "false";
            return {};
        case 5:
        case 6:
            if (hexadecimal) return kHexadecimal32;
            return numberText(boost::strict_get<std::int64_t>(value), false);
        case 7:
            return numberText(boost::strict_get<std::int64_t>(value), hexadecimal);
        case 8:
        case 9:
            if (const auto* const number = boost::strict_get<double>(value))
                return Format(text_, "%g", *number);
            return {};
        case 10:
            if (const auto* const time = boost::strict_get<ACE_Time_Value>(value))
                return decimal(std::int64_t{time->sec()} * 1000 + time->usec() / 1000);
            return {};
        case 11:
            if (const auto* const time = boost::strict_get<ACE_Time_Value>(value))
                return decimal(std::int64_t{time->sec()} + time->usec() / 1'000'000);
            return {};
        case 12:
            return kHexadecimal32;
        default:
            return {};
    }
}

std::string_view SyslogPayloadBuilderVisitor::wideText(const std::wstring* text) {
    if (text == nullptr || text->empty()) return {};
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text->data(), static_cast<int>(text->size()),
                                           conversion_, sizeof conversion_, nullptr, nullptr);
    return {conversion_, static_cast<std::size_t>(size)};
}

std::string_view SyslogPayloadBuilderVisitor::numberText(const std::int64_t* number, bool hexadecimal) {
    if (number == nullptr) return {};
    if (!hexadecimal) return decimal(*number);
    char* at = conversion_ + 2 + 16;
    auto rest = static_cast<std::uint64_t>(*number);
    do *--at = "0123456789ABCDEF"[rest & 15];
    while ((rest >>= 4) != 0);
    *--at = 'x';
    *--at = '0';
    return {at, static_cast<std::size_t>(conversion_ + 2 + 16 - at)};
}

std::string_view SyslogPayloadBuilderVisitor::decimal(std::int64_t number) {
    const char* const end = std::to_chars(conversion_, conversion_ + sizeof conversion_, number).ptr;
    return {conversion_, static_cast<std::size_t>(end - conversion_)};
}

}  // namespace WindowsAgentCommon
