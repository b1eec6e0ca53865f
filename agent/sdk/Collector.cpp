#include "agent/sdk/Collector.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/IPayloadRouter.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/IDeliveryBarrier.h"
#include "agent/sdk/Text.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <exception>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::size_t kLineBytes = 63 * 1024;  // the payload builder's line holds 64 KiB, header and all
constexpr std::size_t kMostNames = 4000;
constexpr std::size_t kLongestName = 128;
constexpr std::size_t kLongestHost = 255;
constexpr std::int64_t kCheckpointWaitMs = 10'000;
constexpr std::int64_t kStopMs = 1000;
constexpr std::int64_t kSafeStepMs = 250;
constexpr unsigned int kFailurePauseMs = 5000;
constexpr char kCut[] = "[cut]";

// By cmpxchg8b, without which no Windows XP starts.
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "the counters take a lock");

std::string computerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    return ::GetComputerNameW(name, &size) ? ToUTF8(std::wstring(name, size)) : std::string("localhost");
}

[[noreturn]] void refuse(const std::string& message) {
    throw InitializationException(__FILE__, __FUNCTION__, __LINE__, message);
}

std::string safeName(std::string_view name) {
    std::string safe(name);
    for (char& c : safe) {
        if (static_cast<unsigned char>(c) <= ' ' || c == '=' || c == '\x7F') c = '_';
    }
    return safe;
}

template <class Service>
Service* findService() {
    const std::string name = Service::GetServiceName();
    auto* const service = dynamic_cast<Service*>(_getService(name));
    if (!service) refuse("There is no service " + name);
    return service;
}

}  // namespace

Collector::Collector()
    : log_(GetLoggerFactory().GetLog("Agent.Collector")),
      text_(kPayloadText, std::string()),
      number_(kPayloadInteger64, std::int64_t{0}) {}

Collector::~Collector() = default;

void Collector::GetDependencies(std::vector<std::string>& services) const {
    services.push_back(IPayloadFactory::GetServiceName());
    services.push_back(IPayloadRouter::GetServiceName());
    services.push_back(IPersistenceManager::GetServiceName());
}

InitializeResult Collector::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    log_ = GetLoggerFactory().GetLog("Agent.Collector." + GetInstanceName());
    SettingsReader reader(GetInstanceName(), settings.Entries());
    pollMs_ = reader.Number("PollInterval", 500, 10, 60'000);
    checkpointMs_ = reader.Number("CheckpointInterval", 1000, 100, 60'000);
    facility_ = reader.Number("Facility", 16, 0, 23);
    host_ = reader.Text("Host");
    if (host_.empty()) host_ = computerName();
    ReadSettings(reader);
    reader.RefuseUnknown();

    factory_ = findService<IPayloadFactory>();
    router_ = findService<IPayloadRouter>();
    barrier_ = dynamic_cast<IDeliveryBarrier*>(router_);
    if (!barrier_) refuse("The payload router does not say when events are safe");
    const unsigned long error =
        findService<IPersistenceManager>()->OpenRecord("collector." + GetInstanceName(), record_);
    stop_.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (error != 0 || !stop_) refuse("The position cannot be kept");
    factory_->RegisterField("SyslogHeader", kPayloadText, headerId_);
    factory_->RegisterField("Other", kPayloadText, otherId_);
    eps_ = Reg_SimpleEPS(GetInstanceName());
    SetInitialized(true);
    return InitializeResult::kDone;
}

void Collector::Start() {
    stopping_ = false;
    ::ResetEvent(stop_.get());
    restored_ = false;
    state_ = State::kRunning;
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1) == -1) {
        state_ = State::kStopped;
        refuse("The thread cannot be started");
    }
}

void Collector::BeginStop(std::int64_t deadline) {
    if (!IsInitialized() || stopping_) return;
    stopBy_ = deadline;
    stopping_ = true;
    ::SetEvent(stop_.get());
}

void Collector::Shutdown() {
    if (!IsInitialized()) return;
    BeginStop(SteadyMilliseconds() + kStopMs);
    wait();
    record_.reset();
    SetInitialized(false);
}

void Collector::GetStatus(EnvironmentBlock& status) const {
    static const char* const kStates[] = {"stopped", "running", "waiting", "failing", "finished"};
    status.SetStringValue("State", kStates[static_cast<int>(state_.load())]);
    status.SetIntegerValue("Events", events_.load());
    status.SetIntegerValue("Damaged", damaged_.load());
    status.SetIntegerValue("Cut", cut_.load());
    const ACE_Guard<ACE_Thread_Mutex> guard(positionLock_);
    status.SetStringValue("Position", position_);
}

