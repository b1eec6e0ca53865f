#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <ace/Time_Value.h>
#include <boost/variant.hpp>

#include "CorvaneExport.h"

class ACE_Message_Block;  // <ace/Message_Block.h>, for whoever looks into blocks

namespace WindowsAgentCommon {

class IPayloadProfile;

/// A field's value. Texts are UTF-8 and UTF-16. Give texts as std::string or std::wstring: a literal would
/// become a bool. Give numbers in their exact type.
using PayloadValue =
    boost::variant<std::string, std::wstring, std::int64_t, double, bool, ACE_Time_Value, unsigned int>;

/// A field as a payload hands it out: its type-info word, which says how it is rendered, and its value.
using PayloadField = std::pair<std::int64_t, PayloadValue>;

/// \name Type-info words
/// The type code is what kPayloadTypeMask leaves of the word's low 32 bits; the codes and what each renders
/// are listed in docs/payload.md.
/// @{
constexpr std::uint32_t kPayloadTypeMask = 0xFFFF00FF;
constexpr std::int64_t kPayloadText = 1;              ///< std::string, as it stands.
constexpr std::int64_t kPayloadStringId = 2;          ///< unsigned int, a key of the global string registry.
constexpr std::int64_t kPayloadWideText = 3;          ///< std::wstring, as UTF-8.
constexpr std::int64_t kPayloadBool = 4;              ///< bool.
constexpr std::int64_t kPayloadInteger32 = 5;         ///< std::int64_t; also 6.
constexpr std::int64_t kPayloadInteger64 = 7;         ///< std::int64_t.
constexpr std::int64_t kPayloadDouble = 8;            ///< double; also 9.
constexpr std::int64_t kPayloadMilliseconds = 10;     ///< ACE_Time_Value, as milliseconds.
constexpr std::int64_t kPayloadSeconds = 11;          ///< ACE_Time_Value, as seconds.
constexpr std::int64_t kPayloadDeferred = 0x800;      ///< Bit: a text that is written after all others.
constexpr std::int64_t kPayloadHexadecimal = 0x2000;  ///< Bit: an integer that is written in hexadecimal.
/// @}

/// Flag of a visit: the field is a candidate for the syslog header and no part of the body.
constexpr unsigned int kVisitHeader = 2;

/// Is handed a payload's fields one after the other.
class CORVANE_API IPayloadVisitor {
public:
    IPayloadVisitor() = default;
    IPayloadVisitor(const IPayloadVisitor&) {}
    IPayloadVisitor& operator=(const IPayloadVisitor&) { return *this; }
    virtual ~IPayloadVisitor();

    /// fieldId: as the payload factory gives it. field: valid during the call. flags: 0 or kVisitHeader.
    virtual void Visit(unsigned int fieldId, const PayloadField& field, unsigned int flags) = 0;
};

/// An event's fields, in the order in which they were added, in a chain of message blocks. One thread at a
/// time; payloads that share their blocks (Clone) may be used, and destroyed, by different threads.
class CORVANE_API IPayload {
public:
    IPayload() = default;
    IPayload(const IPayload&) {}
    IPayload& operator=(const IPayload&) { return *this; }
    virtual ~IPayload();

    /// Adds a field by name with the id and the type-info word that profile gives it; false, and nothing
    /// added, when the profile does not know the name (id 0, type-info 0). The name "SyslogHeader" with the
    /// type-info word 1 gets the flag kVisitHeader, any other field no flag. Throws
    /// OperationNotSupportedException, and adds nothing, for a value longer than the wire format holds.
    virtual bool AddField(IPayloadProfile& profile, const std::string& name, const PayloadValue& value) = 0;

    /// Adds a field by id. flags: as in IPayloadVisitor::Visit. Throws as the other AddField does, also for
    /// flags that the wire format does not hold.
    virtual void AddField(unsigned int fieldId, const PayloadField& field, unsigned int flags) = 0;

    /// Calls visitor.Visit once for each field, in order. Throws UnmarshalMemoryException when the blocks are
    /// damaged, behind the fields that could be read, and what the visitor throws.
    virtual void Accept(IPayloadVisitor& visitor) const = 0;

    virtual std::size_t GetFieldCount() const = 0;
    virtual std::size_t GetSize() const = 0;  ///< Bytes of the filled parts of the whole chain.

    /// The chain, owned by the payload, or null when it has no fields. duplicate() shares it: what was handed
    /// out is never written again, fields that are added later go to blocks of their own. Only look at it;
    /// who moves positions, or appends blocks, does so in a duplicate.
    virtual ACE_Message_Block* GetMessageBlock() const = 0;

    virtual void Clear() = 0;  ///< Leaves no field; shared blocks live on in the other payloads.

    /// A payload with the same fields, which shares the blocks. Neither sees what the other adds later.
    virtual std::shared_ptr<IPayload> Clone() const = 0;
};

}  // namespace WindowsAgentCommon
