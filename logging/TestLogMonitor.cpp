#include "WindowsAgentCommon/TestLogMonitor.h"

#include <ace/Guard_T.h>
#include <boost/regex.hpp>

#include <stdexcept>

namespace WindowsAgentCommon {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

TestLogMonitor::TestLogMonitor() = default;
TestLogMonitor::~TestLogMonitor() = default;

void TestLogMonitor::OnMessage(MessageLevel_t level, const std::string& category,
                               const std::string& message) {
    const Guard guard(lock_);
    messages_.push_back({level, category, message});
}

std::size_t TestLogMonitor::GetMessageCount() const {
    const Guard guard(lock_);
    return messages_.size();
}

bool TestLogMonitor::HasMessage(MessageLevel_t level, const std::string& category,
                                const std::string& message) const {
    const Guard guard(lock_);
    for (const Message& received : messages_)
        if (received.level == level && received.category == category && received.text == message) return true;
    return false;
}

bool TestLogMonitor::HasMessage(MessageLevel_t level, const char* category, const char* message) const {
    return HasMessage(level, std::string(category), std::string(message));
}

bool TestLogMonitor::HasMessageLike(MessageLevel_t level, const std::string& category,
                                    const std::string& pattern) const {
    try {
        const boost::regex expression(pattern);
        const Guard guard(lock_);
        for (const Message& received : messages_)
            if (received.level == level && received.category == category &&
                boost::regex_search(received.text, expression))
                return true;
    } catch (const std::runtime_error&) {  // what the engine throws in both cases
    }
    return false;
}

}  // namespace WindowsAgentCommon
