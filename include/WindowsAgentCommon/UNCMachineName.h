#pragma once

#include <memory>
#include <string>

#include <ace/Thread_Mutex.h>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// The name of a machine whose logs are read: "\\" and a host name or IPv4 address, in the form that the
/// operator configured and, for another machine, in the form that DNS gives. Made and classified by the
/// service "UNCMachineNameFactory", shared by whoever reads that machine.
///
/// Narrow texts are UTF-8 (or whatever bytes the operator's name had), wide ones UTF-16. Any thread may call
/// anything at any time; the getters give copies. No lock is held while DNS is asked: only the threads that
/// ask wait for its answer. Throws only std::bad_alloc, after which nothing has changed.
class CORVANE_API UNCMachineName {
public:
    UNCMachineName(const UNCMachineName&) = delete;
    UNCMachineName& operator=(const UNCMachineName&) = delete;
    ~UNCMachineName();

    /// The name as configured, with "\\" in front where it is longer than two characters and does not begin
    /// with a backslash. Never blocks.
    std::string GetOriginalMachineName() const;
    std::wstring GetOriginalMachineNameW() const;  ///< The same in UTF-16.

    /// "\\" and the IPv4 address, or the original name as long as there is none.
    ///
    /// For another machine that is not resolved yet, DNS is asked first, as by ForceRefresh. Each call asks
    /// again as long as DNS does not answer: for a name that cannot be resolved every call blocks for two
    /// queries. Who needs the name often keeps it.
    std::string GetMachineName();
    std::wstring GetMachineNameW();  ///< The same in UTF-16, with the same warning.

    /// Whether it is another machine than this one, as it was when the object was made.
    bool IsRemote() const;

    /// Asks DNS for the IPv4 addresses of another machine that is named by its host name; does nothing for
    /// this machine and for addresses. The first address ever found stays: later answers are only logged (at
    /// debug level, as failures are, under "Device.UNCMachineName"). The host name is the original name
    /// without its leading backslashes; others in it stay. Blocks until the system's resolver has answered or
    /// given up, which for a silent server takes it two times some seconds.
    void ForceRefresh();

    /// Replaces out by an independent copy in the state of this moment.
    void Clone(std::shared_ptr<UNCMachineName>& out) const;

protected:
    UNCMachineName();  ///< Everything empty, this machine.

    /// name: as configured. Four groups of one to three digits with dots between them are an address,
    /// whatever their values, as they are with "\\" in front. This machine until the factory says otherwise.
    explicit UNCMachineName(const std::string& name);

    void Refresh();  ///< What ForceRefresh does.

private:
    friend class UNCMachineNameFactory;

    bool isResolved() const;
    bool resolve(const std::string& machineName);

    std::string originalName_;  // this, originalNameW_ and the flags stay once the object is shared
    std::wstring originalNameW_;
    std::string machineName_;    // under lock_
    std::wstring machineNameW_;  // under lock_
    bool isAddress_;
    bool isRemote_;
    mutable ACE_Thread_Mutex lock_;
};

}  // namespace WindowsAgentCommon
