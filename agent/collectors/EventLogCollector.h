#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/collectors/EventCollector.h"
#include "agent/collectors/EventLogRecord.h"
#include "agent/collectors/EventLogSource.h"

namespace CorvaneAgent {

/// Collects the live event logs of this machine. Settings: "Log" (one or more; Application and System),
/// "FromStart" ("T"; "F": at the first start ever, only what comes from then on). It asks each log at every
/// poll for its newest record, which is quicker than the system's notification: that comes every five seconds
/// at most. Status "Missed": records that the system overwrote before they were read.
class EventLogCollector : public EventCollector {
public:
    /// Makes the source of a log; tests give their own.
    using MakeSource = std::unique_ptr<EventLogSource> (*)();

    EventLogCollector();
    EventLogCollector(MakeSource makeSource, std::unique_ptr<EventMessageSource> messages);

    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;

protected:
    void ReadSettings(SettingsReader& settings) override;
    void Restore(const WindowsAgentCommon::EnvironmentBlock& position) override;
    Progress Collect() override;
    void SavePosition(WindowsAgentCommon::EnvironmentBlock& position) const override;

private:
    struct EventLog {
        std::string name;
        std::wstring wideName;
        std::unique_ptr<EventLogSource> source;  // null: not open
        unsigned long error = 0;                 // of the last attempt, 0 for none
        bool begun = false;                      // number and time are those of a record, or of none (0)
        bool checked = false;                    // whether the record begun with is still that record
        std::uint32_t number = 0, time = 0;      // of the last record emitted or found damaged
    };

    Progress collect(EventLog& log);
    bool open(EventLog& log);
    bool findNext(EventLog& log, std::uint32_t& next);
    bool isSameRecord(EventLog& log);
    Progress readFrom(EventLog& log, std::uint32_t next);
    bool emit(const EventLog& log, const EventLogRecord& record);
    void skip(EventLog& log, const char* why);
    void fail(EventLog& log, unsigned long error);
    std::string messageOf(const EventLog& log, const EventLogRecord& record);

    MakeSource makeSource_;
    std::unique_ptr<EventMessageSource> messages_;
    std::vector<EventLog> logs_;
    bool fromStart_ = true;
    std::atomic<std::uint64_t> missed_{0};
    std::vector<unsigned char> bytes_;
    EventRecord record_;
};

}  // namespace CorvaneAgent
