#pragma once

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// A service that collects from a device: a service component by another type, so that a host can tell
/// collectors from the services that they use.
class CORVANE_API IDeviceService : public IServiceComponent {
public:
    ~IDeviceService() override;
};

}  // namespace WindowsAgentCommon
