#pragma once

#include <cstdint>
#include <string>

#include "WindowsAgentCommon/LoggerFactory.h"

namespace CorvaneAgent {

/// How full something bounded (a queue, the spool) is, told to the operator in steps: one log line for each
/// change of state, however often it is asked. Not thread-safe: its owner serialises the calls.
class AlarmLadder {
public:
    enum class State { kNormal, kWarning, kFlooded };

    /// what: how the log calls the thing, such as "Queue of destination central". noFeed: its lines never
    /// leave the machine through the log monitor (all are warnings then), for what the monitor itself uses.
    AlarmLadder(WindowsAgentCommon::Log log, const std::string& what, bool noFeed = false);

    /// Takes the fill level, in any unit. A warning from 90% of capacity on; flooded when it has been full
    /// for 15 seconds; normal again under 70%. now: SteadyMilliseconds(). A capacity of 0 counts as full.
    State Update(std::uint64_t used, std::uint64_t capacity, std::int64_t now);

    State GetState() const { return state_; }
    const char* GetStateText() const;  ///< "normal", "warning" or "flooded".

private:
    void change(State state, std::uint64_t used, std::uint64_t capacity);

    WindowsAgentCommon::Log log_;
    std::string what_;
    bool noFeed_;
    State state_ = State::kNormal;
    std::int64_t fullSince_ = -1;  // ms; -1: not full
};

}  // namespace CorvaneAgent
