#include "CorvaneLogger/LogDstFile.h"

#include "CorvaneLogger/Levels.h"
#include "WindowsAgentCommon/Formatting.h"
#include "foundation/Clock.h"
#include "foundation/Files.h"
#include "foundation/Path.h"
#include "foundation/Win32Handle.h"
#include "logging/FileWrite.h"
#include "logging/ProcessEnd.h"
#include "logging/Rolling.h"
#include "logging/SideFile.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "foundation/Win32.h"

namespace CorvaneLogger {
namespace {

using WindowsAgentCommon::detail::FileHandle;
using WindowsAgentCommon::detail::SystemPath;

constexpr char kDefaultPattern[] = "%m-%d %H:%M:%S";
constexpr std::uint32_t kMaxFileSize = 20'000'000;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::int64_t SteadySeconds() {
    return WindowsAgentCommon::detail::SteadyTicks() / WindowsAgentCommon::detail::kTicksPerSecond;
}

std::uint32_t Clamped(std::uint64_t value) {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(value, std::numeric_limits<std::uint32_t>::max()));
}

bool IsDiskFull(unsigned long error) { return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL; }

}  // namespace

LogDstFile::LogDstFile(const std::string& name, const std::string& cls)
    : LogDstFile(name, cls, "LogDstFile") {}

LogDstFile::LogDstFile(const std::string& name, const std::string& cls, const char* type)
    : LogDst(name, cls, type),
      baseName_(name.empty() ? "Corvane" : name),
      ext_("log"),
      handle_(INVALID_HANDLE_VALUE),
      maxIndex_(1),
      fileSize_(0),
      maxFileSize_(kMaxFileSize),
      rollSlack_(0),
      buffered_(0),
      append_(true),
      instant_(true),
      opened_(false),
      windowStart_(SteadySeconds()),
      windowEnd_(windowStart_ + 300),
      remaining_(5000),
      nextEvery_(900),
      nextLen_(60),
      nextMax_(200),
      startLen_(300),
      startMax_(5000),
      constructed_(windowStart_),
      dropped_(0),
      openFailed_(false),
      writeFailed_(false),
      writing_(false),
      endsInLine_(false) {
    std::memcpy(prefixPattern_, kDefaultPattern, sizeof kDefaultPattern);
    makePath();
}

LogDstFile::~LogDstFile() {
    try {
        if (buffered_ > 0 && !isOpen()) _open();
        _close();
        if (buffered_ > 0 || dropped_ > 0)
            detail::WriteSideFile(getPrefix(), "Closing %s with %u bytes and %u lines unwritten",
                                  path_.c_str(), static_cast<unsigned>(buffered_),
                                  static_cast<unsigned>(dropped_));
    } catch (...) {
        detail::WriteSideFile("LogDstFile", "A file could not be closed properly");
    }
    closeHandle();
}

std::string LogDstFile::FileName() const {
    const detail::LockUnlessEnding lock(lock_);
    return lock ? path_ : std::string();
}

std::uint32_t LogDstFile::FileSize() const {
    const detail::LockUnlessEnding lock(lock_);
    return fileSize_;
}

// --- accepting ---

bool LogDstFile::accept(int level) {
    if (level != kLevelInfoX) return LogDst::accept(level);
    const detail::LockUnlessEnding lock(lock_);
    return lock && canInfoX();
}

bool LogDstFile::canInfoX() {
    if (remaining_ == 0 && nextMax_ == 0) return false;
    const std::int64_t now = SteadySeconds();
    if (now < windowStart_) return false;
    if (now < windowEnd_) {
        if (remaining_ < 1) return false;
        --remaining_;
        return true;
    }
    // One window at a time, and the call that finds it past is refused: deliberate, after a long silence
    // several calls are refused while the windows catch up.
    windowStart_ += nextEvery_;
    windowEnd_ = windowStart_ + nextLen_;
    remaining_ = nextMax_;
    return false;
}

// --- writing ---

void LogDstFile::log(int level, const char*, const char* line, unsigned int length, const char*) {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return;
    if (!isOpen() && !_open()) {
        ++dropped_;
        return;
    }
    getPrefix();
    if (dropped_ > 0) putDroppedCount();
    putLine(line, length);
    if (instant_ || level < kLevelInfo) _flush();
    rollIfDue();
}

