#include "agent/road/SpoolSink.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/road/Waiting.h"
#include "agent/sdk/Clock.h"

#include <algorithm>
#include <exception>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

using WindowsAgentCommon::ConnectionState;
using WindowsAgentCommon::EnvironmentBlock;
using WindowsAgentCommon::InitializationException;

constexpr std::size_t kChunkBytes = 64U << 10;
constexpr std::uint64_t kMarkBytes = 4096;
constexpr std::int64_t kConfirmAfterMs = 5000;
constexpr std::int64_t kSaveEveryMs = 1000;
constexpr int kRetryMs = 100;      // of a write that cannot be
constexpr int kSenderPauseMs = 5;  // while the sender is full; half its queue lasts longer
constexpr int kIdleMs = 100;
constexpr std::int64_t kCloseMs = 500;
constexpr std::int64_t kFullForMs = 15'000;

bool isDiskFull(unsigned long error) { return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL; }

}  // namespace

SpoolSink::SpoolSink(const Options& options, WindowsAgentCommon::IDiskManager& disk,
                     std::shared_ptr<WindowsAgentCommon::ISender> sender,
                     std::shared_ptr<WindowsAgentCommon::IPersistentRecord> record,
                     WindowsAgentCommon::Log log)
    : options_(options),
      log_(log),
      spool_(options.spool, disk, log),
      sender_(std::move(sender)),
      record_(std::move(record)),
      changed_(lock_),
      alarm_(log, "Spool of destination " + options.name) {
    EnvironmentBlock block;
    const unsigned long loaded = record_->Load(block);
    if (loaded != 0 && loaded != ERROR_FILE_NOT_FOUND)
        log_->Warn("The position in the spool is not known, error %lu: all that is there is sent again",
                   loaded);
    block.GetIntegerValue("Segment", confirmed_.segment, 0);
    block.GetIntegerValue("Offset", confirmed_.offset, 0);
    saved_ = confirmed_;
    const unsigned long error = spool_.Open(confirmed_);
    fetched_ = confirmed_;
    if (error == 0) return;
    std::string text;
    throw InitializationException(
        __FILE__, __FUNCTION__, __LINE__,
        WindowsAgentCommon::Format(text, "Destination %s: the spool's folder %ls cannot be used, error %lu",
                                   options.name.c_str(), options.spool.folder.c_str(), error));
}

SpoolSink::~SpoolSink() {
    Cancel();
    Stop(SteadyMilliseconds());
}

void SpoolSink::Start() {
    lossSeen_ = sender_->GetLossCount();
    std::string text;
    const unsigned long error = sender_->Open();
    if (error != 0) {
        throw InitializationException(
            __FILE__, __FUNCTION__, __LINE__,
            WindowsAgentCommon::Format(text, "Destination %s: %s cannot be opened, error %lu",
                                       options_.name.c_str(), sender_->GetTarget().c_str(), error));
    }
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1) == 0) return;
    throw InitializationException(
        __FILE__, __FUNCTION__, __LINE__,
        WindowsAgentCommon::Format(text, "Destination %s: no thread can be started", options_.name.c_str()));
}

bool SpoolSink::Write(const LineBatch& batch) {
    for (;;) {
        {
            const Guard guard(lock_);
            if (cancelled_) return false;
        }
        const Spool::AppendResult result = spool_.Append(batch);
        if (result == Spool::AppendResult::kTooLarge) return writeLineByLine(batch);
        const unsigned long error = result == Spool::AppendResult::kFailed ? spool_.GetAppendError() : 0;
        const bool full = result == Spool::AppendResult::kFull || isDiskFull(error);
        if (!full || !options_.dropOldest)
            noteWriteError(error);  // otherwise dropping is what the log is told
        Guard guard(lock_);
        if (full) {
            refused_ = true;
            fullBytes_ = spool_.GetBytes();
        }
        if (result == Spool::AppendResult::kWritten) {
            spooled_ += batch.lengths.size();
            caughtUp_ = false;
            if (feederWaits_) changed_.broadcast();
            return true;
        }
        if (full && options_.dropOldest) {
            if (!dropOldest(batch)) return true;
        } else if (!cancelled_) {
            WaitStep(changed_, kRetryMs);
        }
    }
}

