#pragma once

#include "WindowsAgentCommon/IUNCMachineNameFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "WindowsAgentCommon/UNCMachineName.h"

#include <ace/Service_Object.h>
#include <ace/Thread_Mutex.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace WindowsAgentCommon {

/// The service "UNCMachineNameFactory". It has no settings.
///
/// This machine is: the empty name, ".", "localhost", its NetBIOS name, its DNS host name with and without
/// its domain (all in any case), 127.x.x.x, and the addresses of its network adapters. Names and addresses
/// are read from the system at Initialize and again by a call that comes ten seconds or more after the last
/// reading, so that a change is seen within ten seconds without a thread and without an event to wait for.
/// Where the reading fails, what was read before stays.
class UNCMachineNameFactory : public ServiceComponentBase<IUNCMachineNameFactory, ACE_Service_Object> {
public:
    UNCMachineNameFactory();
    ~UNCMachineNameFactory() override;

    InitializeResult Initialize(const EnvironmentBlock& settings) override;

    /// Adds "MachineNames", how many names it keeps in mind, and "LocalHosts", how many this machine has.
    void GetStatus(EnvironmentBlock& status) const override;

    /// Forgets the objects; those that are held elsewhere go on working.
    void Shutdown() override;

    /// Throws InitializationException while the service is not initialised; out is then unchanged. No lock is
    /// held while the system is asked.
    void GetUNCMachineName(const std::string& name, std::shared_ptr<UNCMachineName>& out) override;

private:
    void refreshLocalHosts();
    bool isLocalLocked(const std::wstring& lowerCaseName, bool isAddress) const;
    void dropExpiredLocked();

    std::map<std::wstring, std::weak_ptr<UNCMachineName>>
        names_;                          // by original name in lower case; under lock_
    std::size_t dropAt_;                 // size of names_; under lock_
    std::set<std::wstring> localHosts_;  // in lower case; under lock_
    std::int64_t nextReading_;           // steady ticks; under lock_
    mutable ACE_Thread_Mutex lock_;
};

}  // namespace WindowsAgentCommon
