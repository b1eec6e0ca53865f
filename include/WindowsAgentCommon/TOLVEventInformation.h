#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "CorvaneExport.h"

class ACE_Message_Block;  // <ace/Message_Block.h>, for whoever serializes

namespace WindowsAgentCommon {

/// Every attribute of an event: FIELD(value, key text and enumerator, name in its getter and setter).
#define CORVANE_TOLV_FIELDS(FIELD)            \
    FIELD(1, cat, Cat)                        \
    FIELD(2, devTime, DevTime)                \
    FIELD(3, devTimeFormat, DevTimeFormat)    \
    FIELD(4, proto, Proto)                    \
    FIELD(5, sev, Sev)                        \
    FIELD(6, src, Src)                        \
    FIELD(7, dst, Dst)                        \
    FIELD(8, srcPort, SrcPort)                \
    FIELD(9, dstPort, DstPort)                \
    FIELD(10, srcPreNAT, SrcPreNAT)           \
    FIELD(11, dstPreNAT, DstPreNAT)           \
    FIELD(12, srcPostNAT, SrcPostNAT)         \
    FIELD(13, dstPostNAT, DstPostNAT)         \
    FIELD(14, usrName, UsrName)               \
    FIELD(15, srcMAC, SrcMAC)                 \
    FIELD(16, dstMAC, DstMAC)                 \
    FIELD(17, srcPreNATPORT, SrcPreNATPORT)   \
    FIELD(18, dstPreNATPORT, DstPreNATPORT)   \
    FIELD(19, srcPostNATPORT, SrcPostNATPORT) \
    FIELD(20, dstPostNATPORT, DstPostNATPORT) \
    FIELD(21, identSrc, IdentSrc)             \
    FIELD(22, identHostName, IdentHostName)   \
    FIELD(23, identNetBios, IdentNetBios)     \
    FIELD(24, identGrpName, IdentGrpName)     \
    FIELD(25, identMAC, IdentMAC)             \
    FIELD(26, vSrc, VSrc)                     \
    FIELD(27, vSrcName, VSrcName)             \
    FIELD(28, accountName, AccountName)       \
    FIELD(29, srcBytes, SrcBytes)             \
    FIELD(30, dstBytes, DstBytes)             \
    FIELD(31, srcPackets, SrcPackets)         \
    FIELD(32, dstPackets, DstPackets)         \
    FIELD(33, totalPackets, TotalPackets)     \
    FIELD(34, role, Role)                     \
    FIELD(35, realm, Realm)                   \
    FIELD(36, policy, Policy)                 \
    FIELD(37, resource, Resource)             \
    FIELD(38, url, Url)                       \
    FIELD(39, groupID, GroupID)               \
    FIELD(40, domain, Domain)                 \
    FIELD(41, calLanguage, CalLanguage)       \
    FIELD(42, calCountryOrRegion, CalCountryOrRegion)

/// The attributes of an event. Enumerators are their key texts; records take every other number, too.
enum class TOLVFieldName : std::int32_t {
    NONE = 0,  ///< No field.
#define CORVANE_TOLV_ENUMERATOR(value, key, name) key = (value),
    CORVANE_TOLV_FIELDS(CORVANE_TOLV_ENUMERATOR)
#undef CORVANE_TOLV_ENUMERATOR
        MAX = 43  ///< One more than the last field.
};

/// One security event in the TOLV vocabulary: seven header texts and a sparse set of attributes. It stores,
/// copies and serializes them; nothing is checked or converted, and rendering a line is its user's.
///
/// A plain value: texts are bytes, UTF-8 by custom, owned by the record. What getters return is valid until
/// the record changes. Thread rule: as for a const map; one that is read must not be changed meanwhile.
/// Besides what is stated only std::bad_alloc is thrown.
class CORVANE_API TOLVEventInformation {
public:
    /// TOLV version "1.0", vendor "Velmora", product "Corvane", product version "7.2", header delimiter "|",
    /// field delimiter TAB, an empty event id, and no fields.
    TOLVEventInformation();
    TOLVEventInformation(const TOLVEventInformation& other);
    TOLVEventInformation& operator=(const TOLVEventInformation& other);
    virtual ~TOLVEventInformation();

