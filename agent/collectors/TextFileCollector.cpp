#include "agent/collectors/TextFileCollector.h"

#include "agent/sdk/Clock.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr int kBatch = 256;
constexpr unsigned int kInformational = 6;

}  // namespace

void TextFileCollector::ReadSettings(SettingsReader& settings) {
    FileCollector::ReadSettings(settings);
    fromStart_ = settings.Flag("FromStart", true);
}

void TextFileCollector::Restore(const EnvironmentBlock& position) {
    FileCollector::Restore(position);
    inputs_.clear();
    for (const ListedFile& file : files_) {
        inputs_.emplace_back(file.path);
        inputs_.back().fromStart = fromStart_;
        inputs_.back().file = file.name.substr(file.name.find_last_of("\\/") + 1);
    }
}

void TextFileCollector::GetStatus(EnvironmentBlock& status) const {
    Collector::GetStatus(status);
    status.SetIntegerValue("CutLines", cutLines_.load());
}

Collector::Progress TextFileCollector::CollectFrom(std::size_t index) {
    ListedFile& file = files_[index];
    Input& input = inputs_[index];
    if (!ready(file, input)) return Ended();
    for (int i = 0; i < kBatch; ++i) {
        const LineFollower::Result result = input.follower.Next(!follow_);
        tellChange(file, input.follower.TakeChange());
        if (result == LineFollower::Result::kNothing) return Ended();
        if (!emit(input)) {
            CloseFile(index);
            return Progress::kNothing;
        }
        file.done = input.follower.GetPosition();
    }
    return Progress::kMore;
}

/// Opens the file unless it is open. False when there is none.
bool TextFileCollector::ready(ListedFile& file, Input& input) {
    if (input.follower.IsOpen()) return true;
    const unsigned long error = input.follower.Open(file.begun ? &file.done : nullptr, input.fromStart);
    TellOpening(GetLog(), file, error);
    if (error != 0) {
        // All that a file will hold which is not there yet is new.
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) input.fromStart = true;
        return false;
    }
    file.done = input.follower.GetPosition();
    file.begun = true;
    return true;
}

bool TextFileCollector::emit(const Input& input) {
    const std::shared_ptr<IPayload> payload = NewPayload();
    AddHeader(*payload, GetPriority(kInformational), SystemMilliseconds(), {});
    AddText(*payload, "File", input.file);
    AddText(*payload, "Message", input.follower.GetLine());
    if (!Emit(payload)) return false;
    if (input.follower.IsCut()) cutLines_.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void TextFileCollector::tellChange(const ListedFile& file, LineFollower::Change change) {
    const char* const name = file.name.c_str();
    switch (change) {
        case LineFollower::Change::kRotated:
            GetLog()->Info("%s is a new file", name);
            break;
        case LineFollower::Change::kTruncated:
            GetLog()->Warn("%s was truncated or replaced: reading it from its beginning", name);
            break;
        case LineFollower::Change::kResumed:
            GetLog()->Info("%s: going on behind line %I64u", name, file.done.ordinal);
            break;
        case LineFollower::Change::kRenamed:
            GetLog()->Info("%s was renamed while the agent was off: finishing it first", name);
            break;
        case LineFollower::Change::kVanished:
            GetLog()->Warn("The file %s that was read is gone: beginning with the new one", name);
            break;
        case LineFollower::Change::kNone:
            break;
    }
}

}  // namespace CorvaneAgent