/// A batch that is larger than the whole spool.
bool SpoolSink::writeLineByLine(const LineBatch& batch) {
    std::size_t start = 0;
    for (const std::size_t length : batch.lengths) {
        const bool fits = length <= kMaxRecordBytes &&
                          length + kRecordHeaderBytes + kSegmentHeaderBytes <= options_.spool.capacity;
        if (!fits) {
            const Guard guard(lock_);
            if (droppedOversize_++ == 0)
                log_->Warn(
                    "An event of %I64u bytes is larger than the spool takes and is dropped; more of them "
                    "are only counted",
                    static_cast<std::uint64_t>(length));
        } else {
            LineBatch line;
            line.Add(batch.text.data() + start, length);
            if (!Write(line)) return false;
        }
        start += length;
    }
    return true;
}

/// Under lock_. False when nothing older than the batch is left: then the batch itself is what is dropped.
bool SpoolSink::dropOldest(const LineBatch& batch) {
    std::uint64_t lost = 0;
    const bool dropped = spool_.DropOldest(fetched_, lost);
    droppedFull_ += dropped ? lost : batch.lengths.size();
    if (!dropping_)
        log_->Warn("The spool of destination %s is full: the oldest events are dropped and counted",
                   options_.name.c_str());
    dropping_ = true;
    return dropped;
}

void SpoolSink::noteWriteError(unsigned long error) {
    const Guard guard(lock_);
    if (error == writeError_) return;
    if (error != 0) {
        log_->Error("The spool of destination %s cannot be written, error %lu", options_.name.c_str(), error);
    } else {
        log_->Info("The spool of destination %s can be written again", options_.name.c_str());
    }
    writeError_ = error;
}

/// A write that was refused counts as full for a while, though dropping a segment makes room at once: as
/// long as events go on being dropped, the log is told nothing new.
void SpoolSink::Tick(std::int64_t now) {
    const std::uint64_t used = spool_.GetBytes();
    const Guard guard(lock_);
    if (refused_) refusedUntil_ = now + kFullForMs;
    refused_ = false;
    const bool full = now < refusedUntil_;
    const AlarmLadder::State state =
        alarm_.Update(full ? fullBytes_ : used, full ? fullBytes_ : options_.spool.capacity, now);
    if (!dropping_ || full || state != AlarmLadder::State::kNormal) return;
    dropping_ = false;
    log_->Info("The spool of destination %s has room again; %I64u events were dropped since the start",
               options_.name.c_str(), droppedFull_);
}

void SpoolSink::Cancel() {
    const Guard guard(lock_);
    cancelled_ = true;
    changed_.broadcast();
}

void SpoolSink::Stop(std::int64_t deadline) {
    try {
        while (waitForFeeder(10) && SteadyMilliseconds() < deadline) {
        }
        {
            const Guard guard(lock_);
            if (stopping_) return;
            stopping_ = true;
            changed_.broadcast();
        }
        wait();
        checkLoss();
        confirm(SteadyMilliseconds());
        save(0, true);
        {
            const Guard guard(lock_);
            discardChunk(spool_.GetFirstSegment());
        }
        const std::int64_t left = std::clamp<std::int64_t>(deadline - SteadyMilliseconds(), 0, kCloseMs);
        sender_->Close(sender_->GetState() == ConnectionState::kConnected ? static_cast<unsigned int>(left)
                                                                          : 0);
    } catch (const std::exception& e) {
        log_->Error("The end of destination %s failed: %s", options_.name.c_str(), e.what());
    }
}

/// Waits a moment. False when it is not worth while any more: everything is sent, or nothing can be.
bool SpoolSink::waitForFeeder(int milliseconds) {
    if (sender_->GetState() != ConnectionState::kConnected) return false;
    const bool drained = sender_->GetQueuedBytes() == 0;
    Guard guard(lock_);
    if ((caughtUp_ && drained) || stopping_) return false;
    WaitStep(changed_, milliseconds);
    return true;
}