    /// \name Header texts. Never null; a setter replaces the text.
    /// @{
    const char* GetTOLVVersion() const { return tolvVersion_.c_str(); }
    const char* GetEventId() const { return eventId_.c_str(); }
    const char* GetVendor() const { return vendor_.c_str(); }
    const char* GetProduct() const { return product_.c_str(); }
    const char* GetProductVersion() const { return productVersion_.c_str(); }
    const char* GetHeaderDelimiter() const { return headerDelimiter_.c_str(); }
    const char* GetFieldDelimiter() const { return fieldDelimiter_.c_str(); }

    void SetTOLVVersion(const std::string& text) { tolvVersion_ = text; }
    void SetEventId(const std::string& text) { eventId_ = text; }
    void SetVendor(const std::string& text) { vendor_ = text; }
    void SetProduct(const std::string& text) { product_ = text; }
    void SetProductVersion(const std::string& text) { productVersion_ = text; }
    void SetHeaderDelimiter(const std::string& text) { headerDelimiter_ = text; }
    void SetFieldDelimiter(const std::string& text) { fieldDelimiter_ = text; }
    /// @}

    /// A field's text; null when it was never set. Any number is a field, deliberately, also those that
    /// TOLVFieldName does not name.
    const char* GetField(TOLVFieldName field) const;

    bool IsFieldSet(TOLVFieldName field) const;

    /// Sets a field that was not set before. The first value stays, deliberately: setting it again does
    /// nothing, and the result is true all the same.
    bool SetField(TOLVFieldName field, const std::string& value);

    /// The key text of the fields 1 to 42, such as "srcPort" (static); null for every other number.
    static const char* GetFieldNameText(TOLVFieldName field);

    /// The number of bytes that SerializeTo writes.
    std::size_t GetSerializedSize() const;

    /// Appends the record at block's write position, in the form of docs/formats/tolv-event.md. A text is
    /// written up to its first zero, and its length is that of what is written. Throws
    /// UnmarshalMemoryException, with nothing written, when block is null or has no room for all of it in
    /// itself (its continuation is not looked at), or when the form cannot hold the record: a field's number
    /// outside 0 to 65,535, or more than 65,535 fields.
    void SerializeTo(ACE_Message_Block* block) const;

    /// Replaces the record, header texts and fields, by the one at block's read position, and moves that
    /// position behind it; what follows there is left alone. Of two fields with one number the first counts.
    /// The format version, the number of header texts and the bytes behind texts are not looked at,
    /// deliberately. Throws UnmarshalMemoryException when block is null or ends before the record does (its
    /// continuation is not looked at). After any exception all header texts are empty, there are no fields,
    /// and the read position is where it was.
    void SerializeFrom(ACE_Message_Block* block);

    /// \cond
    // GetCat() and SetCat() to GetCalCountryOrRegion() and SetCalCountryOrRegion(): as GetField and SetField.
#define CORVANE_TOLV_ACCESSORS(value, key, name)                           \
    const char* Get##name() const { return GetField(TOLVFieldName::key); } \
    void Set##name(const std::string& text) { SetField(TOLVFieldName::key, text); }
    CORVANE_TOLV_FIELDS(CORVANE_TOLV_ACCESSORS)
#undef CORVANE_TOLV_ACCESSORS
    /// \endcond

private:
    struct HeaderTexts;
    void Clear();

    std::string tolvVersion_;
    std::string eventId_;
    std::string vendor_;
    std::string product_;
    std::string productVersion_;
    std::string headerDelimiter_;
    std::string fieldDelimiter_;
    std::map<TOLVFieldName, std::string> fields_;
};

}  // namespace WindowsAgentCommon
