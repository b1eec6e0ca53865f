#include "agent/collectors/EventCollector.h"

#include "agent/sdk/Clock.h"

namespace CorvaneAgent {

using WindowsAgentCommon::IPayload;

namespace {

constexpr std::uint64_t kAuditFailure = 0x10'0000'0000'0000;

// The names that an event's own data may not take.
constexpr std::string_view kReserved[] = {
    "EventID",      "Provider",   "Channel", "Level",        "Computer",          "RecordID",
    "Time",         "Version",    "Task",    "Opcode",       "Keywords",          "User",
    "ProcessID",    "ThreadID",   "Binary",  "ActivityID",   "RelatedActivityID", "LevelText",
    "TaskText",     "OpcodeText", "Message", "KeywordsText", "Qualifiers",        "DataOmitted",
    "ProviderGuid",
};

unsigned int severityOf(const EventRecord& record) {
    if ((record.keywords & kAuditFailure) != 0) return 4;
    switch (record.level) {
        case 1:
            return 2;  // critical
        case 2:
            return 3;  // error
        case 3:
            return 4;  // warning
        case 5:
            return 7;  // verbose
        default:
            return 6;
    }
}

}  // namespace

bool EventCollector::EmitEvent(const EventRecord& record) {
    const std::shared_ptr<IPayload> payload = NewPayload();
    const bool dated = record.unixMilliseconds != EventRecord::kAbsent;
    AddHeader(*payload, GetPriority(severityOf(record)),
              dated ? record.unixMilliseconds : SystemMilliseconds(), record.computer);
    addSystem(*payload, record);
    for (const auto& [name, value] : record.data) addData(*payload, name, value);
    if (record.omitted != 0) AddInteger(*payload, "DataOmitted", static_cast<std::int64_t>(record.omitted));
    addIfAny(*payload, "Binary", record.binary);
    if (!record.message.empty())
        AddText(*payload, "Message", record.message);  // the last one: tabs do no harm
    return Emit(payload);
}

void EventCollector::addSystem(IPayload& payload, const EventRecord& record) {
    AddInteger(payload, "EventID", record.eventId);
    addText(payload, "Provider", record.provider);
    addIfAny(payload, "Channel", record.channel);
    addIfAny(payload, "Level", record.level);
    addIfAny(payload, "LevelText", record.levelText);
    addIfAny(payload, "Computer", record.computer);
    addIfAny(payload, "RecordID", record.recordId);
    addIfAny(payload, "Time", record.timeText);
    addIfAny(payload, "ProviderGuid", record.providerGuid);
    addIfAny(payload, "Qualifiers", record.qualifiers);
    addIfAny(payload, "Version", record.version);
    addIfAny(payload, "Task", record.task);
    addIfAny(payload, "TaskText", record.taskText);
    addIfAny(payload, "Opcode", record.opcode);
    addIfAny(payload, "OpcodeText", record.opcodeText);
    if (record.keywords != 0) AddHexadecimal(payload, "Keywords", record.keywords);
    addIfAny(payload, "KeywordsText", record.keywordsText);
    addIfAny(payload, "ProcessID", record.processId);
    addIfAny(payload, "ThreadID", record.threadId);
    addIfAny(payload, "User", record.userSid);
    addIfAny(payload, "ActivityID", record.activityId);
    addIfAny(payload, "RelatedActivityID", record.relatedActivityId);
}

/// A tab would begin a field: it becomes "\\t".
void EventCollector::addText(IPayload& payload, std::string_view name, std::string_view value) {
    std::size_t tab = value.find('\t');
    if (tab == std::string_view::npos) return AddText(payload, name, value);
    escaped_.clear();
    for (; tab != std::string_view::npos; tab = value.find('\t')) {
        escaped_.append(value.substr(0, tab)).append("\\t");
        value.remove_prefix(tab + 1);
    }
    AddText(payload, name, escaped_.append(value));
}

/// A value of the event's own. Under a name that stands for something else it could pass for that.
void EventCollector::addData(IPayload& payload, std::string_view name, std::string_view value) {
    for (const std::string_view reserved : kReserved) {
        if (name == reserved) {
            addText(payload, std::string("Data.").append(name), value);
            return;
        }
    }
    addText(payload, name, value);
}

void EventCollector::addIfAny(IPayload& payload, std::string_view name, std::string_view value) {
    if (!value.empty()) addText(payload, name, value);
}

void EventCollector::addIfAny(IPayload& payload, std::string_view name, std::int64_t value) {
    if (value != EventRecord::kAbsent) AddInteger(payload, name, value);
}

}  // namespace CorvaneAgent
