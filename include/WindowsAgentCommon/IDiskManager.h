#pragma once

#include <cstdint>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// Keeps account of the bytes that components put below one folder of limited capacity. Writes no files
/// itself. After Initialize any thread may call it.
class CORVANE_API IDiskManager : public IServiceComponent {
public:
    ~IDiskManager() override;

    static std::string GetServiceName();  ///< "DiskManager"

    /// Accounts for bytes about to be written. False, and nothing accounted, when they exceed what is left of
    /// the capacity; exactly filling it is allowed. True without accounting when accounting is off. caller:
    /// who asks; takes no part in the accounting.
    virtual bool ReserveSpace(unsigned int caller, std::uint64_t bytes) = 0;

    /// Gives back bytes of files that were removed; more than are accounted for leave 0.
    virtual void ReleaseSpace(unsigned int caller, std::uint64_t bytes) = 0;

    /// The folder, absolute; set by Initialize, empty where the settings turn the manager off. The
    /// reference is good until the next Initialize; copy what is needed for longer.
    virtual const std::wstring& GetBasePath() const = 0;

    /// The temporary folder of a caller: "Temp\" and the caller's name, made safe for a file name, below the
    /// base path of the registered disk manager, with "\" at its end. Not created. Without a registered disk
    /// manager, or one with a base path, below the folder that is the default of its base path. Callers whose
    /// names differ in more than letter case have different folders: what a file name must not hold becomes
    /// "%" and four hexadecimal digits, and what is then longer than 64 units "%" and a digest.
    static std::wstring GetTemporaryDirectory(const std::wstring& caller);
};

}  // namespace WindowsAgentCommon