void LogDstFile::putLine(const char* line, std::uint32_t length) {
    if (!put(line, length)) ++dropped_;
}

// Appends the time stamp and a line to the buffer; false when there is no room and none can be made.
bool LogDstFile::put(const char* line, std::uint32_t length) {
    const std::uint32_t taken = std::min(length, kBufferSize - prefixLen_), size = prefixLen_ + taken;
    if (!makeRoom(size)) return false;
    char* const at = buffer_ + buffered_;
    // Of a known size where there is room, which is quicker than a call; the line covers what is too much.
    if (taken >= kPrefixSize)
        std::memcpy(at, prefix_, kPrefixSize);
    else
        std::memcpy(at, prefix_, prefixLen_);
    std::memcpy(at + prefixLen_, line, taken);
    if (taken < length) at[size - 1] = '\n';  // longer than any line of a BaseLogger
    fileSize_ = Clamped(std::uint64_t{fileSize_} + size);
    buffered_.store(buffered_ + size, std::memory_order_release);  // only now the line counts
    return true;
}

bool LogDstFile::makeRoom(std::uint32_t size) {
    return size <= kBufferSize - buffered_ || writeOut() || size <= kBufferSize - buffered_;
}

void LogDstFile::putDroppedCount() {
    if (writeFailed_) return;
    std::string line;
    WindowsAgentCommon::Format(line, "WARN  LogDst : %u lines were dropped while %s could not be written\n",
                               static_cast<unsigned>(dropped_), path_.c_str());
    if (put(line.data(), static_cast<std::uint32_t>(line.size()))) dropped_ = 0;
}

bool LogDstFile::writeOut() {
    const std::uint32_t waiting = buffered_;
    if (waiting == 0) return true;
    if (!isOpen()) return false;
    writing_ = true;
    unsigned long error = 0;
    const std::uint32_t written = std::min(detail::WriteLogFile(handle_, buffer_, waiting, error), waiting);
    if (written > 0) endsInLine_ = buffer_[written - 1] != '\n';
    if (written < waiting) {
        buffered_ = 0;  // nothing that is half moved may be taken for lines
        std::memmove(buffer_, buffer_ + written, waiting - written);
    }
    buffered_ = waiting - written;
    writing_ = false;
    if (written == waiting) {
        writeFailed_ = false;
        return true;
    }
    writeFailed(error);
    return false;
}

void LogDstFile::writeFailed(unsigned long error) {
    if (!writeFailed_)
        detail::WriteSideFile(getPrefix(), "ERROR : Unable to write log file %s  Error: %d", path_.c_str(),
                              static_cast<int>(error));
    writeFailed_ = true;
    if (!IsDiskFull(error)) closeHandle();  // a connection that broke needs a new one
}

void LogDstFile::flush(bool closeIfIdle) {
    const detail::LockUnlessEnding lock(lock_);
    if (lock) flushLocked(closeIfIdle);
}

void LogDstFile::flushLocked(bool closeIfIdle) {
    const bool idle = buffered_ == 0 && dropped_ == 0;
    if (idle) {
        if (closeIfIdle) _close();
        return;
    }
    if (!isOpen() && !_open()) return;
    const bool written = _flush();
    if (written && dropped_ > 0) {
        getPrefix();
        putDroppedCount();
        _flush();
    }
    if (closeIfIdle && isOpen() && !namesOurFile()) _close();
}

bool LogDstFile::_flush() {
    const bool written = writeOut();
    if (isOpen()) ::FlushFileBuffers(handle_);
    return written;
}

// --- opening and closing ---

bool LogDstFile::isOpen() const noexcept { return handle_ != INVALID_HANDLE_VALUE; }

bool LogDstFile::_open() {
    if (openWith(FILE_APPEND_DATA)) {
        if (!opened_ && IsA("LogDstFile")) endLastLine();  // reports need not end with a line feed
        opened_ = true;
        openFailed_ = false;
        return true;
    }
    if (!openFailed_) detail::WriteSideFile(getPrefix(), "ERROR : Unable to open log file %s", path_.c_str());
    openFailed_ = true;
    return false;
}

