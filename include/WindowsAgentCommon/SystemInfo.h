#pragma once

#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// What the library knows of the system that it runs on, and its own version.
/// All functions are thread-safe. Texts are UTF-8. They throw only std::bad_alloc.

/// The Windows version of this machine.
struct CV_OS_INFO {
    std::string name;             ///< Display name, such as "Windows Server 2008 R2".
    bool isServer = false;        ///< The product type is a server; always true for Server 2003.
    bool isModern = false;        ///< Windows Vista, Server 2008 or later.
    int bits = 0;                 ///< 64 on 64-bit Windows (the library itself is always 32-bit), else 32.
    int servicePack = 0;          ///< Major service-pack number.
    int versionCode = 0;          ///< Major version x 10 + minor version: 51 is XP, 100 is Windows 10.
    int build = 0;                ///< Build number.
    unsigned int processors = 0;  ///< Number of logical processors.
};

/// The system's text for a Windows error code.
/// out: replaced by "Error code N: TEXT" without a trailing line break, N in decimal; by "Unable to format
/// error code N" where the system has no text. Placeholders such as %1 in a text stay as they are.
/// Returns whether the system had a text.
CORVANE_API bool GetLastErrorText(unsigned long code, std::string& out);

/// Fills info. Windows 8.1 and later tell their true version only to executables whose manifest declares
/// support for them, and 6.2 to all others: a host must carry such a manifest.
CORVANE_API void GetWindowsVersionInfo(CV_OS_INFO& info);

/// Replaces out by one display line, "Windows XP (Build 2600 SP3 32-bit)", or without the "SP3" when there is
/// no service pack. The line is made once per process.
CORVANE_API void GetWindowsVersionString(std::string& out);

/// Asks the service control manager for a service's state.
/// service: the service's name. machine: name of the machine to ask; null asks this one.
/// state: the Windows service state number (4 is running); unchanged on failure.
/// Returns the Windows error code, 0 = success (ERROR_SERVICE_DOES_NOT_EXIST when there is no such service,
/// ERROR_INVALID_PARAMETER when service is null).
/// Blocks while a remote machine is asked.
CORVANE_API unsigned long GetWindowsServiceStatus(const wchar_t* service, unsigned long& state,
                                                  const wchar_t* machine);

/// The same on this machine.
CORVANE_API unsigned long GetWindowsServiceStatus(const wchar_t* service, unsigned long& state);

/// Replaces out by the library's version, "7.2.8.145".
CORVANE_API void GetKORVersionString(std::string& out);

}  // namespace WindowsAgentCommon
