#include "agent/road/Destination.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/road/Waiting.h"
#include "agent/sdk/Clock.h"

#include <exception>
#include <new>

namespace CorvaneAgent {

namespace {

using WindowsAgentCommon::IPayload;
using WindowsAgentCommon::IPayloadBuilder;
using WindowsAgentCommon::StreamRoutingResult;

constexpr std::size_t kBatchEvents = 256;
constexpr std::size_t kBatchBytes = 1U << 20;
constexpr std::size_t kQueueBytes = 16U << 20;
constexpr int kGatherMs = 5;
constexpr int kIdleMs = 500;
constexpr int kStepMs = 50;
constexpr unsigned int kMonitorSamples = 12;
constexpr std::size_t kSpareBytes = 4U << 20;  // a larger buffer is given back

StreamRoutingResult failure() {
    StreamRoutingResult result;
    result.SetFailure();
    return result;
}

}  // namespace

Destination::Destination(const Options& options, std::unique_ptr<Sink> sink, WindowsAgentCommon::Log log)
    : options_(options),
      log_(log),
      sink_(std::move(sink)),
      work_(lock_),
      active_(lock_),
      passed_(lock_),
      alarm_(log, "Queue of destination " + options.name),
      monitor_(kMonitorSamples) {
    done_.resize(window());
    spare_.reserve(window());
}

Destination::~Destination() { Stop(0, SteadyMilliseconds()); }

StreamRoutingResult Destination::Send(const std::shared_ptr<IPayload>& payload) {
    if (!payload) return failure();
    const Guard guard(lock_);
    if (isClosedOrFullLocked()) return failure();
    putLocked(payload);
    return StreamRoutingResult(StreamRoutingResult::kQueued);
}

bool Destination::Reserve() {
    const Guard guard(lock_);
    if (isClosedOrFullLocked()) return false;
    ++reserved_;
    return true;
}

void Destination::Unreserve() {
    const Guard guard(lock_);
    --reserved_;
}

void Destination::SendReserved(const std::shared_ptr<IPayload>& payload) {
    const Guard guard(lock_);
    --reserved_;
    putLocked(payload);
}

bool Destination::isClosedOrFullLocked() {
    if (closed_) return true;
    if (queued_ + reserved_ < options_.capacity && queuedBytes_ < kQueueBytes) return false;
    ++refused_;
    return true;
}

void Destination::putLocked(const std::shared_ptr<IPayload>& payload) {
    const std::size_t bytes = payload->GetSize();
    current_.payloads.push_back(payload);
    current_.bytes += bytes;
    queuedBytes_ += bytes;
    ++queued_;
    ++waiting_;
    if (current_.payloads.size() >= kBatchEvents || current_.bytes >= kBatchBytes) {
        sealLocked();
    } else if (current_.payloads.size() == 1 && idle_ > 0) {
        work_.signal();
    }
}

void Destination::sealLocked() {
    if (current_.payloads.empty()) return;
    current_.number = nextBatch_;
    ready_.push_back(std::move(current_));
    ++nextBatch_;
    current_ = Batch();
    if (idle_ > 0) work_.signal();
}

bool Destination::WaitUntilSafe(unsigned int timeoutMs) {
    const std::int64_t end = SteadyMilliseconds() + timeoutMs;
    Guard guard(lock_);
    sealLocked();
    const std::uint64_t target = nextBatch_;
    while (nextOut_ < target && !unsafe_ && !ended_) {
        const std::int64_t left = end - SteadyMilliseconds();
        if (left <= 0) return false;
        WaitStep(passed_, left < kStepMs ? static_cast<int>(left) : kStepMs);
    }
    return nextOut_ >= target && !unsafe_;
}

void Destination::Start(WindowsAgentCommon::IPayloadFactory& factory) {
    using WindowsAgentCommon::InitializationException;
    std::string text;
    for (unsigned int i = 0; i < options_.workers; ++i) {
        std::shared_ptr<IPayloadBuilder> builder;
        if (!factory.CreatePayloadBuilder("SyslogPayloadBuilder", builder) || !builder)
            throw InitializationException(
                __FILE__, __FUNCTION__, __LINE__,
                WindowsAgentCommon::Format(text, "Destination %s: there is no SyslogPayloadBuilder",
                                           options_.name.c_str()));
        builders_.push_back(builder);
    }
    sink_->Start();
    Guard guard(lock_);
    workers_ = 1;
    if (!addWorkerLocked())
        throw InitializationException(
            __FILE__, __FUNCTION__, __LINE__,
            WindowsAgentCommon::Format(text, "Destination %s: no thread can be started",
                                       options_.name.c_str()));
}

bool Destination::addWorkerLocked() {
    constexpr int kBesideOthers = 1;
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1, kBesideOthers) != 0) return false;
    ++started_;
    return true;
}

