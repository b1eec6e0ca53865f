#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "WindowsAgentCommon/EPSCollector.h"
#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"

namespace WindowsAgentCommon {
class IPayloadFactory;
class IPayloadRouter;
}  // namespace WindowsAgentCommon

namespace CorvaneAgent {

class IDeliveryBarrier;

/// What every collector shares: a thread that reads events, the way to the router, and a position that
/// survives a restart. A collector derives from it, overrides the four functions below, and exports a
/// creation function (see docs/tutorial.md).
///
/// Its position is a configuration block of its own making. It is kept through the persistence manager about
/// once a second, but only when every event emitted before it is safe (IDeliveryBarrier): after a kill no
/// event is missing, and at most what was emitted since the last kept position is repeated.
class Collector : public WindowsAgentCommon::ServiceComponentBase<WindowsAgentCommon::IDeviceService,
                                                                  WindowsAgentCommon::KORTask> {
public:
    Collector();

    void GetDependencies(std::vector<std::string>& services) const override;
    WindowsAgentCommon::InitializeResult Initialize(
        const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void Start() override;
    void Shutdown() override;
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;
    int svc() override;

protected:
    /// What one call of Collect came to.
    enum class Progress {
        kMore,      ///< Something was read: call again at once.
        kNothing,   ///< Nothing new: call again after the poll interval.
        kFinished,  ///< There will never be more (a file that is read once).
    };

    /// Reads the settings, all of which are UTF-8 text by name. Throws InitializationException for a value
    /// that cannot be used; the message names it.
    virtual void ReadSettings(const WindowsAgentCommon::EnvironmentBlock& settings) = 0;

    /// Continues behind position, which is empty at the first start ever. Called once, on the collector's
    /// thread.
    virtual void Restore(const WindowsAgentCommon::EnvironmentBlock& position) = 0;

    /// Reads some events (a batch of at most a few hundred, so that stopping is quick) and emits each.
    virtual Progress Collect() = 0;

    /// Adds to position what Restore needs to go on behind the last event emitted.
    virtual void SavePosition(WindowsAgentCommon::EnvironmentBlock& position) const = 0;

    /// Makes the payload of the next event, empty.
    std::shared_ptr<WindowsAgentCommon::IPayload> NewPayload();

    /// Adds a field by name; a name that is new becomes plain text.
    void AddText(WindowsAgentCommon::IPayload& payload, const std::string& name, const std::string& value);
    void AddInteger(WindowsAgentCommon::IPayload& payload, const std::string& name, std::int64_t value);

    /// Gives the payload its syslog header: "<priority>time host ".
    void AddHeader(WindowsAgentCommon::IPayload& payload, unsigned int priority,
                   std::int64_t unixMilliseconds, const std::string& host);

    /// Sends the event on its way and counts it. Blocks while the road is full. False when the collector is
    /// to stop: then the event was not taken, and SavePosition must not go beyond it.
    bool Emit(const std::shared_ptr<WindowsAgentCommon::IPayload>& payload);

    /// Counts an event that could not be read. where: for the log, such as a position. One log line each,
    /// then one for every hundred.
    void CountDamaged(const std::string& where, const std::string& why);

    bool IsStopping() const;  ///< Whether Collect should return.
    WindowsAgentCommon::Log GetLog() const { return log_; }

private:
    WindowsAgentCommon::Log log_;
};

}  // namespace CorvaneAgent
