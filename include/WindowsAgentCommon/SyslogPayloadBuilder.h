#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <ace/Message_Block.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace WindowsAgentCommon {

class IPayloadFactory;

/// Gathers a payload's fields as "name=value" pairs, with a field separator between them, in a body of 65,536
/// bytes. docs/payload.md lists what each type code writes. One thread at a time; about 100 KB.
///
/// Nothing is escaped or quoted. A name, separator or value that the body has no room for is left out whole,
/// deliberately without a word, and what is smaller may still follow. A value of another type than its
/// type code says is empty text; so are wide text whose UTF-8 form exceeds 32,768 bytes, a string id that the
/// global registry does not know, and whatever has an unknown type code. A field whose id the payload factory
/// does not know has an empty name.
class CORVANE_API SyslogPayloadBuilderVisitor : public IPayloadVisitor {
public:
    /// fieldSeparator: its first character alone is written, deliberately; nothing when it is empty. Throws
    /// InitializationException when the payload factory is missing or not initialised.
    SyslogPayloadBuilderVisitor(const std::string& fieldSeparator, const std::string& keyValueSeparator);
    SyslogPayloadBuilderVisitor(const SyslogPayloadBuilderVisitor&) = delete;
    SyslogPayloadBuilderVisitor& operator=(const SyslogPayloadBuilderVisitor&) = delete;
    ~SyslogPayloadBuilderVisitor() override;

    /// Writes a field to the body, or keeps it for later when it is a deferred text. With kVisitHeader among
    /// the flags nothing is written: the text of the field "SyslogHeader" (qualifier 1) becomes the syslog
    /// header, empty when the field holds none, and any other field is passed over.
    void Visit(unsigned int fieldId, const PayloadField& field, unsigned int flags) override;

    void FinalizeContents();              ///< Writes the deferred texts in the order in which they came.
    std::string GetPayload() const;       ///< The body.
    std::string GetSyslogHeader() const;  ///< The syslog header of the last payload that had one.

private:
    friend class SyslogPayloadBuilder;

    void reset();
    void copyLine(std::string& out) const;
    void AddField(std::string_view name, std::string_view value);
    void append(std::string_view piece);
    const std::string& nameOf(unsigned int fieldId);
    std::string_view textOf(unsigned int code, const PayloadField& field);
    std::string_view wideText(const std::wstring* text);
    std::string_view numberText(const std::int64_t* number, bool hexadecimal);
    std::string_view decimal(std::int64_t number);

    char conversion_[32768];
    unsigned int headerId_ = 0;
    std::string header_;
    std::string keyValueSeparator_;
    std::string fieldSeparator_;
    IPayloadFactory* factory_;  // not owned
    std::vector<std::pair<std::string, std::string>> deferred_;
    Log log_;
    ACE_Message_Block body_;
    std::unordered_map<unsigned int, std::string> names_;  // known names by field id
    std::string text_;                                     // a value that is made here
};

/// Turns payloads into syslog lines: the syslog header, and directly behind it the fields as "name=value"
/// with a TAB between them. Each line replaces the last one's fields; its header stays, deliberately, for
/// payloads without one. One thread at a time.
class CORVANE_API SyslogPayloadBuilder : public IPayloadBuilder {
public:
    SyslogPayloadBuilder();  ///< Throws as the visitor's constructor does.
    SyslogPayloadBuilder(const SyslogPayloadBuilder&) = delete;
    SyslogPayloadBuilder& operator=(const SyslogPayloadBuilder&) = delete;
    ~SyslogPayloadBuilder() override;

    void BuildPayloadString(IPayload& payload, std::string& out) override;

private:
    std::shared_ptr<SyslogPayloadBuilderVisitor> visitor_;
    Log log_;
};

}  // namespace WindowsAgentCommon
