#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// A bag of named settings, each held as text: how components receive their parameters.
///
/// Names and values are byte strings of any content and length, empty ones included; nothing trims or checks
/// them. Entries stand in the byte-wise order of their names ("Port" and "port" are two), those of one name
/// in the order in which they came.
///
/// Nothing throws for a missing name or a value that is no number. Besides what is stated, std::bad_alloc is
/// all that is thrown; after it, setters and text files have changed nothing. Values are copied in and out.
/// Thread rule: several threads may read a block while nobody changes it.
class CORVANE_API EnvironmentBlock {
public:
    /// Upper half of the header of the binary form.
    static const std::uint32_t m_wMagicValue = 0xAAAA0000;
    /// The version of the binary form, the lower half.
    static const std::uint16_t m_wCurrentVersion = 1;

    EnvironmentBlock();                               ///< Empty.
    EnvironmentBlock(const EnvironmentBlock& other);  ///< A copy of all entries.
    EnvironmentBlock& operator=(const EnvironmentBlock& other);
    virtual ~EnvironmentBlock();

    /// The entries, for an EnvironmentBlockHelper; valid as long as the block.
    const std::multimap<std::string, std::string>& Entries() const noexcept { return entries_; }

    /// \name Setters
    /// Each puts one value in place of all entries of the name. Integers are stored in decimal,
    /// floating-point numbers with six decimals (the decimal point is that of the host's C locale), true as
    /// "T" and false as "F".
    /// @{
    void SetStringValue(const std::string& name, const std::string& value);
    void SetIntegerValue(const std::string& name, short value);
    void SetIntegerValue(const std::string& name, unsigned short value);
    void SetIntegerValue(const std::string& name, int value);
    void SetIntegerValue(const std::string& name, unsigned int value);
    void SetIntegerValue(const std::string& name, long value);
    void SetIntegerValue(const std::string& name, unsigned long value);
    void SetIntegerValue(const std::string& name, std::uint64_t value);
    void SetFloatValue(const std::string& name, float value);
    void SetFloatValue(const std::string& name, double value);
    void SetBooleanValue(const std::string& name, bool value);
    /// @}

    /// Puts one entry for each of values, in their order, in place of all entries of the name; with no values
    /// the name is gone.
    void SetArrayValue(const std::string& name, const std::vector<std::string>& values);

    /// \name Getters
    /// Each gives the first value of the name and returns true; where there is none it gives defaultValue and
    /// returns false. Numbers are read as the C runtime's atoi, atol, strtoul, _strtoui64 (base 10) and atof
    /// read them, short ones then cut to 16 bits: text that is no number gives 0 or the number that it begins
    /// with, and true all the same; "-5" read unsigned wraps around.
    /// @{
    bool GetStringValue(const std::string& name, std::string& out, const std::string& defaultValue) const;
    bool GetIntegerValue(const std::string& name, short& out, short defaultValue) const;
    bool GetIntegerValue(const std::string& name, unsigned short& out, unsigned short defaultValue) const;
    bool GetIntegerValue(const std::string& name, int& out, int defaultValue) const;
    bool GetIntegerValue(const std::string& name, unsigned int& out, unsigned int defaultValue) const;
    bool GetIntegerValue(const std::string& name, long& out, long defaultValue) const;
    bool GetIntegerValue(const std::string& name, unsigned long& out, unsigned long defaultValue) const;
    bool GetIntegerValue(const std::string& name, std::uint64_t& out, std::uint64_t defaultValue) const;
    bool GetFloatValue(const std::string& name, float& out, float defaultValue) const;
    bool GetFloatValue(const std::string& name, double& out, double defaultValue) const;
    /// False for an empty value and one that begins with "f" or "F". Only that letter is judged,
    /// deliberately: "no" and "0" are true.
    bool GetBooleanValue(const std::string& name, bool& out, bool defaultValue) const;
    /// @}

    /// Replaces out by all values of the name, in order. Returns false, out empty, where no entry has this
    /// name or a greater one. A missing name that a greater one follows gives true and an empty out,
    /// deliberately.
    bool GetArrayValue(const std::string& name, std::vector<std::string>& out) const;

    bool ValueAvailable(const std::string& name) const;      ///< Whether the name has an entry.
    unsigned int ValueCount(const std::string& name) const;  ///< The number of the name's entries.

    /// Replaces out by the entries whose whole name matches pattern, a regular expression of the ECMAScript
    /// grammar; in the expression's first group, where it has one, stands what becomes the name in out
    /// (nothing, where the group took no part).
    /// Returns true, also when nothing matched. Returns false, out empty, for text that is no regular
    /// expression, is longer than 1,024 bytes, or repeats so much that it takes more than 4,096 states.
    /// A name that takes too much does not match: one longer than 1,024 bytes; with a back-reference ("\1")
    /// in the pattern, one longer than 128 bytes; and one that takes the standard library more than
    /// 10,000,000 comparisons or, beside what the pattern's own depth takes, 256 KB of stack. The bounds are
    /// made for a thread's usual stack of 1 MB.
    bool GetValuesForMatchingName(const std::string& pattern,
                                  std::multimap<std::string, std::string>& out) const;

    /// \name Binary form (docs/formats/environment-block.md)
    /// The streams may throw what their exceptions() mask asks for.
    /// @{

    /// Writes the block. Returns false, with nothing written, when stream is not good; otherwise true,
    /// whether or not stream took everything: look at stream. An entry whose name and value take more than
    /// 4,084 bytes together is written, but ReadFrom() ends there: keep them shorter.
    bool SaveTo(std::ostream& stream) const;

    /// Replaces the block by what stream holds up to its end or failure. Takes under 8 bytes of memory for
    /// each byte of stream.
    /// Returns false and leaves the block as it is when stream is not good. Returns false, the block empty,
    /// when stream ends within the header, or holds another header: then the thread's last error is 222
    /// (ERROR_BAD_FILE_TYPE). Otherwise returns true. Reading ends at a record whose lengths contradict each
    /// other or that is longer than 4,096 bytes; what came before it stays. An unfinished last record is
    /// dropped.
    bool ReadFrom(std::istream& stream);
    /// @}

    /// \name Text form (docs/formats/environment-block.md)
    /// path: UTF-16, as for ReadTextFile() and SaveTextFile().
    /// @{

    /// Creates or replaces a file with a line name=value for each entry. Returns SaveTextFile()'s result.
    /// Line ends within a name or value, "=" within a name and white space around it come back differently.
    bool SaveTo(const std::wstring& path) const;

    /// Adds the lines of a file to the block, which keeps what it holds, and equal names side by side. The
    /// name is what stands before a line's first "=", without white space around it; the value is the rest,
    /// without line ends around it. Lines without "=" are skipped. A byte-order mark counts as part of the
    /// first name. Takes under 64 bytes of memory for each byte of the file.
    /// Returns false, the block unchanged, when the file cannot be read.
    bool ReadFrom(const std::wstring& path);
    /// @}

private:
    std::multimap<std::string, std::string> entries_;
};

}  // namespace WindowsAgentCommon