int Collector::svc() {
    nextCheckpoint_ = SteadyMilliseconds() + checkpointMs_;
    bool finished = false;
    while (!IsStopping()) {
        const Progress progress = finished ? Progress::kFinished : collectSafely();
        finished = progress == Progress::kFinished;
        if (SteadyMilliseconds() >= nextCheckpoint_ || (finished && changed_)) {
            checkpoint();
            nextCheckpoint_ = SteadyMilliseconds() + checkpointMs_;
        }
        if (finished && !changed_) {
            log_->Info("Finished: %I64u events, %I64u damaged", events_.load(), damaged_.load());
            state_ = State::kFinished;
            return 0;
        }
        if (progress != Progress::kMore && !pause(pollMs_)) break;
    }
    checkpoint();
    state_ = State::kStopped;
    return 0;
}

/// Restores once, then collects; nothing escapes.
Collector::Progress Collector::collectSafely() {
    std::string trouble;
    try {
        if (!restored_) restore();
        restored_ = true;
        const Progress progress = Collect();
        if (uncounted_ != 0) eps_->Add(uncounted_);
        uncounted_ = 0;
        if (!trouble_.empty()) log_->Info("Collecting again");
        trouble_.clear();
        state_ = State::kRunning;
        return progress;
    } catch (const std::exception& exception) {
        trouble = exception.what();
    } catch (...) {
        trouble = "an unknown exception";
    }
    if (trouble != trouble_) log_->Error("Collecting failed, trying again: %s", trouble.c_str());
    trouble_ = trouble;
    state_ = State::kFailing;
    pause(std::min(pollMs_ * 10, kFailurePauseMs));
    return Progress::kMore;
}

void Collector::restore() {
    EnvironmentBlock position;
    const unsigned long error = record_->Load(position);
    if (error == ERROR_INVALID_DATA)
        log_->Error("The position kept is damaged: reading from the beginning, which may repeat events");
    else if (error != 0 && error != ERROR_FILE_NOT_FOUND)
        throw DeviceException(__FILE__, __FUNCTION__, __LINE__, "The position cannot be read");
    Restore(position);
}

/// Keeps the position when all before it is safe; false when that cannot be said.
bool Collector::checkpoint() {
    if (!changed_ || !restored_) return true;
    try {
        EnvironmentBlock position;
        SavePosition(position);
        if (!waitUntilSafe()) {
            tellCheckpoint("the events are not written yet");
            return false;
        }
        if (const unsigned long error = record_->Save(position)) {
            std::string text;
            tellCheckpoint(Format(text, "error %lu", error));
            return false;
        }
        tellCheckpoint("");
        changed_ = false;
        std::string text;
        for (const auto& entry : position.Entries())
            text += (text.empty() ? "" : "; ") + entry.first + ": " + entry.second;
        const ACE_Guard<ACE_Thread_Mutex> guard(positionLock_);
        position_.swap(text);
        return true;
    } catch (const std::exception& exception) {
        tellCheckpoint(exception.what());
        return false;
    }
}

/// Asks in short steps, so that a stop that comes meanwhile ends it at the stop's deadline.
bool Collector::waitUntilSafe() const {
    const std::int64_t end = SteadyMilliseconds() + kCheckpointWaitMs;
    for (;;) {
        const std::int64_t left = (IsStopping() ? std::min(end, stopBy_) : end) - SteadyMilliseconds();
        const std::int64_t step = std::clamp<std::int64_t>(left, 0, kSafeStepMs);
        if (barrier_->WaitUntilSafe(static_cast<unsigned int>(step))) return true;
        if (left <= 0) return false;
        ::Sleep(1);  // it may have answered at once
    }
}

void Collector::tellCheckpoint(const std::string& trouble) {
    if (trouble == checkpointTrouble_) return;
    if (trouble.empty())
        log_->Info("The position is kept again");
    else
        log_->Warn("The position cannot be kept for now: %s", trouble.c_str());
    checkpointTrouble_ = trouble;
}

/// False when the collector is to stop.
bool Collector::pause(unsigned int milliseconds) const {
    return ::WaitForSingleObject(stop_.get(), milliseconds) == WAIT_TIMEOUT;
}

std::shared_ptr<IPayload> Collector::NewPayload() {
    std::shared_ptr<IPayload> payload;
    factory_->CreatePayload(payload);
    room_ = kLineBytes;
    return payload;
}