int SpoolSink::svc() {
    for (;;) {
        int pause = kIdleMs;
        bool waits = false;
        try {
            if (feed()) continue;
            pause = senderFull_ ? kSenderPauseMs : kIdleMs;
            waits = chunk_.lengths.empty();
        } catch (const std::exception& e) {
            log_->Error("Feeding destination %s failed: %s", options_.name.c_str(), e.what());
        }
        Guard guard(lock_);
        if (stopping_) return 0;
        if (waits && !caughtUp_) continue;  // something came meanwhile
        feederWaits_ = waits;
        WaitStep(changed_, pause);
        feederWaits_ = false;
        if (stopping_) return 0;
    }
}

/// One step. False when there is nothing to do for the moment.
bool SpoolSink::feed() {
    const std::int64_t now = SteadyMilliseconds();
    checkLoss();
    confirm(now);
    save(now, false);
    if (chunkLine_ == chunk_.lengths.size()) {
        const Guard guard(lock_);
        if (stopping_) return false;
        SpoolPosition end = fetched_;
        caughtUp_ = !spool_.Read(end, kChunkBytes, chunk_);
        chunkLine_ = chunkByte_ = 0;
        fetched_ = end;
        if (caughtUp_) return false;
        inHand_ = chunk_.text.size() + chunk_.lengths.size() * kRecordHeaderBytes;
        chunkPosition_ = {end.segment, end.offset - inHand_};
    }
    return handOver();
}

/// What was handed to a connection that is lost is sent once more.
void SpoolSink::checkLoss() {
    const unsigned int loss = sender_->GetLossCount();
    if (loss == lossSeen_) return;
    if (sender_->GetQueuedBytes() > 0) {
        // Handed over beside the loss: it would overtake what is sent again.
        sender_->Close(0);
    }
    lossSeen_ = sender_->GetLossCount();
    const Guard guard(lock_);
    const std::uint64_t first = spool_.GetFirstSegment();
    for (const Mark& lines : marks_) {
        if (lines.end.segment < first) {
            droppedFull_ += lines.lines;  // the spool was full meanwhile, and they may not have arrived
        } else {
            resent_ += lines.lines;
        }
    }
    marks_.clear();
    discardChunk(first);
    fetched_ = confirmed_;
    caughtUp_ = false;
    senderFull_ = false;
}

/// Under lock_. What was not handed over yet is read again, unless it is dropped: first is the first segment
/// there is.
void SpoolSink::discardChunk(std::uint64_t first) {
    if (chunkPosition_.segment < first) droppedFull_ += chunk_.lengths.size() - chunkLine_;
    if (inHand_ > 0) fetched_ = chunkPosition_;
    inHand_ = 0;
    chunk_.Clear();
    chunkLine_ = chunkByte_ = 0;
}

void SpoolSink::confirm(std::int64_t now) {
    if (marks_.empty()) return;
    const std::uint64_t waiting = sender_->GetQueuedBytes();
    const bool quiet = waiting == 0 && sender_->GetState() == ConnectionState::kConnected;
    if (sender_->GetLossCount() != lossSeen_) return;
    const SpoolPosition before = confirmed_;
    while (!marks_.empty()) {
        const Mark& oldest = marks_.front();
        const bool enough = handed_ - oldest.handed >= options_.resendWindow + waiting;
        if (!enough && !(quiet && now - oldest.time > kConfirmAfterMs)) break;
        confirmed_ = oldest.end;
        marks_.pop_front();
    }
    if (before < confirmed_) spool_.Release(confirmed_);
}

void SpoolSink::save(std::int64_t now, bool always) {
    if (!(saved_ < confirmed_) || (!always && now - savedAt_ < kSaveEveryMs)) return;
    EnvironmentBlock block;
    block.SetIntegerValue("Segment", confirmed_.segment);
    block.SetIntegerValue("Offset", confirmed_.offset);
    savedAt_ = now;
    const unsigned long error = record_->Save(block);
    if (error == 0) {
        saved_ = confirmed_;
        if (saveError_ != 0)
            log_->Info("The position in the spool of destination %s is kept again", options_.name.c_str());
    } else if (saveError_ == 0) {
        log_->Error("The position in the spool of destination %s cannot be kept, error %lu: trying again",
                    options_.name.c_str(), error);
    }
    saveError_ = error;
    const Guard guard(lock_);
    positionErrors_ += error != 0 ? 1 : 0;
}

