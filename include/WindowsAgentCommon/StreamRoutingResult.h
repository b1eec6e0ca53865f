#pragma once

namespace WindowsAgentCommon {

/// What a routing stage made of an event: a word of flags. Setters only add flags; nothing takes one away. A
/// plain value.
class StreamRoutingResult {
public:
    static constexpr int kContinue = 0x1;                 ///< Routing goes on with the next stage.
    static constexpr int kQueued = 0x2;                   ///< The event was queued.
    static constexpr int kError = 0x40000000;             ///< An error occurred.
    static constexpr unsigned int kFailure = 0x80000000;  ///< The routing failed.

    StreamRoutingResult() = default;                   ///< No flag.
    StreamRoutingResult(int flags) : flags_(flags) {}  ///< The word as given.
    operator int() const { return flags_; }            ///< The word.

    bool ContinueRouting() const { return (flags_ & kContinue) != 0; }
    bool IsQueued() const { return (flags_ & kQueued) != 0; }
    bool ErrorOccured() const { return (flags_ & kError) != 0; }
    bool IsFailure() const { return flags_ < 0; }

    /// Whether the routing did not fail; an error alone is deliberately no failure.
    bool IsSuccess() const { return !IsFailure(); }

    void SetQueued() { flags_ |= kQueued; }
    void SetError() { flags_ |= kError; }
    void SetFailure() { flags_ = static_cast<int>(static_cast<unsigned int>(flags_) | kFailure); }

private:
    int flags_ = 0;
};

}  // namespace WindowsAgentCommon
