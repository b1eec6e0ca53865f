#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "WindowsAgentCommon/LoggerFactory.h"

namespace CorvaneAgent {

/// Tells the log how a connection fares: one line for each change of state, each reason for not connecting
/// once until it is connected again, and silence about a peer that accepts and hangs up over and over. All
/// lines are of the no-feed kind, since the log monitor may send through this very connection. One thread.
class ConnectionLog {
public:
    /// A connection that lasted shorter than this is no sign that the peer works.
    static constexpr std::int64_t kLastingMs = 10'000;

    explicit ConnectionLog(WindowsAgentCommon::Log log) : log_(log) {}

    /// now: SteadyMilliseconds(), here and below.
    void Connected(std::int64_t now);
    void StillConnected(std::int64_t now);  ///< To be called now and then while connected.
    /// Returns whether the connection was a lasting one.
    bool Lost(const std::string& why, std::int64_t now);
    void CannotConnect(const std::string& why);

private:
    void sayConnected();

    WindowsAgentCommon::Log log_;
    std::set<std::string> reasons_;  // already told
    std::int64_t since_ = 0;
    int shortOnes_ = 0;  // connections in a row that did not last
    bool told_ = false;  // that it is connected
};

}  // namespace CorvaneAgent
