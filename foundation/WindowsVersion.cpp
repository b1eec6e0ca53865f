#include "foundation/WindowsVersion.h"

#include "WindowsAgentCommon/Formatting.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace detail {

namespace {

struct VersionNames {
    int versionCode;
    const char* server;
    const char* workstation;
};

// Version 5.2 is decided apart: one number, five products.
constexpr VersionNames kVersionNames[] = {
    {50, "Windows 2000", "Windows 2000"},         {51, "Windows XP", "Windows XP"},
    {60, "Windows Server 2008", "Windows Vista"}, {61, "Windows Server 2008 R2", "Windows 7"},
    {62, "Windows Server 2012", "Windows 8"},     {63, "Windows Server 2012 R2", "Windows 8.1"},
    {100, "Windows Server 2016", "Windows 10"},
};

constexpr unsigned int kHomeServerSuite = 0x8000;  // VER_SUITE_WH_SERVER

void DescribeVersion52(const SystemVersion& system, CV_OS_INFO& info) {
    info.isModern = false;
    info.isServer = true;
    if ((system.suiteMask & kHomeServerSuite) != 0) {
        info.name = "Windows Home Server";
    } else if (system.isWorkstation && system.architecture == PROCESSOR_ARCHITECTURE_AMD64) {
        info.name = "Windows XP Professional 64-Bit Edition";
        info.isServer = false;
        info.bits = 64;
    } else {
        info.name = system.isServerR2 ? "Windows Server 2003 R2" : "Windows Server 2003";
    }
}

void NameVersion(const SystemVersion& system, CV_OS_INFO& info) {
    for (const VersionNames& names : kVersionNames) {
        if (names.versionCode == info.versionCode) {
            info.name = info.isServer ? names.server : names.workstation;
            return;
        }
    }
    Format(info.name, info.isServer ? "Windows Server %d-%d" : "Windows %d-%d",
           static_cast<int>(system.major), static_cast<int>(system.minor));
}

// Looked up at run time: Windows 2000 and XP before SP2 do not have it.
bool IsWow64() noexcept {
    using IsWow64ProcessFunction = BOOL(WINAPI*)(HANDLE, PBOOL);
    const HMODULE kernel = ::GetModuleHandleW(L"kernel32");
    if (kernel == nullptr) return false;
    const auto isWow64Process = reinterpret_cast<IsWow64ProcessFunction>(
        reinterpret_cast<void*>(::GetProcAddress(kernel, "IsWow64Process")));
    BOOL result = FALSE;
    return isWow64Process != nullptr && isWow64Process(::GetCurrentProcess(), &result) && result;
}

}  // namespace

SystemVersion ReadSystemVersion() {
    SystemVersion system;
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    if (::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
        system.major = version.dwMajorVersion;
        system.minor = version.dwMinorVersion;
        system.build = version.dwBuildNumber;
        system.servicePack = version.wServicePackMajor;
        system.suiteMask = version.wSuiteMask;
        system.isWorkstation = version.wProductType == VER_NT_WORKSTATION;
    }
    SYSTEM_INFO machine = {};
    ::GetNativeSystemInfo(&machine);
    system.architecture = machine.wProcessorArchitecture;
    system.processors = machine.dwNumberOfProcessors;
    system.isServerR2 = ::GetSystemMetrics(SM_SERVERR2) != 0;
    system.isWow64 = IsWow64();
    return system;
}

CV_OS_INFO DescribeWindowsVersion(const SystemVersion& system) {
    CV_OS_INFO info;
    info.isServer = !system.isWorkstation;
    info.isModern = true;
    info.bits = system.isWow64 ? 64 : 32;
    info.servicePack = static_cast<int>(system.servicePack);
    info.versionCode = static_cast<int>(system.major * 10 + system.minor);
    info.build = static_cast<int>(system.build);
    info.processors = system.processors;
    if (info.versionCode == 52) {
        DescribeVersion52(system, info);
    } else {
        if (info.versionCode == 50 || info.versionCode == 51) info.isModern = false;
        NameVersion(system, info);
    }
    return info;
}

std::string WindowsVersionLine(const CV_OS_INFO& info) {
    std::string line;
    if (info.servicePack != 0) {
        Format(line, "%s (Build %d SP%d %d-bit)", info.name.c_str(), info.build, info.servicePack, info.bits);
    } else {
        Format(line, "%s (Build %d %d-bit)", info.name.c_str(), info.build, info.bits);
    }
    return line;
}

}  // namespace detail

void GetWindowsVersionInfo(CV_OS_INFO& info) {
    info = detail::DescribeWindowsVersion(detail::ReadSystemVersion());
}

void GetWindowsVersionString(std::string& out) {
    static const std::string line = [] {
        CV_OS_INFO info;
        GetWindowsVersionInfo(info);
        return detail::WindowsVersionLine(info);
    }();
    out = line;
}

}  // namespace WindowsAgentCommon
