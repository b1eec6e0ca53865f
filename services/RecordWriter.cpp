#include "services/RecordWriter.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "foundation/Clock.h"
#include "logging/ProcessEnd.h"
#include "queues/AceTime.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <new>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;
using CorvaneLogger::detail::LockUnlessEnding;
using CorvaneLogger::detail::ProcessIsEnding;

constexpr std::size_t kOverhead = 256;  // of a waiting record, beside its name and bytes
constexpr int kLastTries = 3;           // at Close: somebody may have a file open for a moment
constexpr unsigned int kPauseMs = 100;  // between these, and where memory is lacking

}  // namespace

std::size_t RecordWriter::Record::Cost() const {
    return kOverhead + name.size() + (bytes ? bytes->size() : 0);
}

RecordWriter::RecordWriter()
    : served_(lock_), log_(CorvaneLogger::CV_Logger::Logger("Code.PersistenceManager")) {}

void RecordWriter::Open(const std::wstring& folder) {
    const Guard guard(lock_);
    folder_ = folder;
    for (auto& [file, record] : waiting_) record.retryAt = 0;
    closing_ = false;
    active_ = running_ = true;
}

void RecordWriter::Close() noexcept {
    {
        const LockUnlessEnding guard(lock_);
        if (!guard) return;
        active_ = false;
        closing_ = true;
    }
    wake_.signal();
    if (ProcessIsEnding()) Run();
}

// --- what components call ---

unsigned long RecordWriter::Put(const std::wstring& file, const std::string& name,
                                std::shared_ptr<const std::string> bytes) {
    Record fresh;
    fresh.name = name;
    fresh.bytes = std::move(bytes);
    const std::size_t cost = fresh.Cost();
    {
        const Guard guard(lock_);
        if (!active_) return ERROR_SERVICE_NOT_ACTIVE;
        const auto found = waiting_.find(file);
        const std::size_t before = found != waiting_.end() ? found->second.Cost() : 0;
        if (waitingBytes_ - before + cost > kMostWaiting) return ERROR_NOT_ENOUGH_QUOTA;
        if (found == waiting_.end()) {
            waiting_.emplace(file, std::move(fresh));
        } else {
            found->second.bytes.swap(fresh.bytes);  // the old ones are freed without the lock
            ++found->second.version;
        }
        waitingBytes_ += cost - before;
    }
    wake_.signal();
    return ERROR_SUCCESS;
}

unsigned long RecordWriter::Get(const std::wstring& file, std::shared_ptr<const std::string>& bytes) {
    std::wstring path;
    {
        const Guard guard(lock_);
        const auto found = waiting_.find(file);
        if (found != waiting_.end()) {
            bytes = found->second.bytes;
            return bytes ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
        }
        path = folder_ + file;
    }
    const auto read = std::make_shared<std::string>();
    const Guard guard(fileLock_);
    const unsigned long error = ReadRecordFile(path, *read);
    if (error == ERROR_SUCCESS) bytes = read;
    return error;
}

unsigned long RecordWriter::Flush() {
    const Guard guard(lock_);
    if (!active_) return ERROR_SERVICE_NOT_ACTIVE;
    const std::uint32_t mine = ++flushesAsked_;
    wake_.signal();
    while (running_ && static_cast<std::int32_t>(flushesServed_ - mine) < 0) served_.wait();
    return flushError_;
}

RecordWriter::Status RecordWriter::GetStatus() const {
    const Guard guard(lock_);
    return {waiting_.size(), waitingBytes_, failing_ != 0 ? lastError_ : ERROR_SUCCESS};
}

// --- the thread ---

void RecordWriter::Run() noexcept {
    while (Turn()) Wait();
}

bool RecordWriter::Turn() {
    std::uint32_t asked;
    bool closing, all;
    {
        const Guard guard(lock_);
        asked = flushesAsked_;
        closing = closing_;
        all = closing || asked != flushesServed_;
    }
    unsigned long error = WriteDue(all);
    for (int tries = 1; closing && error != ERROR_SUCCESS && tries < kLastTries; ++tries) {
        SleepMilliseconds(kPauseMs);
        error = WriteDue(all);
    }
    if (closing) ReportUnwritten();
    if (!all) return true;
    const Guard guard(lock_);
    flushesServed_ = closing ? flushesAsked_ : asked;
    flushError_ = error;
    running_ = !closing;
    if (!ProcessIsEnding()) served_.broadcast();  // which waits for those who wait
    return running_;
}

