#include "WindowsAgentCommon/SystemInfo.h"

#include "WindowsAgentCommon/Formatting.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

TEST(SystemInfo, ErrorTextsBearTheirCode) {
    const struct {
        unsigned long code;
        const char* start;
        bool known;
    } rows[] = {
        {ERROR_FILE_NOT_FOUND, "Error code 2: ", true},
        {ERROR_WRONG_DISK, "Error code 34: ", true},  // Windows' own text has three placeholders
        {0x80004005, "Error code -2147467259: ", true},
        {0x2FFFFFFF, "Unable to format error code 805306367", false},
        {0xEFFFFFFF, "Unable to format error code -268435457", false},
    };
    std::string text;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.start);
        const std::string start = row.start;
        EXPECT_EQ(row.known, GetLastErrorText(row.code, text));
        EXPECT_EQ(start, text.substr(0, start.size()));
        EXPECT_EQ(row.known, text.size() > start.size()) << text;
        EXPECT_EQ(text.size(), text.find_last_not_of("\r\n") + 1);
    }
    EXPECT_TRUE(GetLastErrorText(ERROR_INVALID_ORDINAL, text));
    EXPECT_NE(std::string::npos, text.find("%1")) << "a placeholder stays: " << text;
}

TEST(SystemInfo, ServiceStatesAreTheServiceManagers) {
    const std::wstring stopped = L"Corvane" + std::to_wstring(::GetCurrentProcessId());
    const SC_HANDLE manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    const SC_HANDLE service = ::CreateServiceW(
        manager, stopped.c_str(), nullptr, DELETE, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
        SERVICE_ERROR_IGNORE, L"C:\\stopped.exe", nullptr, nullptr, nullptr, nullptr, nullptr);
    const struct {
        const wchar_t* name;
        unsigned long error;
        unsigned long state;
    } rows[] = {
        {L"EventLog", ERROR_SUCCESS, SERVICE_RUNNING},
        {L"PlugPlay", ERROR_SUCCESS, SERVICE_RUNNING},
        {stopped.c_str(), ERROR_SUCCESS, SERVICE_STOPPED},
        {L"NoSuchService", ERROR_SERVICE_DOES_NOT_EXIST, 77},
        {nullptr, ERROR_INVALID_PARAMETER, 77},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        unsigned long state = 77;
        unsigned long stateOfThisMachine = 77;
        EXPECT_EQ(row.error, GetWindowsServiceStatus(row.name, state));
        EXPECT_EQ(row.error, GetWindowsServiceStatus(row.name, stateOfThisMachine, nullptr));
        EXPECT_EQ(row.state, state);
        EXPECT_EQ(row.state, stateOfThisMachine);
    }
    EXPECT_TRUE(::DeleteService(service));
    ::CloseServiceHandle(service);
    ::CloseServiceHandle(manager);
}

TEST(SystemInfo, VersionLineSaysWhatTheRecordSaysAtEveryCall) {
    SYSTEM_INFO machine = {};
    ::GetNativeSystemInfo(&machine);
    CV_OS_INFO info;
    info.name = "old";
    GetWindowsVersionInfo(info);
    EXPECT_EQ("Windows ", info.name.substr(0, 8));
    EXPECT_EQ(machine.dwNumberOfProcessors, info.processors);
    std::string pack;
    std::string expected;
    if (info.servicePack != 0) Format(pack, "SP%d ", info.servicePack);
    Format(expected, "%s (Build %d %s%d-bit)", info.name.c_str(), info.build, pack.c_str(), info.bits);
    for (std::string line : {"first", "second"}) {
        GetWindowsVersionString(line);
        EXPECT_EQ(expected, line);
    }
}

TEST(SystemInfo, LibraryVersionIsThatOfItsVersionResource) {
    std::string version = "old";
    GetKORVersionString(version);
    EXPECT_EQ("7.2.8.145", version);

    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(0u, ::GetModuleFileNameW(::GetModuleHandleW(L"CorvaneCommon.dll"), path, MAX_PATH));
    std::vector<char> resource(::GetFileVersionInfoSizeW(path, nullptr));
    ASSERT_TRUE(::GetFileVersionInfoW(path, 0, static_cast<DWORD>(resource.size()), resource.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    ASSERT_TRUE(::VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
    const DWORD versions[][2] = {{fixed->dwFileVersionMS, fixed->dwFileVersionLS},
                                 {fixed->dwProductVersionMS, fixed->dwProductVersionLS}};
    for (const auto& [high, low] : versions) {
        std::string text;
        Format(text, "%d.%d.%d.%d", HIWORD(high), LOWORD(high), HIWORD(low), LOWORD(low));
        EXPECT_EQ(version, text);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
