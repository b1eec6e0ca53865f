#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/LoggerFactory.h"

typedef struct _FILETIME FILETIME;
typedef struct _SYSTEMTIME SYSTEMTIME;

namespace WindowsAgentCommon {

/// Reads settings from a multimap such as EnvironmentBlock::Entries(): the block's getters, and besides them
/// references to environment variables, wide text, times, and a read that checks a value and logs it.
///
/// A helper refers to the map, which must outlive it and its copies. What is not said here is as stated for
/// the EnvironmentBlock function of the same name. Thread rule: as for a const map; one that is read must not
/// be changed meanwhile.
class CORVANE_API EnvironmentBlockHelper {
public:
    explicit EnvironmentBlockHelper(const std::multimap<std::string, std::string>& entries);
    EnvironmentBlockHelper(const EnvironmentBlockHelper& other);
    EnvironmentBlockHelper& operator=(const EnvironmentBlockHelper& other);
    virtual ~EnvironmentBlockHelper();

    bool GetIntegerValue(const std::string& name, short& out, short defaultValue) const;
    bool GetIntegerValue(const std::string& name, unsigned short& out, unsigned short defaultValue) const;
    bool GetIntegerValue(const std::string& name, int& out, int defaultValue) const;
    bool GetIntegerValue(const std::string& name, long& out, long defaultValue) const;
    bool GetIntegerValue(const std::string& name, unsigned int& out, unsigned int defaultValue) const;
    bool GetIntegerValue(const std::string& name, unsigned long& out, unsigned long defaultValue) const;
    bool GetIntegerValue(const std::string& name, std::uint64_t& out, std::uint64_t defaultValue) const;
    bool GetFloatValue(const std::string& name, float& out, float defaultValue) const;
    bool GetFloatValue(const std::string& name, double& out, double defaultValue) const;
    bool GetBooleanValue(const std::string& name, bool& out, bool defaultValue) const;

    /// Gives the first value of the name and returns true; where there is none it gives defaultValue and
    /// returns false. In both, "%NAME%" is replaced by the value of that environment variable where it is
    /// set. UTF-8; ends at the first zero; out is empty when the text would exceed 4,095 UTF-16 units.
    bool GetStringValue(const std::string& name, std::string& out, const std::string& defaultValue) const;

    /// The same from UTF-8 to UTF-16, with nothing replaced and no limit.
    bool GetStringValue(const std::string& name, std::wstring& out, const std::wstring& defaultValue) const;

    bool GetArrayValue(const std::string& name, std::vector<std::string>& out) const;
    /// The same from UTF-8 to UTF-16.
    bool GetArrayValue(const std::string& name, std::vector<std::wstring>& out) const;

    /// Reads a UTC time as Convert() does ("20181212.145337.1234567") and returns true. Text that is no time
    /// gives zero and true. Where the name is missing it returns false, and defaultSpec says what out
    /// becomes: "NOW" the current time, "ZERO" all zero; anything else, null included, leaves out as it is.
    bool GetDateTime(const std::string& name, FILETIME& out, const char* defaultSpec) const;
    /// The same; a stored time leaves the day of the week as it is.
    bool GetDateTime(const std::string& name, SYSTEMTIME& out, const char* defaultSpec) const;

    bool ValueAvailable(const std::string& name) const;
    unsigned int ValueCount(const std::string& name) const;
    bool GetValuesForMatchingName(const std::string& pattern,
                                  std::multimap<std::string, std::string>& out) const;

    /// Reads a value, references replaced, that must be one of allowed; with none allowed, every value is
    /// refused. A missing name gives defaultValue, references replaced, and is a debug line; a value that is
    /// accepted is a debug line, too; in place of any other, out is defaultValue as it stands, and log gets a
    /// warning. It names the refused value where its wording promises the setting's name, deliberately.
    void GetStringValue(Log log, const std::string& name, std::string& out, const std::string& defaultValue,
                        const std::set<std::string>& allowed);

private:
    const std::multimap<std::string, std::string>* entries_;
};

}  // namespace WindowsAgentCommon