int Destination::svc() {
    unsigned int worker = 0;
    {
        const Guard guard(lock_);
        worker = begun_++;
    }
    for (;;) {
        try {
            Batch batch;
            while (take(worker, batch)) {
                Rendered rendered;
                render(*builders_[worker], batch, rendered);
                pass(batch.number, std::move(rendered));
            }
            return 0;
        } catch (const std::exception&) {  // of take, which then took nothing
            waitForMemory();
        }
    }
}

/// False when the thread is to end.
bool Destination::take(unsigned int worker, Batch& batch) {
    Guard guard(lock_);
    bool gathered = false;  // the batch in hand has had its time
    while (!ended_) {
        if (worker >= workers_) {
            if (idle_ > 0) work_.signal();  // for what this one was perhaps woken for
            WaitStep(active_, kIdleMs);
            continue;
        }
        const std::uint64_t next = ready_.empty() ? nextBatch_ : ready_.front().number;
        const bool mayTake = next < nextOut_ + window();
        if (mayTake && ready_.empty() && gathered) sealLocked();
        if (mayTake && !ready_.empty()) {
            batch = std::move(ready_.front());
            ready_.pop_front();
            waiting_ -= batch.payloads.size();
            return true;
        }
        gathered = mayTake && !current_.payloads.empty();
        ++idle_;
        WaitStep(work_, gathered ? kGatherMs : kIdleMs);
        --idle_;
    }
    return false;
}

void Destination::render(IPayloadBuilder& builder, Batch& batch, Rendered& out) {
    out.events = batch.payloads.size();
    out.bytes = batch.bytes;
    {
        const Guard guard(lock_);
        if (!spare_.empty()) {
            out.lines = std::move(spare_.back());
            spare_.pop_back();
        }
    }
    out.lines.Clear();
    std::string line;
    std::size_t done = 0;
    for (auto& payload : batch.payloads) {
        if (!renderOne(builder, *payload, line, out.lines)) break;
        payload.reset();
        ++done;
    }
    batch.payloads.clear();
    const Guard guard(lock_);
    rendered_ += out.lines.lengths.size();
    unwritten_ += out.events - done;
    unsafe_ = unsafe_ || done < out.events;
}

/// False when there was no memory for it until the end.
bool Destination::renderOne(IPayloadBuilder& builder, IPayload& payload, std::string& line,
                            LineBatch& lines) {
    do {
        try {
            builder.BuildPayloadString(payload, line);
            lines.lengths.reserve(kBatchEvents);  // so that text and lengths stay of one mind
            lines.Add(line.data(), line.size());
            return true;
        } catch (const std::bad_alloc&) {  // no fault of the event's
        } catch (const std::exception& e) {
            countDamaged(e.what());
            return true;
        }
    } while (waitForMemory());
    return false;
}

/// False at the end.
bool Destination::waitForMemory() {
    Guard guard(lock_);
    ++failed_;
    if (!ended_) WaitStep(passed_, kStepMs);
    return !ended_;
}

void Destination::countDamaged(const char* why) {
    std::uint64_t count = 0;
    {
        const Guard guard(lock_);
        count = ++damaged_;
    }
    if (count == 1 || count % 100 == 0)
        log_->Warn("Destination %s: an event cannot be rendered and is dropped, %I64u until now: %s",
                   options_.name.c_str(), count, why);
}

/// Writes the batch if it is next, and those behind it that are there already.
void Destination::pass(std::uint64_t number, Rendered&& rendered) {
    Guard guard(lock_);
    slot(number) = std::move(rendered);
    if (writing_) return;
    writing_ = true;
    while (slot(nextOut_).events > 0) {
        Rendered next = std::move(slot(nextOut_));
        slot(nextOut_) = Rendered();
        guard.release();
        const bool written = next.lines.lengths.empty() || writeOut(next.lines);
        guard.acquire();
        if (!written) {
            unsafe_ = true;
            unwritten_ += next.lines.lengths.size();
        }
        ++nextOut_;
        queued_ -= next.events;
        queuedBytes_ -= next.bytes;
        if (spare_.size() < window() && next.lines.text.capacity() <= kSpareBytes)
            spare_.push_back(std::move(next.lines));
        if (idle_ > 0) work_.signal();
        passed_.broadcast();
    }
    writing_ = false;
}

