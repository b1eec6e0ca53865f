#pragma once

#include "WindowsAgentCommon/SystemInfo.h"

#include <string>

namespace WindowsAgentCommon::detail {

/// What Windows says of itself, with nothing concluded from it yet.
struct SystemVersion {
    unsigned long major = 0;
    unsigned long minor = 0;
    unsigned long build = 0;
    unsigned int servicePack = 0;   ///< Major service-pack number.
    unsigned int suiteMask = 0;     ///< VER_SUITE_... bits.
    bool isWorkstation = true;      ///< The product type.
    unsigned int architecture = 0;  ///< PROCESSOR_ARCHITECTURE_... of the machine, not of this process.
    unsigned int processors = 0;
    bool isServerR2 = false;  ///< GetSystemMetrics(SM_SERVERR2).
    bool isWow64 = false;     ///< This 32-bit process runs on 64-bit Windows.
};

/// Reads the system. What cannot be read keeps its default.
SystemVersion ReadSystemVersion();

/// Decides what the public record says of a system.
CV_OS_INFO DescribeWindowsVersion(const SystemVersion& system);

/// The display line of GetWindowsVersionString.
std::string WindowsVersionLine(const CV_OS_INFO& info);

}  // namespace WindowsAgentCommon::detail
