#include "WindowsAgentCommon/TOLVLogMonitor.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IConnectionFactory.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "foundation/Clock.h"
#include "logging/HostPort.h"

#include <ace/Guard_T.h>
#include <ace/Time_Value.h>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr unsigned int kPriority = 13;  // facility user, severity notice
constexpr int kDefaultPort = 514;
constexpr unsigned int kShutdownMs = 1000;

using Guard = ACE_Guard<ACE_Thread_Mutex>;

CorvaneLogger::ALogger& logger() { return CorvaneLogger::CV_Logger::Logger("Code.TOLVLogMonitor"); }

std::string localHostName() {
    wchar_t name[256];
    DWORD size = 256;
    if (!::GetComputerNameExW(ComputerNameDnsHostname, name, &size)) return "localhost";
    return ToUTF8(name, 0);
}

ACE_Time_Value now() {
    const std::int64_t ticks = detail::SystemTicks() - detail::kTicksTo1970;
    return ACE_Time_Value(static_cast<time_t>(ticks / detail::kTicksPerSecond),
                          static_cast<suseconds_t>(ticks % detail::kTicksPerSecond / 10));
}

/// What the settings say about where lines go.
struct Target {
    std::string type;
    std::string address;
    int port = 0;
};

Target readTarget(const EnvironmentBlockHelper& settings) {
    Target target;
    settings.GetStringValue("LogMonitor.Socket.Type", target.type, std::string("UDP"));
    const bool stream = !target.type.empty() && (target.type[0] == 'T' || target.type[0] == 't');
    target.type = stream ? "TCP" : "UDP";
    std::string configurationServer;
    std::string statusServer;
    settings.GetStringValue("ConfigurationServer", configurationServer, std::string());
    settings.GetStringValue("StatusServer", statusServer, std::string());
    if (statusServer.empty()) statusServer = configurationServer;
    logger().Debug("SocketType:%s StatusServer:%s", target.type.c_str(), statusServer.c_str());

    std::string host;
    int port = 0;
    detail::SplitHostPort(statusServer, host, port);
    const int defaultPort = port > 0 ? port : kDefaultPort;
    settings.GetStringValue("TargetAddress", target.address, host);
    settings.GetIntegerValue("TargetPort", target.port, defaultPort);
    const bool isPort = target.port >= 1 && target.port <= 65535;
    if (!isPort) target.port = defaultPort;
    if (port < 0 || !isPort)
        logger().Warn("The port of the status server is not in 1 to 65535; taking %d", target.port);
    return target;
}

int positive(const EnvironmentBlockHelper& settings, const char* name, int defaultValue) {
    int value = 0;
    settings.GetIntegerValue(name, value, defaultValue);
    return value > 0 ? value : defaultValue;
}

void setPositive(const EnvironmentBlockHelper& settings, const char* name, int defaultValue,
                 EnvironmentBlock& out) {
    out.SetIntegerValue(name, positive(settings, name, defaultValue));
}

EnvironmentBlock senderSettings(const EnvironmentBlockHelper& settings, const Target& target) {
    EnvironmentBlock out;
    std::multimap<std::string, std::string> passedOn;
    settings.GetValuesForMatchingName("LogMonitor\\.Socket\\.(.*?)", passedOn);
    for (const auto& [name, value] : passedOn) out.SetStringValue(name, value);
    out.SetStringValue("Type", target.type);
    out.SetStringValue("TargetAddress", target.address);
    out.SetIntegerValue("TargetPort", target.port);
    setPositive(settings, "QueueLowWaterMark", 999500, out);
    setPositive(settings, "QueueHighWaterMark", 1000000, out);
    setPositive(settings, "MaxPayloadSize", target.type == "TCP" ? 32000 : 1020, out);
    std::string builder;
    settings.GetStringValue("PayloadBuilderType", builder, std::string("TOLVPayloadBuilder"));
    out.SetStringValue("PayloadBuilderType", builder);
    return out;
}

std::shared_ptr<ISender> makeSender(const EnvironmentBlock& settings) {
    auto* const factory =
        dynamic_cast<IConnectionFactory*>(_getService(IConnectionFactory::GetServiceName()));
    if (!factory) {
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "Could not access the connection factory. Either the configuration is "
                                      "invalid or we were started up improperly.");
    }
    std::shared_ptr<ISender> sender;
    if (!factory->CreateSender(settings, sender) || !sender) {
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The connection factory makes no sender of these settings");
    }
    const unsigned long error = sender->Open();
    if (error != 0) {
        std::string text;
        GetLastErrorText(error, text);
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The sender cannot be opened: " + text);
    }
    return sender;
}

}  // namespace

TOLVLogMonitor::TOLVLogMonitor() = default;

TOLVLogMonitor::TOLVLogMonitor(const TOLVLogMonitor& other) : ILogMonitor(other), state_(other.state()) {}

TOLVLogMonitor& TOLVLogMonitor::operator=(const TOLVLogMonitor& other) {
    State copy = other.state();
    Guard guard(lock_);
    std::swap(state_, copy);
    return *this;
}

TOLVLogMonitor::~TOLVLogMonitor() = default;

void TOLVLogMonitor::Initialize(const std::multimap<std::string, std::string>& settings) {
    Shutdown();
    const EnvironmentBlockHelper helper(settings);
    const Target target = readTarget(helper);
    State state;
    state.minimumLevel = positive(helper, "LogMonitor.Level", kMonitorWarn);
    state.localHost = localHostName();
    state.destination = target.address;
    helper.GetStringValue("ApplicationIdentifier", state.applicationIdentifier, std::string());
    if (target.address.empty()) {
        logger().Info("Remote logging disabled due to a target server not being specified.");
    } else {
        state.sender = makeSender(senderSettings(helper, target));
    }
    {
        Guard guard(lock_);
        std::swap(state_, state);
    }
    if (state.sender) state.sender->Close(kShutdownMs);  // that of an Initialize meanwhile
}

void TOLVLogMonitor::OnMessage(MessageLevel_t level, const std::string& category,
                               const std::string& message) {
    std::shared_ptr<ISender> sender;
    std::string event;
    {
        Guard guard(lock_);
        if (!state_.sender || level < state_.minimumLevel) return;
        sender = state_.sender;
        std::string os;
        GetWindowsVersionString(os);
        IPayloadBuilder::FormatSyslogHeaderString(event, kPriority, now(), state_.localHost);
        std::string fields;
        Format(fields, "TOLV:1.0|Velmora|Corvane|7.2.8.145|%d|src=%s\tos=%s\tdst=%s\tsev=%d\tlog=",
               static_cast<int>(level) - 1, state_.localHost.c_str(), os.c_str(), state_.destination.c_str(),
               static_cast<int>(level));
        event += fields;
        event += category;
        event += state_.applicationIdentifier;
        event += "\tmsg=";
        event += message;
    }
    sender->Send(event.data(), event.size());
}

void TOLVLogMonitor::Shutdown() {
    std::shared_ptr<ISender> sender;
    {
        Guard guard(lock_);
        sender.swap(state_.sender);
    }
    if (sender) sender->Close(kShutdownMs);
}

void TOLVLogMonitor::SetApplicationIdentifier(const std::string& text) {
    Guard guard(lock_);
    state_.applicationIdentifier = text;
}

TOLVLogMonitor::State TOLVLogMonitor::state() const {
    Guard guard(lock_);
    return state_;
}

}  // namespace WindowsAgentCommon
