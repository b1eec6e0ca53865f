#include "agent/net/SenderSettings.h"

#include "agent/net/Sockets.h"
#include "agent/sdk/SettingsReader.h"

#include <algorithm>

namespace CorvaneAgent {

SenderSettings ReadSenderSettings(const WindowsAgentCommon::EnvironmentBlock& block) {
    constexpr unsigned int kHourMs = 3'600'000, kMaxQueue = 256 << 20, kMaxDatagram = 65'507;
    SettingsReader settings("the sender", block.Entries());
    SenderSettings result;
    const std::string type = settings.Text("Type");
    result.stream = !type.empty() && (type[0] == 'T' || type[0] == 't');
    if (result.stream)
        result.framing = settings.Choice("Framing", "LineFeed", {"LineFeed", "OctetCounting"}) == "LineFeed"
                             ? Framing::kLineFeed
                             : Framing::kOctetCounting;

    result.targetAddress = settings.Text("TargetAddress");
    if (result.targetAddress.size() > 1 && result.targetAddress.front() == '[' &&
        result.targetAddress.back() == ']')
        result.targetAddress = result.targetAddress.substr(1, result.targetAddress.size() - 2);
    if (result.targetAddress.empty() || result.targetAddress.find('\0') != std::string::npos)
        settings.Refuse("TargetAddress", result.targetAddress, "is no host's name or address");
    result.targetPort = settings.Number<unsigned short>("TargetPort", 514, 1, 65'535);

    const unsigned int high = settings.Number("QueueHighWaterMark", 1'000'000, 1, kMaxQueue);
    result.queueHighWaterMark = high;
    result.queueLowWaterMark =
        std::min(high, settings.Number("QueueLowWaterMark", high - high / 2000, 0, kMaxQueue));
    // Four bytes are the longest character.
    result.maxPayloadSize = result.stream ? settings.Number("MaxPayloadSize", 32'000, 4, kMaxQueue)
                                          : settings.Number("MaxPayloadSize", 1020, 4, kMaxDatagram);
    result.discardOnLoss = settings.Flag("DiscardOnLoss", false);
    result.connectTimeout = settings.Number("ConnectTimeout", 5000, 1, kHourMs);
    result.backoffMax = settings.Number("BackoffMax", 30'000, 1, kHourMs);
    result.backoffMin =
        settings.Number("BackoffMin", std::min(500U, result.backoffMax), 1, result.backoffMax);
    result.sendTimeout = settings.Number("SendTimeout", 30'000, 1, kHourMs);
    return result;
}

std::string SenderSettings::GetTarget() const {
    return MakeTarget(stream ? "tcp" : "udp", targetAddress, targetPort);
}

}  // namespace CorvaneAgent
