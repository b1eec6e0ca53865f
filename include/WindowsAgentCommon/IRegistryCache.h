#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// Reads registry values of one machine below HKEY_LOCAL_MACHINE through the cache. Keys and names are UTF-16
/// and know no case, a null-length name is the key's default value; of a 64-bit machine they are the 64-bit
/// ones. Functions return the Windows code, 0 = success, and leave the output alone on failure:
/// ERROR_FILE_NOT_FOUND for what is absent, ERROR_INVALID_DATATYPE for a value of another type,
/// ERROR_INVALID_DATA for one whose bytes do not suit its type, ERROR_MORE_DATA for one of more than 1 MiB,
/// ERROR_INVALID_PARAMETER for names with a zero in them, ERROR_TIMEOUT when another caller takes too long
/// with the same machine, ERROR_OPERATION_ABORTED, also as the last error, once the cache is shut down (for
/// good: after another Initialize, get another reader); otherwise what the machine or the way to it says.
/// What an answer is, absence included, holds for a while; see docs/registry-cache.md. Any thread; blocks
/// while a value is fetched, from a machine that does not answer as long as the system waits for it.
class CORVANE_API IRegistryCacheReader {
public:
    IRegistryCacheReader() = default;
    IRegistryCacheReader(const IRegistryCacheReader&) {}
    IRegistryCacheReader& operator=(const IRegistryCacheReader&) { return *this; }
    virtual ~IRegistryCacheReader();

    /// REG_SZ or REG_EXPAND_SZ, up to its first zero or its end; the latter is expanded with this process's
    /// environment for the local machine only.
    virtual unsigned long GetString(const std::wstring& key, const std::wstring& name, std::wstring& out) = 0;
    /// REG_DWORD.
    virtual unsigned long GetInteger(const std::wstring& key, const std::wstring& name,
                                     std::uint32_t& out) = 0;
    /// REG_MULTI_SZ, up to its first empty text.
    virtual unsigned long GetStrings(const std::wstring& key, const std::wstring& name,
                                     std::vector<std::wstring>& out) = 0;
    /// The bytes of a value of any type.
    virtual unsigned long GetBinary(const std::wstring& key, const std::wstring& name,
                                    std::vector<unsigned char>& out) = 0;
    /// The names of a key's direct subkeys, without those that have a zero in them: nobody can ask for them.
    virtual unsigned long GetSubkeys(const std::wstring& key, std::vector<std::wstring>& out) = 0;

    /// The message files of a source of the Security event log, in the order of the registry's text, blanks
    /// around them removed. For the local machine with environment variables expanded; for another one as
    /// they are reached from here: "%SystemRoot%" and "%windir%" are that machine's, and `C:\` becomes
    /// `\\machine\C$\`.
    virtual unsigned long GetSecurityMessageFiles(const std::wstring& source,
                                                  std::vector<std::wstring>& out) = 0;

    /// Forgets what is cached of this machine, but not that it could not be reached.
    virtual void Invalidate() = 0;
};

/// Caches registry values of local and remote machines, and knows this process's performance counters. After
/// Initialize any thread may call it. Before Initialize and from Shutdown on every function that returns a
/// code returns ERROR_OPERATION_ABORTED, which is the thread's last error, too.
class CORVANE_API IRegistryCache : public IServiceComponent {
public:
    ~IRegistryCache() override;

    static std::string GetServiceName();  ///< "RegistryCache"

    /// Samples one counter by its English name, such as "Private Bytes". 0, or ERROR_NOT_FOUND when the
    /// counter is unknown or the system gives no value. Rates, such as "% Processor Time", are those since
    /// the sample before, whoever took it.
    virtual unsigned long GetPerformanceCounter(const std::wstring& name, double& value) = 0;

    /// Samples all counters that can be had, by their English names; replaces what values held. 0, or
    /// ERROR_NOT_FOUND when there are none.
    virtual unsigned long GetPerformanceCounters(std::map<std::wstring, double>& values) = 0;

    /// Gives the reader of a machine: "" or "." for the local one, otherwise a name with or without leading
    /// backslashes. Does not connect yet. ERROR_INVALID_COMPUTERNAME for what is no name,
    /// ERROR_NOT_ENOUGH_QUOTA when readers of 1,024 machines are held.
    virtual unsigned long GetReader(const std::wstring& machine,
                                    std::shared_ptr<IRegistryCacheReader>& out) = 0;
};

}  // namespace WindowsAgentCommon
