#include "agent/road/FileSink.h"

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "agent/road/Waiting.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/Text.h"

#include <algorithm>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr int kRetryMs = 250;
constexpr std::int64_t kRollRetryMs = 10'000;
constexpr std::size_t kSpareBytes = 4U << 20;   // a larger buffer is given back
constexpr std::uint64_t kTornBytes = 1U << 20;  // how far the last line feed is looked for

}  // namespace

FileSink::FileSink(const Options& options, WindowsAgentCommon::Log log)
    : options_(options), log_(log), changed_(lock_) {}

bool FileSink::Write(const LineBatch& batch) {
    compose(batch);
    for (;;) {
        {
            const Guard guard(lock_);
            if (cancelled_) return false;
        }
        rollIfFull(out_.size());
        const unsigned long error = writeOut();
        noteState(error);
        Guard guard(lock_);
        if (error == 0) {
            sent_ += batch.lengths.size();
            bytes_ += out_.size();
            lastSent_ = static_cast<std::uint64_t>(SystemMilliseconds());
            if (out_.capacity() > kSpareBytes) std::string().swap(out_);
            return true;
        }
        if (!cancelled_) WaitStep(changed_, kRetryMs);
    }
}

void FileSink::compose(const LineBatch& batch) {
    out_.clear();
    out_.reserve(batch.text.size() + batch.lengths.size());
    std::size_t start = 0;
    for (const std::size_t length : batch.lengths) {
        AppendVisibly(out_, batch.text.data() + start, length);
        out_ += '\n';
        start += length;
    }
}

unsigned long FileSink::writeOut() {
    if (!file_) {
        const unsigned long error = open();
        if (error != 0) return error;
    }
    if (torn_) {
        const unsigned long error = cutAt(size_);
        if (error != 0) return error;
    }
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(size_);
    place.OffsetHigh = static_cast<DWORD>(size_ >> 32);
    DWORD written = 0;
    DWORD error = 0;
    if (!::WriteFile(file_.get(), out_.data(), static_cast<DWORD>(out_.size()), &written, &place))
        error = ::GetLastError();
    if (error == 0 && written != out_.size()) error = ERROR_DISK_FULL;
    if (error == 0) {
        size_ += out_.size();
        return 0;
    }
    torn_ = true;
    cutAt(size_);  // at once, for those who read the file; otherwise before the next write
    return error;
}

unsigned long FileSink::open() {
    const std::size_t folder = options_.path.find_last_of(L"\\/");
    if (folder != std::wstring::npos && folder > 0 && options_.path[folder - 1] != L':') {
        const unsigned long error =
            WindowsAgentCommon::CreateDirectoryRecursive(options_.path.substr(0, folder));
        if (error != 0) return error;
    }
    file_ = OwnFile(::CreateFileW(options_.path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const DWORD error = ::GetLastError();
    if (!file_) return error;
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(file_.get(), &size)) {
        const DWORD sizeError = ::GetLastError();
        file_.reset();
        return sizeError;
    }
    size_ = static_cast<std::uint64_t>(size.QuadPart);
    torn_ = false;
    const unsigned long repaired = repairEnd();
    if (repaired != 0) file_.reset();
    return repaired;
}

/// Cuts off a last line without line feed, which a killed process left. One without a line feed in a MiB is
/// none of ours, and is ended instead.
unsigned long FileSink::repairEnd() {
    if (size_ == 0) return 0;
    const std::uint64_t from = size_ > kTornBytes ? size_ - kTornBytes : 0;
    std::string tail(static_cast<std::size_t>(size_ - from), '\0');
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(from);
    place.OffsetHigh = static_cast<DWORD>(from >> 32);
    DWORD got = 0;
    if (!::ReadFile(file_.get(), tail.data(), static_cast<DWORD>(tail.size()), &got, &place))
        return ::GetLastError();
    tail.resize(got);
    if (tail.empty() || tail.back() == '\n') return 0;
    const std::size_t end = tail.rfind('\n');
    if (end != std::string::npos) {
        log_->Warn("%ls ends within a line, which is cut off", options_.path.c_str());
        size_ = from + end + 1;
        return cutAt(size_);
    }
    log_->Warn("%ls ends within a line, which is ended", options_.path.c_str());
    place.Offset = static_cast<DWORD>(size_);
    place.OffsetHigh = static_cast<DWORD>(size_ >> 32);
    if (!::WriteFile(file_.get(), "\n", 1, &got, &place)) return ::GetLastError();
    size_ += got;
    return 0;
}

unsigned long FileSink::cutAt(std::uint64_t size) {
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(size);
    if (!::SetFilePointerEx(file_.get(), end, nullptr, FILE_BEGIN) || !::SetEndOfFile(file_.get()))
        return ::GetLastError();
    torn_ = false;
    return 0;
}

void FileSink::rollIfFull(std::size_t more) {
    if (options_.maxBytes == 0 || !file_ || torn_ || size_ == 0 || size_ + more <= options_.maxBytes) return;
    const std::int64_t now = SteadyMilliseconds();
    if (rollFails_ && now < rollAgain_) return;
    file_.reset();
    const unsigned long error = rename();
    if (error != 0 && !rollFails_)
        log_->Warn("%ls cannot be rolled, error %lu; it grows on", options_.path.c_str(), error);
    rollFails_ = error != 0;
    rollAgain_ = now + kRollRetryMs;
}

/// From the oldest to the newest, up to the first number that is free: when a rename fails, the next try
/// finds the gap there and deletes no second file.
unsigned long FileSink::rename() {
    const auto numbered = [this](unsigned int number) {
        std::wstring suffix;
        return options_.path + WindowsAgentCommon::Format(suffix, L".%u", number);
    };
    unsigned int free = 1;
    while (free < options_.keep && ::GetFileAttributesW(numbered(free).c_str()) != INVALID_FILE_ATTRIBUTES)
        ++free;
    for (unsigned int number = free; number > 0; --number) {
        const std::wstring from = number == 1 ? options_.path : numbered(number - 1);
        if (!::MoveFileExW(from.c_str(), numbered(number).c_str(), MOVEFILE_REPLACE_EXISTING))
            return ::GetLastError();
    }
    return 0;
}

void FileSink::noteState(unsigned long error) {
    {
        const Guard guard(lock_);
        if ((error == 0) == (error_ == 0)) return;
        error_ = error;
    }
    if (error != 0) {
        log_->Error("Destination %s: %ls cannot be written, error %lu; events wait", options_.name.c_str(),
                    options_.path.c_str(), error);
    } else {
        log_->Info("Destination %s: %ls can be written again", options_.name.c_str(), options_.path.c_str());
    }
}

void FileSink::Cancel() {
    const Guard guard(lock_);
    cancelled_ = true;
    changed_.broadcast();
}

void FileSink::AddStatus(const std::string& prefix, WindowsAgentCommon::EnvironmentBlock& status) const {
    const Guard guard(lock_);
    status.SetStringValue(prefix + "State", error_ == 0 ? "writing" : "failing");
    status.SetIntegerValue(prefix + "Sent", sent_);
    status.SetIntegerValue(prefix + "SentBytes", bytes_);
    status.SetIntegerValue(prefix + "LastSent", lastSent_);
}

}  // namespace CorvaneAgent
