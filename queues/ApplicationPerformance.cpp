#include "queues/ApplicationPerformance.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "foundation/SystemMessage.h"

#include <algorithm>
#include <utility>

#include "foundation/Win32.h"
#include <pdhmsg.h>

namespace WindowsAgentCommon::detail {
namespace {

constexpr const wchar_t* kCounters[] = {
    L"% Processor Time",     L"Thread Count",          L"Handle Count",     L"Page File Bytes",
    L"Page File Bytes Peak", L"Private Bytes",         L"Virtual Bytes",    L"Virtual Bytes Peak",
    L"Working Set",          L"Working Set - Private", L"Working Set Peak", L"IO Read Bytes/sec",
    L"IO Write Bytes/sec"};

constexpr std::size_t kFirstTableBytes = 1024;
constexpr std::size_t kMaxTableBytes = 4 * 1024 * 1024;  // real ones have some hundred KB
constexpr unsigned long kNameUnits = 128;
constexpr unsigned long kMaxNameUnits = 65536;
constexpr int kMaxInstances = 256;  // of one program

std::string ErrorText(unsigned long status) {
    const std::wstring message = SystemMessage(status, L"pdh.dll");
    std::string text;
    if (message.empty())
        Format(text, "Unable to format error code 0x%04X", static_cast<unsigned int>(status));
    else
        Format(text, "Error code 0x%04X: %s", static_cast<unsigned int>(status), ToUTF8(message).c_str());
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

// The text that begins at position, which moves behind its terminator. The last one may lack that.
std::wstring NextText(const std::vector<wchar_t>& table, std::size_t& position) {
    const auto begin = table.begin() + static_cast<std::ptrdiff_t>(position);
    const auto end = std::find(begin, table.end(), L'\0');
    position += static_cast<std::size_t>(end - begin) + (end != table.end() ? 1 : 0);
    return std::wstring(begin, end);
}

}  // namespace

ApplicationPerformance::ApplicationPerformance(PerformanceSystem& system)
    : system_(system), log_(CorvaneLogger::CV_Logger::Logger("Code.ApplicationPerformance")) {
    ReadTable();
    objectName_ = Translate(L"Process");
    for (const wchar_t* name : kCounters) counters_.push_back({name, Translate(name), nullptr});
}

ApplicationPerformance::~ApplicationPerformance() { Close(); }

void ApplicationPerformance::ReadTable() {
    std::vector<wchar_t> table;
    unsigned long status = ERROR_MORE_DATA;
    for (std::size_t room = kFirstTableBytes; status == ERROR_MORE_DATA && room <= kMaxTableBytes;
         room *= 2) {
        table.assign(room / sizeof(wchar_t), L'\0');
        unsigned long bytes = static_cast<unsigned long>(room);
        status = system_.ReadCounterTable(table.data(), bytes);
        if (status == ERROR_SUCCESS) table.resize(std::min<std::size_t>(bytes, room) / sizeof(wchar_t));
    }
    if (status != ERROR_SUCCESS || table.empty()) {
        log_.Trace("Performance counter table empty.  No translations are available");
        return;
    }
    for (std::size_t position = 0;;) {
        const std::wstring index = NextText(table, position);
        const std::wstring name = NextText(table, position);
        if (index.empty() || name.empty()) return;
        table_[name] = static_cast<unsigned long>(::_wtol(index.c_str()));
    }
}

std::wstring ApplicationPerformance::Translate(const std::wstring& name) const {
    std::wstring localName;
    if (LookUp(name, localName)) return localName;
    log_.Trace("Failed to translate performance counter %ls.  Reverting to English", name.c_str());
    return name;
}

bool ApplicationPerformance::LookUp(const std::wstring& name, std::wstring& out) const {
    const auto found = table_.find(name);
    if (found == table_.end()) return false;
    std::vector<wchar_t> buffer(kNameUnits);
    unsigned long units = kNameUnits;
    unsigned long status = system_.LookUpName(found->second, buffer.data(), units);
    if (status == PDH_MORE_DATA && units <= kMaxNameUnits) {
        buffer.assign(std::max(units, kNameUnits), L'\0');
        units = static_cast<unsigned long>(buffer.size());
        status = system_.LookUpName(found->second, buffer.data(), units);
    }
    if (status != ERROR_SUCCESS) return false;
    out.assign(buffer.begin(), std::find(buffer.begin(), buffer.end(), L'\0'));
    return !out.empty();
}

unsigned long ApplicationPerformance::Initialize(unsigned long process) {
    Close();
    isIdentified_ = false;
    if (process == 0) process = system_.CurrentProcess();
    log_.Debug("PID set: %u", static_cast<unsigned int>(process));
    std::wstring program;
    const unsigned long status = system_.GetProgram(process, program);
    if (status != ERROR_SUCCESS) {
        log_.Error("Could not get the process name corresponding to the given process id. Reason: %s",
                   ErrorText(status).c_str());
        return status;
    }
    GetFilenameOnly(program, program);
    programName_ = program.substr(0, program.rfind(L'.'));
    process_ = process;
    const unsigned long opened = Open();
    isIdentified_ = idCounter_ != nullptr;
    return opened;
}

// An instance that was once known by its id is never replaced by one that is not.
unsigned long ApplicationPerformance::Open() {
    Close();
    std::wstring idPath;
    const bool isFound = FindInstance(idPath);
    if (isIdentified_ && !isFound) return PDH_CSTATUS_NO_INSTANCE;
    unsigned long status = system_.OpenQuery(query_);
    if (status != ERROR_SUCCESS) {
        query_ = nullptr;
        log_.Debug("Failed to open the query for the counter values. Reason: %s", ErrorText(status).c_str());
        return status;
    }
    if (isFound) status = system_.AddCounter(query_, idPath, idCounter_);
    if (status == ERROR_SUCCESS) return AddCounters();
    idCounter_ = nullptr;
    if (!isIdentified_) return AddCounters();
    Close();
    return status;
}

// The processes of one program are the instances "name", "name#1", "name#2" and so on. Leaves the plain name
// where none of them has the process's id.
bool ApplicationPerformance::FindInstance(std::wstring& idPath) {
    processName_ = programName_;
    struct Query {
        PerformanceSystem& system;
        void* handle;
        ~Query() { system.CloseQuery(handle); }
    };
    void* handle = nullptr;
    if (system_.OpenQuery(handle) != ERROR_SUCCESS) return false;
    const Query query = {system_, handle};
    const std::wstring counterName = Translate(L"ID Process");
    std::vector<std::pair<std::wstring, void*>> instances;
    for (int number = 0; number < kMaxInstances; ++number) {
        std::wstring instance = programName_;
        if (number != 0) Format(instance, L"%s#%d", programName_.c_str(), number);
        Format(idPath, L"\\%s(%s)\\%s", objectName_.c_str(), instance.c_str(), counterName.c_str());
        void* counter = nullptr;
        if (system_.AddCounter(query.handle, idPath, counter) != ERROR_SUCCESS) return false;
        instances.emplace_back(instance, counter);
        if (system_.Collect(query.handle) != ERROR_SUCCESS) return false;
        // All of one sample: the process may have moved to a number that was looked at before.
        for (const auto& [name, idCounter] : instances) {
            double id = 0;
            if (system_.GetValue(idCounter, id) != ERROR_SUCCESS) return false;  // so no later one either
            if (id != static_cast<double>(process_)) continue;
            Format(idPath, L"\\%s(%s)\\%s", objectName_.c_str(), name.c_str(), counterName.c_str());
            processName_ = name;
            return true;
        }
    }
    return false;
}

unsigned long ApplicationPerformance::AddCounters() {
    std::wstring prefix;
    Format(prefix, L"\\%s(%s)\\", objectName_.c_str(), processName_.c_str());
    bool any = false;
    unsigned long failure = ERROR_SUCCESS;
    for (Counter& counter : counters_) {
        const std::wstring path = prefix + counter.localName;
        const unsigned long status = system_.AddCounter(query_, path, counter.handle);
        if (status == ERROR_SUCCESS) {
            any = true;
            continue;
        }
        counter.handle = nullptr;
        failure = status;
        log_.Debug("Error trying to add PdhAddCounter %ls: Reason: %s", path.c_str(),
                   ErrorText(status).c_str());
    }
    if (any) {
        system_.Collect(query_);  // the first sample of the rates; a failure shows at the next one
        return ERROR_SUCCESS;
    }
    Close();
    log_.Debug("Failed to add any performance counters.  Application Performance monitoring disabled.");
    return failure;
}

bool ApplicationPerformance::Collect() {
    if (query_ == nullptr) {
        if (isIdentified_) Open();
        return false;
    }
    const unsigned long status = system_.Collect(query_);
    if (status != ERROR_SUCCESS) {
        log_.Debug("Failed to query counter values; will try again later. Reason: %s",
                   ErrorText(status).c_str());
        return false;
    }
    double id = 0;
    if (idCounter_ == nullptr ||
        (system_.GetValue(idCounter_, id) == ERROR_SUCCESS && id == static_cast<double>(process_)))
        return true;
    log_.Debug("%ls is no longer the instance of process %u; looking for it again", processName_.c_str(),
               static_cast<unsigned int>(process_));
    Open();  // its rates begin anew, so there is nothing to give now
    return false;
}

bool ApplicationPerformance::GetValue(const std::wstring& name, double& value) {
    if (!Collect()) return false;
    const auto counter = std::find_if(counters_.begin(), counters_.end(),
                                      [&](const Counter& candidate) { return candidate.name == name; });
    if (counter == counters_.end() || counter->handle == nullptr) return false;
    double sample = 0;
    if (system_.GetValue(counter->handle, sample) != ERROR_SUCCESS) return false;
    value = sample;
    return true;
}

bool ApplicationPerformance::GetValues(std::map<std::wstring, double>& values) {
    values.clear();
    if (!Collect()) return false;
    for (const Counter& counter : counters_) {
        if (counter.handle == nullptr) continue;
        double sample = 0;
        const unsigned long status = system_.GetValue(counter.handle, sample);
        if (status == ERROR_SUCCESS)
            values[counter.name] = sample;
        else
            log_.Debug("Failed to retrieve counter value for %ls; will try again later. Reason: %s",
                       counter.name.c_str(), ErrorText(status).c_str());
    }
    return !values.empty();
}

void ApplicationPerformance::Close() {
    for (Counter& counter : counters_) counter.handle = nullptr;
    idCounter_ = nullptr;
    if (query_ != nullptr) system_.CloseQuery(query_);
    query_ = nullptr;
}

}  // namespace WindowsAgentCommon::detail
