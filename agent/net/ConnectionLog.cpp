#include "agent/net/ConnectionLog.h"

namespace CorvaneAgent {

namespace {

constexpr int kToldShortOnes = 3;
constexpr std::size_t kMaxReasons = 8;

}  // namespace

void ConnectionLog::Connected(std::int64_t now) {
    since_ = now;
    if (shortOnes_ < kToldShortOnes) sayConnected();
}

void ConnectionLog::StillConnected(std::int64_t now) {
    if (told_ || now - since_ < kLastingMs) return;
    shortOnes_ = 0;
    sayConnected();
}

bool ConnectionLog::Lost(const std::string& why, std::int64_t now) {
    const bool lasting = now - since_ >= kLastingMs;
    shortOnes_ = lasting ? 0 : shortOnes_ + 1;
    if (told_) {
        log_->WarnNoFeed(shortOnes_ == kToldShortOnes
                             ? "Connection lost: %s. Nothing more is told until one lasts for 10 seconds"
                             : "Connection lost: %s",
                         why.c_str());
    }
    told_ = false;
    return lasting;
}

void ConnectionLog::CannotConnect(const std::string& why) {
    if (reasons_.size() >= kMaxReasons || !reasons_.insert(why).second) return;
    log_->ErrorNoFeed("Cannot connect, trying again: %s", why.c_str());
}

void ConnectionLog::sayConnected() {
    told_ = true;
    reasons_.clear();
    log_->WarnNoFeed("Connected");
}

}  // namespace CorvaneAgent
