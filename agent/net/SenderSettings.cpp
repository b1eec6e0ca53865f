#include "agent/net/SenderSettings.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/net/Sockets.h"

#include <algorithm>
#include <charconv>

namespace CorvaneAgent {

namespace {

using WindowsAgentCommon::EnvironmentBlock;

[[noreturn]] void refuse(const std::string& name, const std::string& value, const std::string& wanted) {
    throw WindowsAgentCommon::InitializationException(
        __FILE__, __FUNCTION__, __LINE__, "Setting " + name + " is \"" + value + "\", but must be " + wanted);
}

unsigned int number(const EnvironmentBlock& settings, const std::string& name, unsigned int minimum,
                    unsigned int maximum, unsigned int defaultValue) {
    std::string text;
    if (!settings.GetStringValue(name, text, "")) return defaultValue;
    unsigned int value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < minimum || value > maximum) {
        std::string wanted;
        WindowsAgentCommon::Format(wanted, "a number from %u to %u", minimum, maximum);
        refuse(name, text, wanted);
    }
    return value;
}

Framing framing(const EnvironmentBlock& settings) {
    std::string text;
    settings.GetStringValue("Framing", text, "LineFeed");
    if (text == "LineFeed") return Framing::kLineFeed;
    if (text == "OctetCounting") return Framing::kOctetCounting;
    refuse("Framing", text, "LineFeed or OctetCounting");
}

}  // namespace

SenderSettings ReadSenderSettings(const EnvironmentBlock& settings) {
    constexpr unsigned int kHourMs = 3'600'000, kMaxQueue = 256 << 20, kMaxDatagram = 65'507;
    SenderSettings result;
    std::string type;
    settings.GetStringValue("Type", type, "");
    result.stream = !type.empty() && (type[0] == 'T' || type[0] == 't');
    if (result.stream) result.framing = framing(settings);

    settings.GetStringValue("TargetAddress", result.targetAddress, "");
    if (result.targetAddress.size() > 1 && result.targetAddress.front() == '[' &&
        result.targetAddress.back() == ']')
        result.targetAddress = result.targetAddress.substr(1, result.targetAddress.size() - 2);
    if (result.targetAddress.empty() || result.targetAddress.find('\0') != std::string::npos)
        refuse("TargetAddress", result.targetAddress, "a host's name or address");
    result.targetPort = static_cast<unsigned short>(number(settings, "TargetPort", 1, 65'535, 514));

    const unsigned int high = number(settings, "QueueHighWaterMark", 1, kMaxQueue, 1'000'000);
    result.queueHighWaterMark = high;
    result.queueLowWaterMark =
        std::min(high, number(settings, "QueueLowWaterMark", 0, kMaxQueue, high - high / 2000));
    // Four bytes are the longest character.
    result.maxPayloadSize = result.stream ? number(settings, "MaxPayloadSize", 4, kMaxQueue, 32'000)
                                          : number(settings, "MaxPayloadSize", 4, kMaxDatagram, 1020);
    settings.GetBooleanValue("DiscardOnLoss", result.discardOnLoss, false);
    result.connectTimeout = number(settings, "ConnectTimeout", 1, kHourMs, 5000);
    result.backoffMax = number(settings, "BackoffMax", 1, kHourMs, 30'000);
    result.backoffMin =
        number(settings, "BackoffMin", 1, result.backoffMax, std::min(500U, result.backoffMax));
    result.sendTimeout = number(settings, "SendTimeout", 1, kHourMs, 30'000);
    return result;
}

std::string SenderSettings::GetTarget() const {
    return MakeTarget(stream ? "tcp" : "udp", targetAddress, targetPort);
}

}  // namespace CorvaneAgent
