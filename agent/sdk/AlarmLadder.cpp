#include "agent/sdk/AlarmLadder.h"

namespace CorvaneAgent {

namespace {

constexpr std::int64_t kFloodedAfterMs = 15'000;

/// Whether used is at least so many tenths of capacity; no product overflows.
bool reaches(std::uint64_t used, std::uint64_t capacity, std::uint64_t tenths) {
    return used >= capacity / 10 * tenths + (capacity % 10 * tenths + 9) / 10;
}

}  // namespace

AlarmLadder::AlarmLadder(WindowsAgentCommon::Log log, const std::string& what, bool noFeed)
    : log_(log), what_(what), noFeed_(noFeed) {}

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
    const char* const news = state == State::kNormal    ? "normal again"
                             : state == State::kFlooded ? "full for 15 seconds"
                                                        : "90% full";
    constexpr const char* kFormat = "%s: %s, %I64u of %I64u in use";
    if (noFeed_) {
        log_->WarnNoFeed(kFormat, what_.c_str(), news, used, capacity);
    } else if (state == State::kNormal) {
        log_->Info(kFormat, what_.c_str(), news, used, capacity);
    } else {
        log_->Warn(kFormat, what_.c_str(), news, used, capacity);
    }
}

}  // namespace CorvaneAgent
