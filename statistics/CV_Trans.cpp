#include "WindowsAgentCommon/CV_Trans.h"

#include "foundation/Clock.h"
#include "logging/ProcessEnd.h"

namespace WindowsAgentCommon {
namespace {

constexpr unsigned int kYields = 21;
constexpr unsigned int kLongSleep = 1000;  // ms
constexpr int kLooks = 1000;               // some 10 to 40 microseconds: many times what the lock is held for

}  // namespace

bool CV_Trans::StartTransaction(Log log, const char* what) noexcept {
    log->Debug("Starting transaction to %s", what);
    return Try() || Retry(&*log, what);
}

bool CV_Trans::Retry(CorvaneLogger::ALogger* log, const char* what) noexcept {
    for (unsigned int failed = 0;; ++failed) {
        if (failed < kYields) {
            detail::SleepMilliseconds(0);
            for (int i = 0; i < kLooks && held_.load(std::memory_order_relaxed) != 0; ++i)
                __builtin_ia32_pause();
        } else {
            if (CorvaneLogger::detail::ProcessIsEnding()) return true;  // who held it is no more
            if (log != nullptr) log->Debug("Having a hard time starting a transaction for %s", what);
            detail::SleepMilliseconds(kLongSleep);
        }
        if (Try()) return true;
    }
}

}  // namespace WindowsAgentCommon