/// The id of a field, or 0 when there are too many names already.
unsigned int Collector::fieldId(std::string_view name, std::int64_t type) {
    FieldIds& ids = type == kPayloadText        ? textIds_
                    : type == kPayloadInteger64 ? integerIds_
                                                : hexadecimalIds_;
    if (const auto found = ids.find(name); found != ids.end()) return found->second;
    if (name.empty() || name.size() > kLongestName || names_.size() >= kMostNames) return 0;
    unsigned int id = 0;
    factory_->RegisterField(safeName(name), type, id);
    names_.emplace_back(name);
    ids.emplace(names_.back(), id);
    return id;
}

void Collector::AddText(IPayload& payload, std::string_view name, std::string_view value) {
    if (const unsigned int id = fieldId(name, kPayloadText))
        addText(payload, id, name, {}, value);
    else
        addText(payload, otherId_, "Other", safeName(name.substr(0, kLongestName)) + "=", value);
}

void Collector::addText(IPayload& payload, unsigned int id, std::string_view name, std::string_view prefix,
                        std::string_view value) {
    const std::size_t frame = name.size() + prefix.size() + 2;  // a tab and "="
    const bool whole = frame + value.size() <= room_;
    if (!whole) {
        cut_.fetch_add(1, std::memory_order_relaxed);
        if (frame + sizeof kCut > room_) return;  // not even the mark fits
        value = value.substr(0, CutAtCharacter(value.data(), value.size(), room_ - frame - sizeof kCut));
    }
    std::string& text = boost::get<std::string>(text_.second);
    text.assign(prefix).append(value);
    if (!whole) text += kCut;
    room_ -= frame - prefix.size() + text.size();
    payload.AddField(id, text_, 0);
}

void Collector::addNumber(IPayload& payload, std::string_view name, std::int64_t type, std::int64_t value) {
    const unsigned int id = fieldId(name, type);
    const std::size_t frame = name.size() + 24;  // as long as a number gets
    if (id == 0) {
        std::string text;
        const bool hexadecimal = (type & kPayloadHexadecimal) != 0;
        return AddText(payload, name, Format(text, hexadecimal ? "0x%I64X" : "%I64d", value));
    }
    if (frame > room_) {
        cut_.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    room_ -= frame;
    number_.first = type;
    boost::get<std::int64_t>(number_.second) = value;
    payload.AddField(id, number_, 0);
}

void Collector::AddInteger(IPayload& payload, std::string_view name, std::int64_t value) {
    addNumber(payload, name, kPayloadInteger64, value);
}

void Collector::AddHexadecimal(IPayload& payload, std::string_view name, std::uint64_t value) {
    addNumber(payload, name, kPayloadInteger64 | kPayloadHexadecimal, static_cast<std::int64_t>(value));
}

void Collector::AddHeader(IPayload& payload, unsigned int priority, std::int64_t unixMilliseconds,
                          std::string_view host) {
    std::string& text = boost::get<std::string>(text_.second);
    char number[12];
    char* digits = number + sizeof number;
    do {
        *--digits = static_cast<char>('0' + priority % 10);
    } while ((priority /= 10) != 0);
    text.assign("<").append(digits, number + sizeof number).append(">");
    time_.Append(unixMilliseconds, text);
    text += ' ';
    const std::size_t begin = text.size();
    if (host.empty()) host = host_;
    text += host.substr(0, CutAtCharacter(host.data(), host.size(), kLongestHost));
    for (std::size_t i = begin; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i]) <= ' ' || text[i] == '\x7F') text[i] = '_';
    }
    text += ' ';
    payload.AddField(headerId_, text_, kVisitHeader);
}

bool Collector::Emit(const std::shared_ptr<IPayload>& payload) {
    for (unsigned int wait = 1; router_->Route(payload).IsFailure(); wait = std::min(wait * 2, 20U)) {
        state_ = State::kWaiting;
        if (!pause(wait)) return false;
    }
    if (state_ != State::kRunning) state_ = State::kRunning;
    changed_ = true;
    ++uncounted_;
    events_.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void Collector::CountDamaged(const std::string& where, const std::string& why) {
    changed_ = true;
    const std::uint64_t count = damaged_.fetch_add(1, std::memory_order_relaxed) + 1;
    if (count <= 10 || count % 100 == 0)
        log_->Warn("Damaged at %s: %s (%I64u so far)", where.c_str(), why.c_str(), count);
}

}  // namespace CorvaneAgent
