#include "WindowsAgentCommon/SyslogPayloadBuilder.h"

#include "WindowsAgentCommon/Formatting.h"
#include "logging/TimeStamp.h"

#include <ace/Time_Value.h>

namespace WindowsAgentCommon {

void IPayloadBuilder::FormatSyslogHeaderString(std::string& out, unsigned int priority,
                                               const ACE_Time_Value& time, const std::string& host) {
    // strftime's names would follow the host's C locale.
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::tm local = CorvaneLogger::detail::LocalTime(time.sec());
    Format(out, "<%d>%s %02d %02d:%02d:%02d %s ", static_cast<int>(priority), kMonths[local.tm_mon],
           local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, host.c_str());
}

SyslogPayloadBuilder::SyslogPayloadBuilder()
    : visitor_(std::make_shared<SyslogPayloadBuilderVisitor>("\t", "=")),
      log_(GetLoggerFactory().GetLog("Code.SyslogPayloadBuilder")) {}

SyslogPayloadBuilder::~SyslogPayloadBuilder() = default;

void SyslogPayloadBuilder::BuildPayloadString(IPayload& payload, std::string& out) {
    if (log_->IsTraceEnabled()) log_->Trace("Building payload size %d", static_cast<int>(payload.GetSize()));
    visitor_->reset();
    payload.Accept(*visitor_);
    visitor_->FinalizeContents();
    visitor_->copyLine(out);
}

}  // namespace WindowsAgentCommon
