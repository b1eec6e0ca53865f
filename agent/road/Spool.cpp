#include "agent/road/Spool.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IDiskManager.h"

#include <algorithm>
#include <iterator>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr unsigned int kCaller = 1;  // the disk manager makes no use of it
constexpr std::size_t kChunkBytes = 256U << 10;

/// The number in "0000000012.spool"; 0 for any other name.
std::uint64_t numberOf(const std::wstring& name) {
    constexpr std::size_t kDigits = 10;
    if (name.size() != kDigits + 6 || name.compare(kDigits, 6, L".spool") != 0) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < kDigits; ++i) {
        if (name[i] < L'0' || name[i] > L'9') return 0;
        number = number * 10 + static_cast<std::uint64_t>(name[i] - L'0');
    }
    return number;
}

}  // namespace

Spool::Spool(const Options& options, WindowsAgentCommon::IDiskManager& disk, WindowsAgentCommon::Log log)
    : options_(options), disk_(disk), log_(log), reader_(options.folder, log) {}

Spool::~Spool() = default;

unsigned long Spool::Open(SpoolPosition& position) {
    const Guard guard(lock_);
    unsigned long error = WindowsAgentCommon::CreateDirectoryRecursive(options_.folder);
    if (error == 0) error = listLocked();
    if (error != 0) return error;
    if (!segments_.empty()) nextNumber_ = segments_.rbegin()->first + 1;
    nextNumber_ = std::max(nextNumber_, position.segment + 1);  // its number is never used again
    checkLastLocked();
    std::uint64_t boundary = 0;
    if (segments_.count(position.segment) != 0 && walkLocked(position.segment, position.offset, boundary) &&
        boundary != position.offset) {
        log_->Warn("Spool %ls: no event begins at byte %I64u of segment %I64u, going back to its first one",
                   options_.folder.c_str(), position.offset, position.segment);
        position.offset = kSegmentHeaderBytes;
    }
    released_ = position;
    while (!segments_.empty() && segments_.begin()->first < position.segment) removeLocked(segments_.begin());
    return 0;
}

unsigned long Spool::listLocked() {
    WIN32_FIND_DATAW entry;
    const HANDLE search = ::FindFirstFileW((options_.folder + L"*.spool").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        return error == ERROR_FILE_NOT_FOUND ? 0 : error;
    }
    const auto close = [](void* handle) { ::FindClose(handle); };
    const std::unique_ptr<void, decltype(close)> owner(search, close);
    do {
        const std::uint64_t number = numberOf(entry.cFileName);
        if (number == 0) continue;
        const std::uint64_t size = static_cast<std::uint64_t>(entry.nFileSizeHigh) << 32 | entry.nFileSizeLow;
        segments_[number] = {size, size, 0, false};  // the disk manager has counted it at its start
        bytes_ += size;
        reserved_ += size;
    } while (::FindNextFileW(search, &entry));
    const DWORD error = ::GetLastError();
    return error == ERROR_NO_MORE_FILES ? 0 : error;
}