void RecordWriter::Wait() {
    std::int64_t wait = INT64_MAX;
    {
        const Guard guard(lock_);
        const std::int64_t now = SteadyTicks();
        for (const auto& [file, record] : waiting_) wait = std::min(wait, record.retryAt - now);
        if (closing_ || flushesAsked_ != flushesServed_) wait = 0;
    }
    if (wait <= 0) return;
    ACE_Time_Value pause = AceTime(wait);
    wake_.wait(wait != INT64_MAX ? &pause : nullptr, 0);  // a span: the clock may be set meanwhile
}

// Each waiting record at most once, so that none keeps the others waiting. Returns the last error.
unsigned long RecordWriter::WriteDue(bool all) noexcept {
    unsigned long lastError = ERROR_SUCCESS;
    try {
        Record record;
        for (std::wstring file; TakeDue(all, file, record);) {
            const unsigned long error = Write(file, record);
            if (error != ERROR_SUCCESS) lastError = error;
            Settle(file, record, error);
        }
    } catch (const std::bad_alloc&) {
        SleepMilliseconds(kPauseMs);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    return lastError;
}

// file: the last one, and then the next one.
bool RecordWriter::TakeDue(bool all, std::wstring& file, Record& record) const {
    const Guard guard(lock_);
    const std::int64_t now = SteadyTicks();
    for (auto at = waiting_.upper_bound(file); at != waiting_.end(); ++at) {
        if (!all && at->second.retryAt > now) continue;
        file = at->first;
        record = at->second;
        record.retryAt = now + kRetrySeconds * kTicksPerSecond;
        return true;
    }
    return false;
}

unsigned long RecordWriter::Write(const std::wstring& file, const Record& record) {
    const std::wstring path = folder_ + file;
    if (!record.bytes) {
        const LockUnlessEnding guard(fileLock_);  // at the end nobody reads any more
        return RemoveRecordFile(path);
    }
    RecordReplacement replacement(path);
    const unsigned long error = replacement.Write(*record.bytes);
    if (error != ERROR_SUCCESS) return error;
    const LockUnlessEnding guard(fileLock_);
    return replacement.Commit();
}

// Notes how the write of a record ended; what was put meanwhile stays waiting.
void RecordWriter::Settle(const std::wstring& file, const Record& written, unsigned long error) {
    bool failsAnew = false, recovers = false;
    {
        const Guard guard(lock_);
        const auto at = waiting_.find(file);
        Record& record = at->second;
        if (record.error != ERROR_SUCCESS) --failing_;
        if (error != ERROR_SUCCESS) {
            failsAnew = record.error != error && (failing_ == 0 || lastError_ != error);
            ++failing_;
            lastError_ = error;
        } else {
            recovers = record.error != ERROR_SUCCESS && failing_ == 0;
        }
        record.error = error;
        record.retryAt = error != ERROR_SUCCESS ? written.retryAt : 0;
        if (error == ERROR_SUCCESS && record.version == written.version) {
            waitingBytes_ -= record.Cost();
            waiting_.erase(at);
        }
    }
    if (failsAnew)
        log_.Error("Record %s cannot be written, tried again every %d s: %s", written.name.c_str(),
                   kRetrySeconds, LastError(error).c_str());
    if (recovers) log_.Info("Records are written again");
}

void RecordWriter::ReportUnwritten() const noexcept {
    try {
        Records unwritten;
        {
            const Guard guard(lock_);
            unwritten = waiting_;
        }
        for (const auto& [file, record] : unwritten)
            log_.Error("Record %s is not written: %s", record.name.c_str(), LastError(record.error).c_str());
    } catch (const std::bad_alloc&) {
        log_.Error("Records are not written, and memory is lacking");
    }
}

}  // namespace WindowsAgentCommon::detail
