#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/ILogMonitor.h"

namespace WindowsAgentCommon {

/// A log monitor that keeps what it receives, for checking the way of log lines. Thread-safe; grows with each
/// message.
class CORVANE_API TestLogMonitor : public ILogMonitor {
public:
    TestLogMonitor();
    ~TestLogMonitor() override;

    using ILogMonitor::OnMessage;
    void OnMessage(MessageLevel_t level, const std::string& category, const std::string& message) override;

    std::size_t GetMessageCount() const;  ///< How many messages were received.

    /// Whether exactly this message was received.
    bool HasMessage(MessageLevel_t level, const std::string& category, const std::string& message) const;
    /// The same for terminated texts, none null.
    bool HasMessage(MessageLevel_t level, const char* category, const char* message) const;

    /// Whether a message was received in which the pattern (Perl syntax) is found. False for a pattern that
    /// is no regular expression, or that takes the engine beyond its bounds.
    bool HasMessageLike(MessageLevel_t level, const std::string& category, const std::string& pattern) const;

private:
    struct Message {
        MessageLevel_t level;
        std::string category;
        std::string text;
    };

    mutable ACE_Thread_Mutex lock_;
    std::vector<Message> messages_;
};

}  // namespace WindowsAgentCommon
