#include "agent/collectors/EventLogSource.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr DWORD kFirstBuffer = 64 * 1024;
constexpr DWORD kMostBuffer = 0x7FFFF;  // the most that ReadEventLog takes

struct LogCloser {
    void operator()(void* log) const noexcept { ::CloseEventLog(log); }
};

class ClassicEventLog : public EventLogSource {
public:
    unsigned long Open(const std::wstring& log) override {
        log_.reset(::OpenEventLogW(nullptr, log.c_str()));
        return log_ ? 0 : ::GetLastError();
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
        for (DWORD size = kFirstBuffer;;) {
            bytes.resize(size);
            DWORD got = 0, needed = 0;
            if (::ReadEventLogW(log_.get(), EVENTLOG_SEEK_READ | EVENTLOG_FORWARDS_READ, number, bytes.data(),
                                size, &got, &needed)) {
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

private:
    std::unique_ptr<void, LogCloser> log_;
};

}  // namespace

std::unique_ptr<EventLogSource> MakeEventLogSource() { return std::make_unique<ClassicEventLog>(); }

}  // namespace CorvaneAgent
