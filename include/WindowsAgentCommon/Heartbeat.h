#pragma once

#include <map>
#include <string>

#include "WindowsAgentCommon/TOLVLogMonitor.h"

namespace WindowsAgentCommon {

/// The log monitor of heartbeat events: the operator's "heartbeat_custom.props" in the configuration folder
/// is appended to the category in place of the application identifier, each of its entries as TAB, name, "=",
/// value, ascending by name and as they stand.
///
/// What was read is kept for the process and read again when the file's time of modification changes. A file
/// that disappears and returns with the time that it had is deliberately not read again.
class CORVANE_API Heartbeat : public TOLVLogMonitor {
public:
    Heartbeat();
    Heartbeat(const Heartbeat& other);
    Heartbeat& operator=(const Heartbeat& other);
    ~Heartbeat() override;

    /// As the base, then GetCustomProps.
    void Initialize(const std::multimap<std::string, std::string>& settings) override;

protected:
    /// The property file's path, asked for once in the life of the process.
    virtual std::wstring GetCustomPropFile();

    /// Takes the file's entries over; without a file there are none, which is logged once in the life of the
    /// process. Any thread; the settings are not looked at.
    void GetCustomProps(const std::multimap<std::string, std::string>& settings);
};

}  // namespace WindowsAgentCommon
