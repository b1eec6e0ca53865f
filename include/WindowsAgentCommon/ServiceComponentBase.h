#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// Joins a service interface with an ACE base class (ACE_Service_Object, KORTask) and supplies what all
/// components share. A component derives from it and adds Initialize, Shutdown, its interface's operations
/// and whatever else differs. The ACE part is constructed first, and destroyed last.
///
/// Nothing of it needs a lock: the configuration is set before the component is shared, and the status flag
/// is atomic.
template <class Interface, class AceBase>
class ServiceComponentBase : public AceBase, public Interface {
public:
    void Configure(const ServiceConfig& config) override { config_ = config; }
    const ServiceConfig& GetServiceConfig() const override { return config_; }
    std::string GetInstanceName() const override { return config_.text1; }
    std::string GetVersion() const override { return "7.2.8"; }
    void GetDependencies(std::vector<std::string>&) const override {}  ///< None.
    bool IsInitialized() const override { return initialized_.load(std::memory_order_acquire); }
    void Start() override {}                             ///< Nothing.
    void GetStatus(EnvironmentBlock&) const override {}  ///< Nothing.

    /// ACE's own life cycle: success, whatever the directive's parameter text says.
    int init(int, wchar_t*[]) override { return 0; }

    /// ACE's own life cycle, when the service configurator ends the service: Shutdown, which throws nothing.
    int fini() override {
        this->Shutdown();
        return 0;
    }

protected:
    ServiceComponentBase() = default;

    /// Sets or clears the status flag, which IsInitialized gives.
    void SetInitialized(bool value) { initialized_.store(value, std::memory_order_release); }

private:
    ServiceConfig config_;
    std::atomic<bool> initialized_{false};
};

}  // namespace WindowsAgentCommon
