#pragma once

#include <string>

namespace WindowsAgentCommon::detail {

/// What the performance monitor asks of the system, call for call: the system itself, or what a test puts in
/// its place. Functions return the system's status, 0 = success; outputs count only then. Queries and
/// counters are handles; a counter goes with its query. Any thread may call.
class PerformanceSystem {
public:
    virtual ~PerformanceSystem() = default;

    /// The registry's table of English counter names. size: bytes that buffer has room for; the number of
    /// bytes read on success, without meaning otherwise. ERROR_MORE_DATA when the table is longer.
    virtual unsigned long ReadCounterTable(void* buffer, unsigned long& size) = 0;

    /// The name that has an index, in the system's display language. size: units that buffer has room for,
    /// and those that the name takes with its terminator. PDH_MORE_DATA when there are more.
    virtual unsigned long LookUpName(unsigned long index, wchar_t* buffer, unsigned long& size) = 0;

    virtual unsigned long CurrentProcess() = 0;  ///< The calling process's id.
    virtual unsigned long GetProgram(unsigned long process, std::wstring& path) = 0;

    virtual unsigned long OpenQuery(void*& query) = 0;
    virtual void CloseQuery(void* query) = 0;
    virtual unsigned long AddCounter(void* query, const std::wstring& path, void*& counter) = 0;
    virtual unsigned long Collect(void* query) = 0;
    virtual unsigned long GetValue(void* counter, double& value) = 0;  ///< Of the last Collect, not capped.

protected:
    PerformanceSystem() = default;
    PerformanceSystem(const PerformanceSystem&) = default;
    PerformanceSystem& operator=(const PerformanceSystem&) = default;
};

/// The system itself.
PerformanceSystem& WindowsPerformance();

}  // namespace WindowsAgentCommon::detail
