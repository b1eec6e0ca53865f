#include "agent/collectors/EventLogSource.h"

#include "agent/collectors/EventLogRecord.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr DWORD kFirstBuffer = 64 * 1024;
constexpr DWORD kMostBuffer = 0x7FFFF;  // the most that ReadEventLog takes

/// For a log that it does not know the system opens Application. One that cannot be looked up may be there.
bool isRegistered(const std::wstring& log) {
    HKEY key = nullptr;
    const LONG error = ::RegOpenKeyExW(HKEY_LOCAL_MACHINE,
                                       (L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\" + log).c_str(), 0,
                                       KEY_QUERY_VALUE, &key);
    if (error == 0) ::RegCloseKey(key);
    return error != ERROR_FILE_NOT_FOUND;
}

struct LogCloser {
    void operator()(void* log) const noexcept { ::CloseEventLog(log); }
};

class ClassicEventLog : public EventLogSource {
public:
    unsigned long Open(const std::wstring& log) override {
        name_ = log;
        sequential_ = false;
        return reopen();
    }

    unsigned long GetRange(std::uint32_t& oldest, std::uint32_t& count) override {
        DWORD first = 0, number = 0;
        if (!::GetNumberOfEventLogRecords(log_.get(), &number)) return ::GetLastError();
        if (number != 0 && !::GetOldestEventLogRecord(log_.get(), &first)) return ::GetLastError();
        oldest = first;
        count = number;
        return 0;
    }

    unsigned long Read(std::uint32_t number, std::vector<unsigned char>& bytes) override {
        if (!sequential_) {
            const unsigned long error = read(EVENTLOG_SEEK_READ, number, bytes);
            if (error != ERROR_INVALID_PARAMETER) return error;
        }
        return readOn(number, bytes);
    }

private:
    unsigned long reopen() {
        log_.reset();
        if (!isRegistered(name_)) return ERROR_FILE_NOT_FOUND;
        log_.reset(::OpenEventLogW(nullptr, name_.c_str()));
        return log_ ? 0 : ::GetLastError();
    }

    /// Without seeking, which the system refuses in large logs: from the beginning, unless the number is the
    /// one that follows.
    unsigned long readOn(std::uint32_t number, std::vector<unsigned char>& bytes) {
        unsigned long error = sequential_ && number == next_ ? 0 : reopen();
        sequential_ = false;
        do {
            if (error == 0) error = read(EVENTLOG_SEQUENTIAL_READ, 0, bytes);
            if (error != 0) return error;
            next_ = DropRecordsBefore(number, bytes);
        } while (bytes.empty());
        sequential_ = true;
        return 0;
    }

    unsigned long read(DWORD way, std::uint32_t number, std::vector<unsigned char>& bytes) {
        for (DWORD size = kFirstBuffer;;) {
            bytes.resize(size);
            DWORD got = 0, needed = 0;
            if (::ReadEventLogW(log_.get(), way | EVENTLOG_FORWARDS_READ, number, bytes.data(), size, &got,
                                &needed)) {
                bytes.resize(got < size ? got : size);
                return 0;
            }
            const DWORD error = ::GetLastError();
            if (error != ERROR_INSUFFICIENT_BUFFER || needed <= size || needed > kMostBuffer) {
                bytes.clear();
                return error;
            }
            size = needed;
        }
    }

    std::unique_ptr<void, LogCloser> log_;
    std::wstring name_;
    bool sequential_ = false;  // next_ is what a sequential read gives next
    std::uint32_t next_ = 0;
};

}  // namespace

std::unique_ptr<EventLogSource> MakeEventLogSource() { return std::make_unique<ClassicEventLog>(); }

}  // namespace CorvaneAgent
