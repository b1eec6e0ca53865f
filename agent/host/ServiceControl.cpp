#include "agent/host/ServiceControl.h"

#include "agent/host/AgentHost.h"
#include "agent/sdk/Clock.h"

#include <atomic>
#include <memory>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr std::int64_t kMaxWaitMs = 30'000;
constexpr DWORD kPollMs = 100;
constexpr DWORD kStopHintMs = 20'000;

struct ServiceCloser {
    void operator()(SC_HANDLE handle) const { ::CloseServiceHandle(handle); }
};
using Service = std::unique_ptr<SC_HANDLE__, ServiceCloser>;

/// Opens the service; error: 0 or the Windows code.
Service open(const Options& options, DWORD access, DWORD& error) {
    error = 0;
    const Service manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    Service service;
    if (manager) service.reset(::OpenServiceW(manager.get(), options.serviceName.c_str(), access));
    if (!service) error = ::GetLastError();
    return service;
}

DWORD waitFor(SC_HANDLE service, DWORD state) {
    const std::int64_t end = SteadyMilliseconds() + kMaxWaitMs;
    SERVICE_STATUS status;
    for (;;) {
        if (!::QueryServiceStatus(service, &status)) return ::GetLastError();
        if (status.dwCurrentState == state) return 0;
        if (state == SERVICE_RUNNING && status.dwCurrentState == SERVICE_STOPPED) {
            return status.dwWin32ExitCode != 0 ? status.dwWin32ExitCode : ERROR_SERVICE_NOT_ACTIVE;
        }
        if (SteadyMilliseconds() >= end) return ERROR_SERVICE_REQUEST_TIMEOUT;
        ::Sleep(kPollMs);
    }
}

DWORD stop(SC_HANDLE service) {
    const std::int64_t end = SteadyMilliseconds() + kMaxWaitMs;
    SERVICE_STATUS status;
    while (!::ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        const DWORD error = ::GetLastError();
        if (error == ERROR_SERVICE_NOT_ACTIVE) return 0;
        // It takes no stop while it starts, and needs none while it stops.
        if (error != ERROR_SERVICE_CANNOT_ACCEPT_CTRL) return error;
        if (SteadyMilliseconds() >= end) return ERROR_SERVICE_REQUEST_TIMEOUT;
        ::Sleep(kPollMs);
    }
    return waitFor(service, SERVICE_STOPPED);
}

/// What the service's main function and its control handler share; the dispatcher passes them nothing.
struct RunningService {
    const Options* options = nullptr;
    SERVICE_STATUS_HANDLE status = nullptr;
    HANDLE stopRequested = nullptr;
    ExitCode exitCode = kExitSuccess;
    bool stopping = false;  // what is pending next; the main function's
    std::atomic<DWORD> checkPoint{0};
};

RunningService running;

/// A stop that was asked for and was not clean is in the log only: as a failure it would be undone by a
/// restart.
bool hasFailed() { return running.exitCode != kExitSuccess && running.exitCode != kExitShutdown; }

void report(DWORD state, DWORD hint = 0) {
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN : 0;
    if (state == SERVICE_STOPPED && hasFailed()) {
        status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
        status.dwServiceSpecificExitCode = static_cast<DWORD>(running.exitCode);
    }
    status.dwWaitHint = hint;
    if (state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING)
        status.dwCheckPoint = ++running.checkPoint;
    ::SetServiceStatus(running.status, &status);
}

DWORD WINAPI onControl(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
    if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_SHUTDOWN)
        return ERROR_CALL_NOT_IMPLEMENTED;
    report(SERVICE_STOP_PENDING, kStopHintMs);
    ::SetEvent(running.stopRequested);
    return NO_ERROR;
}

void reportPending() { report(running.stopping ? SERVICE_STOP_PENDING : SERVICE_START_PENDING, kStopHintMs); }

void WINAPI serviceMain(DWORD, wchar_t**) {
    running.status =
        ::RegisterServiceCtrlHandlerExW(running.options->serviceName.c_str(), &onControl, nullptr);
    if (!running.status) return;
    report(SERVICE_START_PENDING, kStopHintMs);
    AgentHost host(*running.options, running.stopRequested, &reportPending);
    running.exitCode = host.Start();
    if (running.exitCode == kExitSuccess) {
        running.stopping = true;
        report(SERVICE_RUNNING);
        host.Run(nullptr);
        report(SERVICE_STOP_PENDING, kStopHintMs);
        AgentState final;
        running.exitCode = host.Stop(final);
    }
    report(SERVICE_STOPPED);
}

}  // namespace

