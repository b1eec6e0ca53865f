#include "CorvaneLogger/LogDstCons.h"

#include "logging/ProcessEnd.h"

namespace CorvaneLogger {

LogDstCons::LogDstCons(const std::string& name, const std::string& cls)
    : LogDst(name, cls, "LogDstCons"), stream_(stdout) {}

void LogDstCons::log(int, const char*, const char* line, unsigned int length, const char*) {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return;
    getPrefix();
    std::fwrite(prefix_, 1, prefixLen_, stream_);
    std::fwrite(line, 1, length, stream_);
}

void LogDstCons::flush(bool) {
    const detail::LockUnlessEnding lock(lock_);
    if (lock) std::fflush(stream_);
}

}  // namespace CorvaneLogger