bool Destination::writeOut(const LineBatch& lines) {
    bool told = false;
    for (;;) {
        try {
            return sink_->Write(lines);
        } catch (const std::exception& e) {
            if (!told) log_->Error("Destination %s cannot write: %s", options_.name.c_str(), e.what());
            told = true;
        }
        Guard guard(lock_);
        if (ended_) return false;
        WaitStep(passed_, kStepMs);
    }
}

void Destination::Tick(std::int64_t now) {
    std::size_t queued = 0;
    bool failing = false;
    {
        const Guard guard(lock_);
        failing = failed_ != failedSeen_;
        failedSeen_ = failed_;
        // Between two refusals the queue may have a little room for a moment: it has been full all the same.
        queued = refused_ != refusedSeen_ ? options_.capacity : queued_;
        refusedSeen_ = refused_;
    }
    if (failing && !failing_)
        log_->Error("Destination %s lacks memory for its events, which wait", options_.name.c_str());
    if (!failing && failing_) log_->Info("Destination %s has memory again", options_.name.c_str());
    failing_ = failing;
    {
        const Guard guard(tickLock_);
        alarm_.Update(queued, options_.capacity, now);
    }
    adjustWorkers(now);
    sink_->Tick(now);
}

/// The monitor judges by messages a thread. In its units a full queue is 200 for each worker that may be,
/// which is always too many; fewer than 2 for each are left when the workers keep up.
void Destination::adjustWorkers(std::int64_t now) {
    using namespace WindowsAgentCommon;
    unsigned int workers = 0;
    std::uint64_t depth = 0;
    {
        const Guard guard(lock_);
        workers = workers_;
        depth = static_cast<std::uint64_t>(waiting_) * 200 * options_.workers / options_.capacity;
    }
    monitor_.AddSample(static_cast<double>(now) / 1000, static_cast<double>(depth));
    std::string text;
    const WHAT2DO advice = monitor_.WhatToDo(static_cast<unsigned int>(depth), workers, log_, text);
    Guard guard(lock_);
    if (advice == kBacklogTooMany && workers_ > 1) --workers_;
    if (advice != kBacklogFallingBehind || workers_ >= options_.workers || workersFixed_ || ended_) return;
    if (workers_ == started_ && !addWorkerLocked()) {
        workersFixed_ = true;
        guard.release();
        log_->Error("Destination %s: no further thread can be started", options_.name.c_str());
        return;
    }
    ++workers_;
    active_.broadcast();
}

void Destination::BeginStop() {
    const Guard guard(lock_);
    closed_ = true;
    sealLocked();
}

void Destination::Stop(std::int64_t drainDeadline, std::int64_t deadline) {
    BeginStop();
    {
        Guard guard(lock_);
        while (queued_ > 0 && started_ > 0 && !ended_ && SteadyMilliseconds() < drainDeadline)
            WaitStep(passed_, kStepMs);
    }
    sink_->Cancel();
    std::size_t left = 0;
    {
        const Guard guard(lock_);
        if (ended_) return;
        ended_ = true;
        work_.broadcast();
        active_.broadcast();
        passed_.broadcast();
    }
    wait();
    sink_->Stop(deadline);
    {
        const Guard guard(lock_);
        left = queued_ + static_cast<std::size_t>(unwritten_);
        unsafe_ = unsafe_ || left > 0;
    }
    if (left > 0)
        log_->Warn(
            "Destination %s ended with %lu events unwritten; their collectors have not moved beyond them",
            options_.name.c_str(), static_cast<unsigned long>(left));
}

void Destination::AddStatus(WindowsAgentCommon::EnvironmentBlock& status) const {
    const std::string prefix = options_.name + ".";
    sink_->AddStatus(prefix, status);
    {
        const Guard guard(lock_);
        status.SetIntegerValue(prefix + "Queued", static_cast<std::uint64_t>(queued_));
        status.SetIntegerValue(prefix + "QueuedBytes", static_cast<std::uint64_t>(queuedBytes_));
        status.SetIntegerValue(prefix + "Refused", refused_);
        status.SetIntegerValue(prefix + "Rendered", rendered_);
        status.SetIntegerValue(prefix + "Workers", workers_);
        status.SetIntegerValue(prefix + "Dropped.Damaged", damaged_);
    }
    const Guard guard(tickLock_);
    status.SetStringValue(prefix + "Alarm", alarm_.GetStateText());
}

}  // namespace CorvaneAgent
