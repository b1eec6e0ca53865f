#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "agent/host/AgentHost.h"
#include "agent/host/CrashGuard.h"
#include "agent/host/Options.h"
#include "agent/host/ServiceControl.h"
#include "agent/sdk/Clock.h"

#include <ace/OS_main.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <utility>

#include "agent/sdk/Win32.h"

using namespace CorvaneAgent;

namespace {

HANDLE stopRequested = nullptr;
HANDLE stopped = nullptr;
std::int64_t started = 0;

BOOL WINAPI onConsoleEvent(DWORD event) {
    ::SetEvent(stopRequested);
    // When the console closes or the user logs off, the process ends as soon as this returns.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) ::WaitForSingleObject(stopped, 15'000);
    return TRUE;
}

/// Prints a line as the library formats it; the compiler's own printf family means other things.
template <class... Arguments>
void print(std::FILE* out, const char* format, Arguments... arguments) {
    std::string text;
    WindowsAgentCommon::Format(text, format, arguments...);
    std::fputs(text.c_str(), out);
}

/// What an operator looks at first of one destination.
struct Delivery {
    unsigned long long sent = 0, resent = 0, spooled = 0, waitingBytes = 0, dropped = 0;
};

/// The same of the collectors together, and of each destination by its name.
struct Totals {
    unsigned long long read = 0, damaged = 0;
    std::map<std::string, Delivery> destinations;
};

/// Adds a destination's counter, "DESTINATION.COUNTER"; those of its sender count the same events again.
void addDelivery(const std::string& name, unsigned long long count, Totals& totals) {
    static constexpr std::pair<const char*, unsigned long long Delivery::*> kCounters[] = {
        {".Sent", &Delivery::sent},
        {".Resent", &Delivery::resent},
        {".Spooled", &Delivery::spooled},
        {".SpoolBytes", &Delivery::waitingBytes},
    };
    if (name.find(".Sender.") != std::string::npos) return;
    if (const auto dropped = name.find(".Dropped."); dropped != std::string::npos)
        totals.destinations[name.substr(0, dropped)].dropped += count;
    const std::size_t dot = std::min(name.rfind('.'), name.size());
    for (const auto& [end, counter] : kCounters)
        if (name.substr(dot) == end) totals.destinations[name.substr(0, dot)].*counter += count;
}

Totals totalsOf(const AgentState& state) {
    Totals totals;
    for (const auto& [component, status] : state.components) {
        for (const auto& [name, value] : status.Entries()) {
            const unsigned long long count = std::strtoull(value.c_str(), nullptr, 10);
            if (name == "Events") totals.read += count;
            if (name == "Damaged") totals.damaged += count;
            if (component == "DestinationManager") addDelivery(name, count, totals);
        }
    }
    return totals;
}

void printProgress(const AgentState& state) {
    const Totals totals = totalsOf(state);
    print(stdout, "corvane-agent: read %I64u", totals.read);
    for (const auto& [name, delivery] : totals.destinations) {
        print(stdout, "; %s: sent %I64u, %I64u bytes wait, dropped %I64u", name.c_str(), delivery.sent,
              delivery.waitingBytes, delivery.dropped);
    }
    print(stdout, "\n");
    std::fflush(stdout);
}

void printSummary(const AgentState& state) {
    const Totals totals = totalsOf(state);
    const double seconds = static_cast<double>(SteadyMilliseconds() - started) / 1000;
    print(stdout, "corvane-agent: events read %I64u (damaged %I64u)\n", totals.read, totals.damaged);
    for (const auto& [name, delivery] : totals.destinations) {
        print(stdout,
              "corvane-agent: destination %s: sent %I64u (repeated %I64u), spooled %I64u (%I64u bytes wait), "
              "dropped %I64u\n",
              name.c_str(), delivery.sent, delivery.resent, delivery.spooled, delivery.waitingBytes,
              delivery.dropped);
    }
    print(stdout,
          "corvane-agent: %.1f seconds, %.0f events a second\n"
          "corvane-agent: logs, statistics and state.json are in %s\n",
          seconds, seconds > 0 ? static_cast<double>(totals.read) / seconds : 0.0,
          WindowsAgentCommon::ToUTF8(WindowsAgentCommon::GetLogPath()).c_str());
}

int checkConfiguration(const Options& options) {
    AgentHost host(options, nullptr);
    std::string summary;
    const ExitCode code = host.Check(summary);
    const bool good = code == kExitSuccess;
    print(good ? stdout : stderr, "corvane-agent: %s\n", (good ? summary : host.GetError()).c_str());
    return code;
}

int runOnConsole(const Options& options) {
    stopRequested = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    stopped = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::SetConsoleCtrlHandler(&onConsoleEvent, TRUE);
    started = SteadyMilliseconds();
    AgentHost host(options, stopRequested);
    ExitCode code = host.Start();
    if (code != kExitSuccess) {
        print(stderr, "corvane-agent: %s\n", host.GetError().c_str());
    } else {
        host.Run(&printProgress);
        AgentState final;
        code = host.Stop(final);
        printSummary(final);
    }
    ::SetEvent(stopped);
    return code;
}

int serviceCommand(const Options& options, unsigned long (*command)(const Options&), const char* done) {
    const unsigned long error = command(options);
    if (error != 0) {
        print(stderr, "corvane-agent: %s\n", WindowsAgentCommon::LastError(error).c_str());
        return kExitService;
    }
    print(stdout, "corvane-agent: the service %s %s\n",
          WindowsAgentCommon::ToUTF8(options.serviceName).c_str(), done);
    return kExitSuccess;
}

int dispatch(const Options& options) {
    using Action = Options::Action;
    ExitCode exitCode = kExitSuccess;
    std::string version;
    switch (options.action) {
        case Action::kHelp:
            std::fputs(HelpText(), stdout);
            return kExitSuccess;
        case Action::kVersion:
            WindowsAgentCommon::GetKORVersionString(version);
            print(stdout, "corvane-agent %s\n", version.c_str());
            return kExitSuccess;
        case Action::kInstall:
            return serviceCommand(options, &InstallService, "is installed");
        case Action::kUninstall:
            return serviceCommand(options, &UninstallService, "is removed");
        case Action::kStart:
            return serviceCommand(options, &StartAgentService, "is running");
        case Action::kStop:
            return serviceCommand(options, &StopAgentService, "has stopped");
        case Action::kService:
            if (const unsigned long error = RunAsService(options, exitCode)) {
                print(stderr, "corvane-agent: --service is for the service control manager: %s\n",
                      WindowsAgentCommon::LastError(error).c_str());
                return kExitService;
            }
            return exitCode;
        case Action::kCheck:
            return checkConfiguration(options);
        default:
            return runOnConsole(options);
    }
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
    ::SetDllDirectoryW(L"");  // no DLL from the working folder
    InstallCrashGuard();
    Options options;
    std::string error;
    if (!ParseOptions(argc, argv, options, error)) {
        print(stderr, "corvane-agent: %s\n", error.c_str());
        return kExitUsage;
    }
    return dispatch(options);
}