std::wstring GetServiceCommand(const Options& options) {
    wchar_t program[32768];
    const DWORD length = ::GetModuleFileNameW(nullptr, program, 32768);
    if (length == 0 || length >= 32768 || options.root.find(L'"') != std::wstring::npos) return L"";
    std::wstring command =
        L"\"" + std::wstring(program, length) + L"\" --service --name \"" + options.serviceName + L"\"";
    if (options.root.empty()) return command;
    wchar_t root[32768];  // whole, since a service starts in another folder
    const DWORD rootLength = ::GetFullPathNameW(options.root.c_str(), 32768, root, nullptr);
    if (rootLength == 0 || rootLength >= 32768) return L"";
    command += L" --root \"" + std::wstring(root, rootLength);
    if (command.back() == L'\\') command += L'\\';  // so that it does not escape the quote
    return command + L"\"";
}

namespace {

/// Describes the service, and has it started again when it fails: when its process ends by itself and, from
/// Windows Vista on, when it stops with an error. Returns the Windows code.
DWORD addDetails(SC_HANDLE service) {
    wchar_t text[] = L"Collects events and sends them as syslog lines.";
    SERVICE_DESCRIPTIONW description = {text};
    if (!::ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description)) return ::GetLastError();
    SC_ACTION actions[] = {{SC_ACTION_RESTART, 60'000},
                           {SC_ACTION_RESTART, 300'000}};  // ms; the last repeats
    SERVICE_FAILURE_ACTIONSW failure = {};
    failure.dwResetPeriod = 86'400;  // seconds
    failure.cActions = 2;
    failure.lpsaActions = actions;
    if (!::ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, &failure)) return ::GetLastError();
    constexpr DWORD kFailureActionsFlag = 4;  // XP has none, nor do headers for it
    BOOL alsoAfterError = TRUE;
    ::ChangeServiceConfig2W(service, kFailureActionsFlag, &alsoAfterError);
    return 0;
}

}  // namespace

unsigned long InstallService(const Options& options) {
    const std::wstring command = GetServiceCommand(options);
    if (command.empty()) return ERROR_BAD_PATHNAME;
    const Service manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager) return ::GetLastError();
    const Service service(
        ::CreateServiceW(manager.get(), options.serviceName.c_str(), L"Corvane log collection agent",
                         SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                         SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service) return ::GetLastError();
    const DWORD error = addDetails(service.get());
    if (error != 0) ::DeleteService(service.get());
    return error;
}

unsigned long UninstallService(const Options& options) {
    DWORD error = 0;
    const Service service = open(options, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE, error);
    if (!service) return error;
    error = stop(service.get());
    if (error != 0) return error;
    return ::DeleteService(service.get()) ? 0 : ::GetLastError();
}

unsigned long StartAgentService(const Options& options) {
    DWORD error = 0;
    const Service service = open(options, SERVICE_START | SERVICE_QUERY_STATUS, error);
    if (!service) return error;
    if (!::StartServiceW(service.get(), 0, nullptr)) return ::GetLastError();
    return waitFor(service.get(), SERVICE_RUNNING);
}

unsigned long StopAgentService(const Options& options) {
    DWORD error = 0;
    const Service service = open(options, SERVICE_STOP | SERVICE_QUERY_STATUS, error);
    return service ? stop(service.get()) : error;
}

unsigned long RunAsService(const Options& options, ExitCode& exitCode) {
    running.options = &options;
    running.stopRequested = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);  // lives as long as the process
    if (!running.stopRequested) return ::GetLastError();
    std::wstring name = options.serviceName;
    SERVICE_TABLE_ENTRYW table[] = {{name.data(), &serviceMain}, {nullptr, nullptr}};
    if (!::StartServiceCtrlDispatcherW(table)) return ::GetLastError();
    exitCode = running.exitCode;
    return 0;
}

}  // namespace CorvaneAgent
