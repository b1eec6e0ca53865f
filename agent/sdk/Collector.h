#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "WindowsAgentCommon/SimpleEPS.h"
#include "agent/sdk/Handle.h"
#include "agent/sdk/IStoppable.h"
#include "agent/sdk/LocalTime.h"
#include "agent/sdk/SettingsReader.h"

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
///
/// Settings of every collector: "PollInterval" (ms between looking for news, 500; 10 to 60,000),
/// "CheckpointInterval" (ms between kept positions, 1000; 100 to 60,000), "Host" (the host of events that
/// name none; the computer's name), "Facility" (syslog facility, 16; 0 to 23).
///
/// The four functions, and everything protected, run on the collector's thread, ReadSettings on that of
/// Initialize. What they throw is logged, once for each change of state, and tried again after a pause (ten
/// poll intervals, 5 s at most): Collect then begins with the event that was not taken.
class Collector : public WindowsAgentCommon::ServiceComponentBase<WindowsAgentCommon::IDeviceService,
                                                                  WindowsAgentCommon::KORTask>,
                  public IStoppable {
public:
    Collector();
    ~Collector() override;

    /// Payload factory, payload router and persistence manager.
    void GetDependencies(std::vector<std::string>& services) const override;

    /// Throws InitializationException for a setting that is unknown or cannot be used, a service that is
    /// missing, or a router that offers no IDeliveryBarrier.
    WindowsAgentCommon::InitializeResult Initialize(
        const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void Start() override;

    /// The thread reads nothing more, and keeps its position a last time when the events are safe by the
    /// deadline.
    void BeginStop(std::int64_t deadline) override;

    /// BeginStop, with a deadline in one second unless it was told one, and the end of the thread.
    void Shutdown() override;

    /// "State" ("stopped", "running", "waiting" for a road that is full, "failing", "finished"), "Events",
    /// "Damaged", "Cut" (fields that were too long for a line) and "Position", the last one kept.
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;
    int svc() override;

protected:
    /// What one call of Collect came to.
    enum class Progress {
        kMore,      ///< Something was read: call again at once.
        kNothing,   ///< Nothing new: call again after the poll interval.
        kFinished,  ///< There will never be more (a file that is read once).
    };

    /// Reads the collector's own settings, UTF-8. Throws InitializationException for a value that cannot be
    /// used; the message names it. What it does not read, and Collector does not know, is refused afterwards.
    virtual void ReadSettings(SettingsReader& settings) = 0;

    /// Continues behind position, which is empty at the first start ever. Called once, on the collector's
    /// thread.
    virtual void Restore(const WindowsAgentCommon::EnvironmentBlock& position) = 0;

    /// Reads some events (a batch of at most a few hundred, so that stopping is quick) and emits each.
    virtual Progress Collect() = 0;

    /// Adds to position what Restore needs to go on behind the last event emitted.
    virtual void SavePosition(WindowsAgentCommon::EnvironmentBlock& position) const = 0;

    /// Makes the payload of the next event, empty.
    std::shared_ptr<WindowsAgentCommon::IPayload> NewPayload();

    /// Adds a field to the payload made last. Names are registered with the payload factory; blanks, "=" and
    /// control characters in them become "_", and beyond 4,000 names, or 128 bytes of one, the field is
    /// called "Other" and its value NAME=VALUE. A value that the line has no room for (63 KiB) is cut at a
    /// character boundary, ends with "[cut]" and is counted.
    void AddText(WindowsAgentCommon::IPayload& payload, std::string_view name, std::string_view value);
    void AddInteger(WindowsAgentCommon::IPayload& payload, std::string_view name, std::int64_t value);
    void AddHexadecimal(WindowsAgentCommon::IPayload& payload, std::string_view name, std::uint64_t value);

    /// Gives the payload its syslog header: "<priority>time host ". The time is local. What a host may not
    /// hold becomes "_", what is beyond 255 bytes is left out; an empty one is the setting "Host".
    void AddHeader(WindowsAgentCommon::IPayload& payload, unsigned int priority,
                   std::int64_t unixMilliseconds, std::string_view host);

    /// The priority of a severity (0 to 7) with the setting "Facility".
    unsigned int GetPriority(unsigned int severity) const { return facility_ * 8 + severity; }

    /// Sends the event on its way and counts it. Blocks while the road is full. False when the collector is
    /// to stop: then the event was not taken, and SavePosition must not go beyond it.
    bool Emit(const std::shared_ptr<WindowsAgentCommon::IPayload>& payload);

    /// Counts an event that could not be read. where: for the log, such as a position. One log line each for
    /// the first ten, then one for every hundred.
    void CountDamaged(const std::string& where, const std::string& why);

    bool IsStopping() const { return stopping_.load(std::memory_order_acquire); }  ///< Collect should return.
    WindowsAgentCommon::Log GetLog() const { return log_; }

private:
    enum class State { kStopped, kRunning, kWaiting, kFailing, kFinished };

    void restore();
    Progress collectSafely();
    bool checkpoint();
    bool waitUntilSafe() const;
    void tellCheckpoint(const std::string& trouble);
    bool pause(unsigned int milliseconds) const;
    unsigned int fieldId(std::string_view name, std::int64_t type);
    void addText(WindowsAgentCommon::IPayload& payload, unsigned int id, std::string_view name,
                 std::string_view prefix, std::string_view value);
    void addNumber(WindowsAgentCommon::IPayload& payload, std::string_view name, std::int64_t type,
                   std::int64_t value);

    using FieldIds = std::unordered_map<std::string_view, unsigned int>;

    WindowsAgentCommon::Log log_;
    WindowsAgentCommon::IPayloadFactory* factory_ = nullptr;
    WindowsAgentCommon::IPayloadRouter* router_ = nullptr;
    IDeliveryBarrier* barrier_ = nullptr;
    std::shared_ptr<WindowsAgentCommon::IPersistentRecord> record_;
    std::shared_ptr<WindowsAgentCommon::SimpleEPS> eps_;
    unsigned int pollMs_ = 500, checkpointMs_ = 1000, facility_ = 16;
    std::string host_;

    Handle stop_;
    std::atomic<bool> stopping_{false};
    std::int64_t stopBy_ = 0;  // written before stopping_
    std::atomic<State> state_{State::kStopped};
    std::atomic<std::uint64_t> events_{0}, damaged_{0}, cut_{0};
    mutable ACE_Thread_Mutex positionLock_;
    std::string position_;  // the last one kept, as text; under positionLock_

    // The rest belongs to the collector's thread.
    bool restored_ = false, changed_ = false;  // changed_: since the last kept position
    std::uint32_t uncounted_ = 0;              // events that eps_ does not know of yet
    std::int64_t nextCheckpoint_ = 0;
    std::string trouble_, checkpointTrouble_;  // told last, empty for none
    FieldIds textIds_, integerIds_, hexadecimalIds_;
    std::deque<std::string> names_;  // what the keys refer to
    std::size_t room_ = 0;           // bytes that the payload's line has left
    unsigned int headerId_ = 0, otherId_ = 0;
    WindowsAgentCommon::PayloadField text_, number_;  // reused, so that no field allocates
    LocalTime time_;
};

}  // namespace CorvaneAgent
