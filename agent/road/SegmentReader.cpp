#include "agent/road/SegmentReader.h"

#include "WindowsAgentCommon/Formatting.h"
#include "agent/road/SpoolFormat.h"

#include <algorithm>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr std::uint64_t kSpareBytes = 1U << 20;  // a larger buffer is given back

}  // namespace

std::wstring SegmentPath(const std::wstring& folder, std::uint64_t number) {
    std::wstring name;
    WindowsAgentCommon::Format(name, L"%010I64u.spool", number);
    return folder + name;
}

SegmentReader::Result SegmentReader::Open(std::uint64_t number) {
    if (file_ && number_ == number) return Result::kRead;
    const std::wstring path = SegmentPath(folder_, number);
    file_ = OwnFile(::CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    const DWORD error = ::GetLastError();
    number_ = number;
    if (!file_) {
        if (error == ERROR_FILE_NOT_FOUND) return Result::kDamaged;
        tell(error);
        return Result::kFailed;
    }
    const bool filled = fill(0, kSegmentHeaderBytes);
    if (filled && IsSegmentHeader(buffer_.data(), buffer_.size(), number)) return Result::kRead;
    file_.reset();
    return filled ? Result::kDamaged : Result::kFailed;
}

SegmentReader::Result SegmentReader::Read(std::uint64_t number, std::uint64_t offset, std::uint64_t end,
                                          std::size_t maxBytes, LineBatch& lines) {
    lines.Clear();
    if (offset >= end) return Result::kEnd;
    const Result opened = Open(number);
    if (opened != Result::kRead) return opened;
    std::uint64_t wanted = std::min<std::uint64_t>(std::max(maxBytes, kRecordHeaderBytes), end - offset);
    std::size_t start = 0;
    for (;;) {
        if (!fill(offset, wanted)) return Result::kFailed;
        std::size_t length = 0;
        while (CheckRecord(buffer_.data() + start, buffer_.size() - start, length) == RecordState::kWhole) {
            lines.Add(buffer_.data() + start + kRecordHeaderBytes, length);
            start += kRecordHeaderBytes + length;
        }
        if (start > 0) return Result::kRead;
        const std::uint64_t needed = kRecordHeaderBytes + static_cast<std::uint64_t>(length);
        if (needed <= wanted || needed > end - offset) return Result::kDamaged;
        wanted = needed;
    }
}

/// Fills buffer_ with that many bytes of the open segment, or with fewer where it ends.
bool SegmentReader::fill(std::uint64_t offset, std::uint64_t bytes) {
    if (buffer_.capacity() > kSpareBytes && bytes <= kSpareBytes) std::string().swap(buffer_);
    buffer_.resize(static_cast<std::size_t>(bytes));
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD got = 0;
    if (!::ReadFile(file_.get(), buffer_.data(), static_cast<DWORD>(bytes), &got, &place)) {
        const DWORD error = ::GetLastError();
        if (error != ERROR_HANDLE_EOF) {
            tell(error);
            return false;
        }
    }
    buffer_.resize(got);
    fails_ = false;
    return true;
}

void SegmentReader::tell(unsigned long error) {
    if (!fails_)
        log_->Error("Spool %ls: segment %I64u cannot be read, error %lu", folder_.c_str(), number_, error);
    fails_ = true;
}

}  // namespace CorvaneAgent
