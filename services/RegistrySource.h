#pragma once

#include "services/RegistryValue.h"

#include <memory>
#include <string>
#include <vector>

namespace WindowsAgentCommon::detail {

/// What the registry cache asks of the registries of machines: the system's calls, or what a test puts in
/// their place. Functions return the Windows code, 0 = success; outputs count only then. Calls to another
/// machine block as long as the system does, which may be a minute.

/// An open key. One thread at a time.
class RegistryKey {
public:
    virtual ~RegistryKey() = default;

    /// Reads a value; "" is the default one. ERROR_MORE_DATA when it has more than limit bytes.
    virtual unsigned long Query(const std::wstring& name, std::size_t limit, RegistryValue& out) = 0;

    /// The names of the subkeys. ERROR_MORE_DATA when they take more than limit bytes.
    virtual unsigned long GetSubkeys(std::size_t limit, std::vector<std::wstring>& out) = 0;

    /// Begins to watch the key, its values and the names of its subkeys. False where that cannot be had: on
    /// other machines, it cannot.
    virtual bool Watch() = 0;

    /// Whether the watched key may have changed since Watch.
    virtual bool HasChanged() = 0;

protected:
    RegistryKey() = default;
    RegistryKey(const RegistryKey&) = default;
    RegistryKey& operator=(const RegistryKey&) = default;
};

/// A machine's HKEY_LOCAL_MACHINE. One thread at a time.
class RegistryConnection {
public:
    virtual ~RegistryConnection() = default;
    virtual unsigned long Open(const std::wstring& key, std::unique_ptr<RegistryKey>& out) = 0;

protected:
    RegistryConnection() = default;
    RegistryConnection(const RegistryConnection&) = default;
    RegistryConnection& operator=(const RegistryConnection&) = default;
};

/// All machines. Any thread.
class RegistrySource {
public:
    virtual ~RegistrySource() = default;

    /// host: the machine's name without backslashes; empty for the local one.
    virtual unsigned long Connect(const std::wstring& host, std::unique_ptr<RegistryConnection>& out) = 0;

protected:
    RegistrySource() = default;
    RegistrySource(const RegistrySource&) = default;
    RegistrySource& operator=(const RegistrySource&) = default;
};

/// The system's own. Of a 64-bit machine it gives the 64-bit keys.
RegistrySource& WindowsRegistry();

}  // namespace WindowsAgentCommon::detail
