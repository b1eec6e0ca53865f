#include "queues/PerformanceSystem.h"

#include "WindowsAgentCommon/FileUtil.h"

#include "foundation/Win32.h"
#include <pdh.h>
#include <pdhmsg.h>

namespace WindowsAgentCommon::detail {
namespace {

// MinGW's headers have PDH_STATUS signed.
unsigned long Status(PDH_STATUS status) { return static_cast<unsigned long>(status); }

class WindowsPerformanceSystem : public PerformanceSystem {
public:
    unsigned long ReadCounterTable(void* buffer, unsigned long& size) override {
        const LONG status = ::RegQueryValueExW(HKEY_PERFORMANCE_DATA, L"Counter 009", nullptr, nullptr,
                                               static_cast<BYTE*>(buffer), &size);
        ::RegCloseKey(HKEY_PERFORMANCE_DATA);  // reading has loaded every counter's DLL
        return static_cast<unsigned long>(status);
    }

    unsigned long LookUpName(unsigned long index, wchar_t* buffer, unsigned long& size) override {
        return Status(::PdhLookupPerfNameByIndexW(nullptr, index, buffer, &size));
    }

    unsigned long CurrentProcess() override { return ::GetCurrentProcessId(); }

    unsigned long GetProgram(unsigned long process, std::wstring& path) override {
        return GetProcessNameForPID(static_cast<int>(process), path);
    }

    unsigned long OpenQuery(void*& query) override { return Status(::PdhOpenQueryW(nullptr, 0, &query)); }

    void CloseQuery(void* query) override { ::PdhCloseQuery(query); }

    unsigned long AddCounter(void* query, const std::wstring& path, void*& counter) override {
        return Status(::PdhAddCounterW(query, path.c_str(), 0, &counter));
    }

    unsigned long Collect(void* query) override { return Status(::PdhCollectQueryData(query)); }

    unsigned long GetValue(void* counter, double& value) override {
        PDH_FMT_COUNTERVALUE result = {};
        const unsigned long status = Status(
            ::PdhGetFormattedCounterValue(counter, PDH_FMT_DOUBLE | PDH_FMT_NOCAP100, nullptr, &result));
        if (status != ERROR_SUCCESS) return status;
        if (result.CStatus != PDH_CSTATUS_VALID_DATA && result.CStatus != PDH_CSTATUS_NEW_DATA)
            return result.CStatus;
        value = result.doubleValue;
        return ERROR_SUCCESS;
    }
};

}  // namespace

PerformanceSystem& WindowsPerformance() {
    static WindowsPerformanceSystem system;
    return system;
}

}  // namespace WindowsAgentCommon::detail
