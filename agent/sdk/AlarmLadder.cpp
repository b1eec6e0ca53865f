#include "agent/sdk/AlarmLadder.h"

namespace CorvaneAgent {

namespace {

constexpr std::int64_t kFloodedAfterMs = 15'000;

/// Whether used is at least so many tenths of capacity; no product overflows.
bool reaches(std::uint64_t used, std::uint64_t capacity, std::uint64_t tenths) {
    return used >= capacity / 10 * tenths + (capacity % 10 * tenths + 9) / 10;
}

}  // namespace

AlarmLadder::AlarmLadder(WindowsAgentCommon::Log log, const std::string& what) : log_(log), what_(what) {}

AlarmLadder::State AlarmLadder::Update(std::uint64_t used, std::uint64_t capacity, std::int64_t now) {
    if (used < capacity) {
        fullSince_ = -1;
    } else if (fullSince_ < 0) {
        fullSince_ = now;
    }
    if (!reaches(used, capacity, 7)) {
        if (state_ != State::kNormal) change(State::kNormal, used, capacity);
    } else if (fullSince_ >= 0 && now - fullSince_ >= kFloodedAfterMs) {
        if (state_ != State::kFlooded) change(State::kFlooded, used, capacity);
    } else if (reaches(used, capacity, 9) && state_ == State::kNormal) {
        change(State::kWarning, used, capacity);
    }
    return state_;
}

const char* AlarmLadder::GetStateText() const {
    switch (state_) {
        case State::kWarning:
            return "warning";
        case State::kFlooded:
            return "flooded";
        default:
            return "normal";
    }
}

void AlarmLadder::change(State state, std::uint64_t used, std::uint64_t capacity) {
    state_ = state;
    if (state == State::kNormal) {
        log_->Info("%s: normal again, %I64u of %I64u in use", what_.c_str(), used, capacity);
    } else {
        log_->Warn("%s: %s, %I64u of %I64u in use", what_.c_str(),
                   state == State::kFlooded ? "full for 15 seconds" : "90% full", used, capacity);
    }
}

}  // namespace CorvaneAgent
