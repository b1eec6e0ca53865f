#include "CorvaneLogger/LogReporterDst.h"

#include "logging/FileWrite.h"
#include "logging/ProcessEnd.h"
#include "logging/SideFile.h"

#include <algorithm>

#include "foundation/Win32.h"

namespace CorvaneLogger {
namespace {

constexpr std::uint32_t kAppend = 0xFFFFFFFF;

}  // namespace

LogReporterDst::LogReporterDst(const std::string& name, const std::string& cls)
    : LogDstFile(name, cls, "LogReporterDst"), reporting_(false), positioned_(false) {}

LogReporterDst::~LogReporterDst() = default;

bool LogReporterDst::accept(int level) { return LogDst::accept(level); }

void LogReporterDst::flush(bool closeIfIdle) {
    const detail::LockUnlessEnding lock(lock_);
    if (lock && !reporting_) flushLocked(closeIfIdle);
}

std::uint32_t LogReporterDst::Open() {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock || (!isOpen() && !_open())) return kAppend;
    if (maxFileSize_ != 0 && fileSize_ >= maxFileSize_) rollLocked();
    _close();
    return fileSize_;
}

bool LogReporterDst::ReOpen(std::uint32_t position) {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return false;
    _close();
    positioned_ = position != kAppend;
    reporting_ = positioned_ ? openAt(position) : openAtEnd();
    return reporting_;
}

// Reports that are only ever appended roll as log lines do; nothing else would bound them.
bool LogReporterDst::openAtEnd() {
    if (!_open()) return false;
    if (maxFileSize_ != 0 && fileSize_ >= maxFileSize_) rollLocked();
    return isOpen();
}

bool LogReporterDst::openAt(std::uint32_t position) {
    if (!openWith(GENERIC_READ | GENERIC_WRITE)) {
        detail::WriteSideFile(getPrefix(), "ERROR : Unable to re-open stats file %s", path_.c_str());
        return false;
    }
    opened_ = true;
    LARGE_INTEGER target;
    target.QuadPart = std::min(position, fileSize_);
    if (::SetFilePointerEx(handle_, target, nullptr, FILE_BEGIN)) return true;
    detail::WriteSideFile(getPrefix(), "ERROR : Unable to move stats file %s cursor to %d", path_.c_str(),
                          static_cast<int>(position));
    closeHandle();
    return false;
}

bool LogReporterDst::Add(const std::string& text) {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock || !isOpen()) return false;
    unsigned long error = 0;
    const std::uint32_t size = static_cast<std::uint32_t>(text.size());
    return detail::WriteLogFile(handle_, text.data(), size, error) == size;
}

void LogReporterDst::Close() {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return;
    if (reporting_ && isOpen()) {
        writeOut();
        if (positioned_) ::SetEndOfFile(handle_);
        takeSize();
    }
    reporting_ = false;
    positioned_ = false;
    _close();
}

std::string LogReporterDst::Filename() const { return FileName(); }

}  // namespace CorvaneLogger
