#pragma once

#include "CorvaneLogger/ALogger.h"
#include "queues/PerformanceSystem.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace WindowsAgentCommon::detail {

/// The share of the system's resources that one process takes, from the system's performance counters of the
/// object "Process". Counters go by their English names, whatever the system's display language.
///
/// Thread rule: none of its own; the owner lets one call in at a time. Every call may block while the system
/// loads and asks the counters' DLLs. Throws only std::bad_alloc.
class ApplicationPerformance {
public:
    /// Reads the table of English names and translates the counters. system must outlive the monitor.
    explicit ApplicationPerformance(PerformanceSystem& system);
    ApplicationPerformance(const ApplicationPerformance&) = delete;
    ApplicationPerformance& operator=(const ApplicationPerformance&) = delete;
    ~ApplicationPerformance();

    /// Begins to watch a process, in place of one before; 0 is the calling one. Rates count from here.
    /// Processes of one program are told apart by their ids. When another one of them ends, the system may
    /// number them anew: the sample that finds this gives nothing, later ones are the right process's again,
    /// or give nothing and look for it while it is not found. Returns 0 with at least one counter; otherwise
    /// the Windows or PDH status of what failed last, and the monitor is closed.
    unsigned long Initialize(unsigned long process);

    /// Samples one counter by its English name. False, value unchanged, when the monitor is closed, the
    /// counter is unknown or the system gives no value.
    bool GetValue(const std::wstring& name, double& value);

    /// Replaces values by a sample of every counter that can be read. False, values empty, when there is
    /// none.
    bool GetValues(std::map<std::wstring, double>& values);

private:
    struct Counter {
        std::wstring name, localName;
        void* handle;  // null when it was not added
    };

    void ReadTable();
    std::wstring Translate(const std::wstring& name) const;
    bool LookUp(const std::wstring& name, std::wstring& out) const;
    unsigned long Open();
    bool FindInstance(std::wstring& idPath);
    unsigned long AddCounters();
    bool Collect();
    void Close();

    PerformanceSystem& system_;
    CorvaneLogger::ALogger& log_;
    std::map<std::wstring, unsigned long> table_;  // English name to index
    std::wstring objectName_;
    std::vector<Counter> counters_;
    std::wstring programName_;
    std::wstring processName_;  // the instance's: the program's, perhaps with a number
    unsigned long process_ = 0;
    void* query_ = nullptr;      // null when closed
    void* idCounter_ = nullptr;  // of "ID Process"; null where that does not tell the instances apart
    bool isIdentified_ = false;  // by its id, since Initialize: if the query is closed, it is looked for
};

}  // namespace WindowsAgentCommon::detail
