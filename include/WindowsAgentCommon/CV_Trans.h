#pragma once

#include <atomic>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace WindowsAgentCommon {

/// The one-byte spin lock of statistics, for work of well under a microsecond. Not recursive.
///
/// Who does not get it yields 21 times and then sleeps a second between tries, without end: the longest wait
/// under load is seconds, not microseconds. At the end of the process, when the system has ended the other
/// threads, a lock that one of those held is taken for free.
///
/// Any thread may call anything; nothing throws.
class CV_Trans {
public:
    CV_Trans() noexcept : held_(0) {}
    CV_Trans(const CV_Trans&) = delete;
    CV_Trans& operator=(const CV_Trans&) = delete;

    /// Takes the lock. Returns true.
    bool StartTransaction() noexcept { return Try() || Retry(nullptr, nullptr); }

    /// The same, with debug lines: "Starting transaction to %s" before the first try, and "Having a hard time
    /// starting a transaction for %s" before each of the long sleeps. what: what the lock is taken for.
    CORVANE_API bool StartTransaction(Log log, const char* what) noexcept;

    /// Releases the lock, whoever holds it.
    void EndTransaction() noexcept { held_.store(0, std::memory_order_release); }

private:
    bool Try() noexcept { return held_.exchange(1, std::memory_order_acquire) == 0; }
    CORVANE_API bool Retry(CorvaneLogger::ALogger* log, const char* what) noexcept;

    std::atomic<unsigned char> held_;
};

}  // namespace WindowsAgentCommon