/// False when the sender takes no more for the moment.
bool SpoolSink::handOver() {
    const ConnectionState state = sender_->GetState();
    if (state == ConnectionState::kClosed) sender_->Open();
    if (state != ConnectionState::kConnected) return false;
    const std::size_t before = chunkLine_, byteBefore = chunkByte_;
    const std::size_t lines = handOverLines() - before;
    const Guard guard(lock_);
    sent_ += lines;
    inHand_ -= chunkByte_ - byteBefore + lines * kRecordHeaderBytes;
    if (lines > 0) lastSent_ = static_cast<std::uint64_t>(SystemMilliseconds());
    return chunkLine_ == chunk_.lengths.size();
}

std::size_t SpoolSink::handOverLines() {
    const std::int64_t now = SteadyMilliseconds();
    std::size_t queued = sender_->GetQueuedBytes();
    if (senderFull_ && queued > options_.lowWaterMark) return chunkLine_;
    senderFull_ = false;
    std::uint64_t lines = 0, bytes = 0;
    while (chunkLine_ < chunk_.lengths.size() && sender_->GetLossCount() == lossSeen_) {
        const std::size_t length = chunk_.lengths[chunkLine_];
        senderFull_ = queued > 0 && queued + length > options_.highWaterMark;
        if (senderFull_ || !sender_->Send(chunk_.text.data() + chunkByte_, length)) break;
        queued += length;
        bytes += length;
        ++lines;
        ++chunkLine_;
        chunkByte_ += length;
        chunkPosition_.offset += kRecordHeaderBytes + length;
        if (bytes < kMarkBytes) continue;
        mark(chunkPosition_, lines, bytes, now);
        lines = bytes = 0;
    }
    if (lines > 0) mark(chunkPosition_, lines, bytes, now);
    return chunkLine_;
}

void SpoolSink::mark(const SpoolPosition& end, std::uint64_t lines, std::uint64_t bytes, std::int64_t now) {
    handed_ += bytes;
    marks_.push_back({end, handed_, lines, now});
}

void SpoolSink::AddStatus(const std::string& prefix, EnvironmentBlock& status) const {
    EnvironmentBlock sender;
    sender_->GetStatus(sender);
    for (const auto& entry : sender.Entries())
        status.SetStringValue(prefix + "Sender." + entry.first, entry.second);
    static const char* const kStates[] = {"closed", "connecting", "connected"};
    const auto state = static_cast<std::size_t>(sender_->GetState());
    status.SetStringValue(prefix + "State", state < 3 ? kStates[state] : "unknown");
    status.SetStringValue(prefix + "Target", sender_->GetTarget());
    status.SetIntegerValue(prefix + "Dropped.DamagedSegments", spool_.GetDamagedCount());
    status.SetIntegerValue(prefix + "SpoolTotalBytes", spool_.GetBytes());
    status.SetIntegerValue(prefix + "SpoolCapacity", options_.spool.capacity);
    const Guard guard(lock_);
    status.SetIntegerValue(prefix + "SpoolBytes", spool_.GetBytesBehind(fetched_) + inHand_);
    status.SetIntegerValue(prefix + "Spooled", spooled_);
    status.SetIntegerValue(prefix + "Sent", sent_);
    status.SetIntegerValue(prefix + "Resent", resent_);
    status.SetIntegerValue(prefix + "Dropped.SpoolFull", droppedFull_);
    status.SetIntegerValue(prefix + "Dropped.Oversize", droppedOversize_);
    status.SetIntegerValue(prefix + "PositionErrors", positionErrors_);
    status.SetIntegerValue(prefix + "LastSent", lastSent_);
    status.SetStringValue(prefix + "SpoolAlarm", alarm_.GetStateText());
}

}  // namespace CorvaneAgent
