#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// Reads registry values of one machine below HKEY_LOCAL_MACHINE through the cache. Keys and names are UTF-16
/// and know no case, a null-length name is the key's default value. Functions return the Windows code, 0 =
/// success, and leave the output alone on failure. Any thread; blocks while a value is fetched.
class CORVANE_API IRegistryCacheReader {
public:
    IRegistryCacheReader() = default;
    IRegistryCacheReader(const IRegistryCacheReader&) {}
    IRegistryCacheReader& operator=(const IRegistryCacheReader&) { return *this; }
    virtual ~IRegistryCacheReader();

    /// A text; REG_EXPAND_SZ is expanded with this process's environment for the local machine only.
    virtual unsigned long GetString(const std::wstring& key, const std::wstring& name, std::wstring& out) = 0;
    virtual unsigned long GetInteger(const std::wstring& key, const std::wstring& name,
                                     std::uint32_t& out) = 0;
    virtual unsigned long GetStrings(const std::wstring& key, const std::wstring& name,
                                     std::vector<std::wstring>& out) = 0;
    virtual unsigned long GetBinary(const std::wstring& key, const std::wstring& name,
                                    std::vector<unsigned char>& out) = 0;
    virtual unsigned long GetSubkeys(const std::wstring& key, std::vector<std::wstring>& out) = 0;

    /// The message files of a source of the Security event log, in the order of the registry's text.
    virtual unsigned long GetSecurityMessageFiles(const std::wstring& source,
                                                  std::vector<std::wstring>& out) = 0;

    virtual void Invalidate() = 0;  ///< Forgets what is cached of this machine.
};

/// Caches registry values of local and remote machines, and knows this process's performance counters. After
/// Initialize any thread may call it.
class CORVANE_API IRegistryCache : public IServiceComponent {
public:
    ~IRegistryCache() override;

    static std::string GetServiceName();  ///< "RegistryCache"

    /// Samples one counter by its English name, such as "Private Bytes". 0; ERROR_OPERATION_ABORTED while
    /// shutting down; ERROR_NOT_FOUND when the counter is unknown or the system gives no value.
    virtual unsigned long GetPerformanceCounter(const std::wstring& name, double& value) = 0;

    /// Samples all counters that can be had, by their English names; replaces what values held. 0, or
    /// ERROR_OPERATION_ABORTED, or ERROR_NOT_FOUND when there are none.
    virtual unsigned long GetPerformanceCounters(std::map<std::wstring, double>& values) = 0;

    /// Gives the reader of a machine: "" or "." for the local one, otherwise a name with or without leading
    /// backslashes. Does not connect yet. ERROR_OPERATION_ABORTED while shutting down.
    virtual unsigned long GetReader(const std::wstring& machine,
                                    std::shared_ptr<IRegistryCacheReader>& out) = 0;
};

}  // namespace WindowsAgentCommon