bool LogDstFile::openWith(unsigned long access) {
    FileHandle file(::CreateFileW(SystemPath(path_).c_str(), access, kShareAll, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;
    closeHandle();
    handle_ = file.Release();
    if (takeSize()) return true;
    closeHandle();
    return false;
}

bool LogDstFile::takeSize() {
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(handle_, &size)) return false;
    fileSize_ = Clamped(static_cast<std::uint64_t>(size.QuadPart) + buffered_);
    return true;
}

// Ends the line in whose middle a process was killed, so that ours does not continue it.
void LogDstFile::endLastLine() {
    const FileHandle file(::CreateFileW(SystemPath(path_).c_str(), GENERIC_READ, kShareAll, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER end;
    end.QuadPart = -1;
    char last = 0;
    DWORD got = 0;
    unsigned long error = 0;
    if (file && ::SetFilePointerEx(file.Get(), end, nullptr, FILE_END) &&
        ::ReadFile(file.Get(), &last, 1, &got, nullptr) && got == 1 && last != '\n')
        fileSize_ = Clamped(std::uint64_t{fileSize_} + detail::WriteLogFile(handle_, "\n", 1, error));
}

void LogDstFile::_close() {
    if (!isOpen()) return;
    _flush();
    closeHandle();
}

void LogDstFile::closeHandle() noexcept { FileHandle(std::exchange(handle_, INVALID_HANDLE_VALUE)).Reset(); }

// Whether the path still means the file that is open, and not another or none since somebody renamed or
// deleted ours.
bool LogDstFile::namesOurFile() const {
    return WindowsAgentCommon::detail::IsSameFile(handle_, SystemPath(path_));
}

void LogDstFile::reset() {
    const detail::LockUnlessEnding lock(lock_);
    if (lock) resetLocked();
}

// At the end of the process: writes out what the buffer holds, without waiting for a lock that is never
// released. Lines count as buffered only when they are whole, so all of them may be written.
void LogDstFile::finish() noexcept {
    const bool locked = lock_.tryacquire() == 0;
    const std::uint32_t waiting = buffered_, written = writing_ ? writtenOf(waiting) : 0;
    unsigned long error = 0;
    if (isOpen() && waiting > written) {
        detail::WriteLogFile(handle_, buffer_ + written, waiting - written, error);
        buffered_ = 0;
    }
    if (locked) lock_.release();
}

// How much of the buffer is in the file already, when a thread was ended in the middle of writing it: by the
// file's size. All of it, where that cannot be told.
std::uint32_t LogDstFile::writtenOf(std::uint32_t waiting) const noexcept {
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(handle_, &size)) return waiting;
    const std::int64_t written = size.QuadPart - (std::int64_t{fileSize_} - waiting);
    return written < 0 || written > waiting ? waiting : static_cast<std::uint32_t>(written);
}

// --- rolling ---

void LogDstFile::RollLogs() {
    const detail::LockUnlessEnding lock(lock_);
    if (lock) rollLocked();
}

void LogDstFile::rollIfDue() {
    if (maxFileSize_ == 0 || fileSize_ <= std::uint64_t{rollSlack_} + maxFileSize_) return;
    rollLocked();
    if (fileSize_ <= maxFileSize_) {
        rollSlack_ = 0;
        return;
    }
    // A file that was far beyond the limit from the beginning would be due again at every line.
    const std::uint64_t next = std::uint64_t{rollSlack_} + maxFileSize_ / 5,
                        excess = fileSize_ - maxFileSize_;
    rollSlack_ = Clamped(excess > next ? excess + maxFileSize_ / 5 : next);
}

void LogDstFile::rollLocked() {
    const auto report = [this](const std::string& text) {
        detail::WriteSideFile(getPrefix(), "%s", text.c_str());
    };
    std::string text;
    report(WindowsAgentCommon::Format(text, "Rolling files curSize %d maxSize %d maxFiles %d",
                                      static_cast<int>(fileSize_), static_cast<int>(maxFileSize_),
                                      static_cast<int>(maxIndex_)));
    _close();
    if (endsInLine_ && buffered_ > 0) {  // a full disk: both halves of a line belong in one file
        _open();
        return;
    }
    const std::size_t name = baseName_.find_last_of('\\') + 1;  // behind the folder that it may begin with
    if (detail::Roll({folder_ + baseName_.substr(0, name), baseName_.substr(name), ext_}, maxIndex_, report))
        fileSize_ = buffered_;
    _open();
}

}  // namespace CorvaneLogger