/// The process may have ended within the last write.
void Spool::checkLastLocked() {
    if (segments_.empty()) return;
    const auto last = std::prev(segments_.end());
    const std::uint64_t size = last->second.size;
    std::uint64_t whole = 0;
    const bool known = walkLocked(last->first, size, whole);
    reader_.Close();
    if (!known || (whole >= size && size > kSegmentHeaderBytes)) return;
    if (whole <= kSegmentHeaderBytes) {
        if (size > kSegmentHeaderBytes) {
            ++damaged_;
            log_->Warn("Spool %ls: segment %I64u, %I64u bytes, holds no whole event and is removed",
                       options_.folder.c_str(), last->first, size);
        }
        removeLocked(last);
        return;
    }
    log_->Warn("Spool %ls: the last %I64u bytes of segment %I64u are no whole event and are cut off",
               options_.folder.c_str(), size - whole, last->first);
    const Handle file = OwnFile(::CreateFileW(
        SegmentPath(options_.folder, last->first).c_str(), GENERIC_WRITE,
        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(whole);
    const bool cut =
        file && ::SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) && ::SetEndOfFile(file.get());
    if (cut) {
        releaseLocked(size - whole);
        last->second.reserved = whole;
    }
    last->second.size = whole;
    bytes_ -= size - whole;
}

/// Goes from record to record, up to until. end: until or beyond, or the first place where no whole record
/// stands; 0 for a wrong header. False when the file cannot be read for the moment.
bool Spool::walkLocked(std::uint64_t number, std::uint64_t until, std::uint64_t& end) {
    LineBatch lines;
    end = 0;
    SegmentReader::Result result = reader_.Open(number);
    if (result == SegmentReader::Result::kRead) end = kSegmentHeaderBytes;
    while (result == SegmentReader::Result::kRead && end < until) {
        result = readLocked(number, end, kChunkBytes, lines);
        for (const std::size_t length : lines.lengths)
            if (end < until) end += kRecordHeaderBytes + length;
    }
    return result != SegmentReader::Result::kFailed;
}

Spool::AppendResult Spool::Append(const LineBatch& lines) {
    std::string bytes;
    bytes.reserve(kSegmentHeaderBytes + lines.text.size() + lines.lengths.size() * kRecordHeaderBytes);
    bytes.assign(kSegmentHeaderBytes, '\0');  // room for the header of a new segment
    std::size_t start = 0;
    for (const std::size_t length : lines.lengths) {
        if (length > kMaxRecordBytes) return AppendResult::kTooLarge;
        AppendRecord(bytes, lines.text.data() + start, length);
        start += length;
    }
    if (lines.lengths.empty()) return AppendResult::kWritten;
    if (bytes.size() > options_.capacity) return AppendResult::kTooLarge;
    const Guard guard(lock_);
    return appendLocked(bytes, lines.lengths.size());
}

unsigned long Spool::GetAppendError() const {
    const Guard guard(lock_);
    return appendError_;
}

/// bytes: records behind room for a segment's header.
Spool::AppendResult Spool::appendLocked(std::string& bytes, std::uint64_t records) {
    if (writer_) {
        const std::uint64_t size = segments_.rbegin()->second.size;
        const std::uint64_t more = bytes.size() - kSegmentHeaderBytes;
        if (size > kSegmentHeaderBytes && size + more > options_.segmentBytes) writer_.reset();
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool isNew = !writer_;
        const std::size_t from = isNew ? 0 : kSegmentHeaderBytes;
        const std::uint64_t size = bytes.size() - from;
        if (reserveLocked(size)) {
            if (isNew) PutSegmentHeader(&bytes[0], nextNumber_);
            return writeLocked(bytes.data() + from, static_cast<std::size_t>(size), records, isNew);
        }
        const bool retried = deleteLeftLocked();
        if (!removeReleasedLocked() && !retried) break;
    }
    return AppendResult::kFull;
}

bool Spool::reserveLocked(std::uint64_t bytes) {
    if (reserved_ + bytes > options_.capacity || !disk_.ReserveSpace(kCaller, bytes)) return false;
    reserved_ += bytes;
    return true;
}

void Spool::releaseLocked(std::uint64_t bytes) {
    disk_.ReleaseSpace(kCaller, bytes);
    reserved_ -= bytes;
}

/// size: reserved.
Spool::AppendResult Spool::writeLocked(const char* bytes, std::size_t size, std::uint64_t records,
                                       bool isNew) {
    try {
        appendError_ = isNew ? openWriterLocked() : 0;
    } catch (const std::exception&) {
        releaseLocked(size);
        throw;
    }
    if (appendError_ != 0) {
        releaseLocked(size);
        return AppendResult::kFailed;
    }
    Segment& segment = segments_.rbegin()->second;
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(segment.size);
    place.OffsetHigh = static_cast<DWORD>(segment.size >> 32);
    DWORD written = 0;
    if (!::WriteFile(writer_.get(), bytes, static_cast<DWORD>(size), &written, &place)) {
        appendError_ = ::GetLastError();
    } else if (written != size) {
        appendError_ = ERROR_DISK_FULL;
    }
    if (appendError_ != 0) {
        undoLocked(isNew, size);
        return AppendResult::kFailed;
    }
    segment.size += size;
    segment.reserved += size;
    segment.records += records;
    bytes_ += size;
    return AppendResult::kWritten;
}

unsigned long Spool::openWriterLocked() {
    const std::uint64_t number = nextNumber_++;
    const std::wstring path = SegmentPath(options_.folder, number);
    segments_[number];
    writer_ = OwnFile(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    const DWORD error = ::GetLastError();
    if (writer_) return 0;
    segments_.erase(number);
    return error;
}

/// Takes back a write that came to nothing or to half.
void Spool::undoLocked(bool isNew, std::uint64_t bytes) {
    Segment& segment = segments_.rbegin()->second;
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(segment.size);
    if (::SetFilePointerEx(writer_.get(), end, nullptr, FILE_BEGIN) && ::SetEndOfFile(writer_.get())) {
        releaseLocked(bytes);
    } else {
        segment.reserved += bytes;  // the rubbish stays behind the segment's valid part
        writer_.reset();
    }
    if (isNew) removeLocked(std::prev(segments_.end()));
}

bool Spool::Read(SpoolPosition& position, std::size_t maxBytes, LineBatch& lines) {
    const Guard guard(lock_);
    lines.Clear();
    for (auto segment = segments_.lower_bound(position.segment); segment != segments_.end();) {
        const std::uint64_t number = segment->first;
        std::uint64_t offset = kSegmentHeaderBytes;
        if (number == position.segment) offset = std::max(offset, position.offset);
        const SegmentReader::Result result = readLocked(number, offset, maxBytes, lines);
        if (result == SegmentReader::Result::kFailed) return false;
        if (result == SegmentReader::Result::kRead) {
            for (const std::size_t length : lines.lengths) offset += kRecordHeaderBytes + length;
            position = {number, offset};
            return true;
        }
        const auto next = std::next(segment);
        if (result == SegmentReader::Result::kDamaged) {
            skipLocked(segment, offset);
            position = {number, segment->second.size};
        }
        segment = next;
    }
    return false;
}

SegmentReader::Result Spool::readLocked(std::uint64_t number, std::uint64_t offset, std::size_t maxBytes,
                                        LineBatch& lines) {
    return reader_.Read(number, offset, segments_[number].size, maxBytes, lines);
}

void Spool::skipLocked(Segments::iterator segment, std::uint64_t offset) {
    ++damaged_;
    log_->Error("Spool %ls: segment %I64u is damaged at byte %I64u; what follows in it, %I64u bytes, is lost",
                options_.folder.c_str(), segment->first, offset, segment->second.size - offset);
    if (std::next(segment) == segments_.end()) writer_.reset();  // nothing more behind the damage
}

void Spool::Release(const SpoolPosition& position) {
    const Guard guard(lock_);
    if (released_ < position) released_ = position;
    while (segments_.size() > 1 && segments_.begin()->first < position.segment)
        removeLocked(segments_.begin());
}

bool Spool::DropOldest(const SpoolPosition& position, std::uint64_t& lost) {
    const Guard guard(lock_);
    lost = 0;
    if (segments_.empty()) return false;
    const auto oldest = segments_.begin();
    if (position.segment < oldest->first && oldest->second.counted) {
        lost = oldest->second.records;
    } else if (position.segment < oldest->first) {
        lost = countLocked(oldest->first, kSegmentHeaderBytes);
    } else if (position.segment == oldest->first) {
        lost = countLocked(oldest->first, std::max<std::uint64_t>(position.offset, kSegmentHeaderBytes));
    }
    removeLocked(oldest);
    return true;
}

std::uint64_t Spool::countLocked(std::uint64_t number, std::uint64_t offset) {
    LineBatch lines;
    std::uint64_t count = 0;
    while (readLocked(number, offset, kChunkBytes, lines) == SegmentReader::Result::kRead) {
        count += lines.lengths.size();
        for (const std::size_t length : lines.lengths) offset += kRecordHeaderBytes + length;
    }
    return count;
}

void Spool::removeLocked(Segments::iterator segment) {
    if (std::next(segment) == segments_.end()) writer_.reset();
    reader_.Close(segment->first);
    deleteLeftLocked();
    const std::wstring path = SegmentPath(options_.folder, segment->first);
    const DWORD error = ::DeleteFileW(path.c_str()) ? 0 : ::GetLastError();
    if (error == 0 || error == ERROR_FILE_NOT_FOUND) {
        releaseLocked(segment->second.reserved);
    } else {
        // Still on the disk, so still accounted for. Should the process end before it is gone, the next start
        // finds it, and sends it again if it lies behind the kept position.
        if (left_.empty())
            log_->Error("Spool %ls: segment %I64u cannot be deleted, error %lu; trying again",
                        options_.folder.c_str(), segment->first, error);
        left_[segment->first] = segment->second.reserved;
    }
    bytes_ -= segment->second.size;
    segments_.erase(segment);
}

/// Tries again to delete what could not be; whether something went.
bool Spool::deleteLeftLocked() {
    const std::size_t before = left_.size();
    for (auto one = left_.begin(); one != left_.end();) {
        if (!::DeleteFileW(SegmentPath(options_.folder, one->first).c_str()) &&
            ::GetLastError() != ERROR_FILE_NOT_FOUND)
            return left_.size() < before;
        releaseLocked(one->second);
        one = left_.erase(one);
    }
    return before > 0;
}

/// Makes room when everything there is has been done with.
bool Spool::removeReleasedLocked() {
    if (segments_.empty()) return false;
    const SpoolPosition end = {segments_.rbegin()->first, segments_.rbegin()->second.size};
    if (released_ < end) return false;
    while (!segments_.empty()) removeLocked(segments_.begin());
    return true;
}

std::uint64_t Spool::GetBytes() const {
    const Guard guard(lock_);
    return bytes_;
}

std::uint64_t Spool::GetBytesBehind(const SpoolPosition& position) const {
    const Guard guard(lock_);
    std::uint64_t bytes = 0;
    for (auto segment = segments_.lower_bound(position.segment); segment != segments_.end(); ++segment) {
        std::uint64_t offset = kSegmentHeaderBytes;
        if (segment->first == position.segment) offset = std::max(offset, position.offset);
        if (segment->second.size > offset) bytes += segment->second.size - offset;
    }
    return bytes;
}

std::uint64_t Spool::GetFirstSegment() const {
    const Guard guard(lock_);
    return segments_.empty() ? nextNumber_ : segments_.begin()->first;
}

std::uint64_t Spool::GetDamagedCount() const {
    const Guard guard(lock_);
    return damaged_;
}

}  // namespace CorvaneAgent
