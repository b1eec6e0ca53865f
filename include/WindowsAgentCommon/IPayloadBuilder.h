#pragma once

#include <string>

#include "CorvaneExport.h"

class ACE_Time_Value;

namespace WindowsAgentCommon {

class IPayload;

/// Turns payloads into text. One thread at a time.
class CORVANE_API IPayloadBuilder {
public:
    IPayloadBuilder() = default;
    IPayloadBuilder(const IPayloadBuilder&) {}
    IPayloadBuilder& operator=(const IPayloadBuilder&) { return *this; }
    virtual ~IPayloadBuilder();

    /// out: the payload's text, replacing what it held. Throws what payload.Accept throws; out is unchanged
    /// then.
    virtual void BuildPayloadString(IPayload& payload, std::string& out) = 0;

    /// out: "<13>Mar 05 09:07:03 ws1 ", the blank at its end included: priority as given, time as local time
    /// with the day in two digits (deliberately a zero, not a blank, in front), month names always in
    /// English, host as given up to a zero byte. A time before 1970 gives "Jan 01 00:00:00". Any thread.
    static void FormatSyslogHeaderString(std::string& out, unsigned int priority, const ACE_Time_Value& time,
                                         const std::string& host);
};

}  // namespace WindowsAgentCommon
