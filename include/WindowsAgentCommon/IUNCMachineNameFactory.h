#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

class UNCMachineName;

/// Makes and classifies machine names. After Initialize any thread may call it.
class CORVANE_API IUNCMachineNameFactory : public IServiceComponent {
public:
    ~IUNCMachineNameFactory() override;

    static std::string GetServiceName();  ///< "UNCMachineNameFactory"

    /// Gives the object of a machine name as the operator wrote it, with or without leading backslashes.
    /// Equal names share one object as long as somebody holds it: those with the same original name but for
    /// its case, spelt as by whoever came first. Never empty; asks no DNS server.
    virtual void GetUNCMachineName(const std::string& name, std::shared_ptr<UNCMachineName>& out) = 0;
};

}  // namespace WindowsAgentCommon
