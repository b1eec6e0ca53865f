#include "WindowsAgentCommon/SystemInfo.h"

#include "WindowsAgentCommon/Formatting.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

TEST(SystemInfo, ErrorTextsBearTheirCode) {
    const std::tuple<unsigned long, std::string, bool> rows[] = {
        {ERROR_FILE_NOT_FOUND, "Error code 2: ", true},
        {ERROR_WRONG_DISK, "Error code 34: ", true},  // Windows' own text has three placeholders
        {0x80004005, "Error code -2147467259: ", true},
        {0x2FFFFFFF, "Unable to format error code 805306367", false},
        {0xEFFFFFFF, "Unable to format error code -268435457", false}};
    std::string text;
    for (const auto& [code, start, known] : rows) {
        SCOPED_TRACE(start);
        EXPECT_EQ(known, GetLastErrorText(code, text));
        EXPECT_EQ(start, text.substr(0, start.size()));
        EXPECT_EQ(known, text.size() > start.size()) << text;
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
    const std::tuple<const wchar_t*, unsigned long, unsigned long> rows[] = {
        {L"EventLog", ERROR_SUCCESS, SERVICE_RUNNING},
        {stopped.c_str(), ERROR_SUCCESS, SERVICE_STOPPED},
        {L"NoSuchService", ERROR_SERVICE_DOES_NOT_EXIST, 77},
        {nullptr, ERROR_INVALID_PARAMETER, 77}};
    for (const auto& [name, error, expected] : rows) {
        SCOPED_TRACE(error);
        unsigned long state = 77, stateOfThisMachine = 77;
        EXPECT_EQ(error, GetWindowsServiceStatus(name, state));
        EXPECT_EQ(error, GetWindowsServiceStatus(name, stateOfThisMachine, nullptr));
        for (unsigned long* each : {&state, &stateOfThisMachine})
            if (*each == SERVICE_START_PENDING) *each = SERVICE_RUNNING;  // of a system that has just begun
        EXPECT_TRUE(state == expected && stateOfThisMachine == expected) << state;
    }
    EXPECT_TRUE(::DeleteService(service));
    ::CloseServiceHandle(service);
    ::CloseServiceHandle(manager);
}

TEST(SystemInfo, LibraryVersionIsThatOfItsVersionResource) {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(::GetModuleHandleW(L"CorvaneCommon.dll"), path, MAX_PATH);
    std::vector<char> resource(::GetFileVersionInfoSizeW(path, nullptr));
    ASSERT_TRUE(::GetFileVersionInfoW(path, 0, static_cast<DWORD>(resource.size()), resource.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT size = 0;
    ASSERT_TRUE(::VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&fixed), &size));
    std::string version = "old", text;
    GetKORVersionString(version);
    for (const auto& [high, low] : {std::pair(fixed->dwFileVersionMS, fixed->dwFileVersionLS),
                                    std::pair(fixed->dwProductVersionMS, fixed->dwProductVersionLS)})
        EXPECT_EQ(version, Format(text, "%d.%d.%d.%d", HIWORD(high), LOWORD(high), HIWORD(low), LOWORD(low)));
}

}  // namespace
}  // namespace WindowsAgentCommon
