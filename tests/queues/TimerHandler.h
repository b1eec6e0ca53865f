#pragma once

#include <functional>
#include <vector>

#include <ace/Event_Handler.h>
#include <ace/Manual_Event.h>

namespace WindowsAgentCommon::test {

/// Notes its calls, and does at each what the test says.
class TimerHandler : public ACE_Event_Handler {
public:
    explicit TimerHandler(std::function<int()> action = [] { return 0; }) : action_(std::move(action)) {}

    int handle_timeout(const ACE_Time_Value& now, const void* act) override {
        calls_.push_back(now);
        act_ = act;
        return action_();
    }
    Reference_Count remove_reference() override {
        ++releases_;
        return ACE_Event_Handler::remove_reference();
    }
    int handle_close(ACE_HANDLE, ACE_Reactor_Mask mask) override {
        closed_ += mask == TIMER_MASK ? 1 : 100;
        return onClose_();
    }

    /// Counts references from now on, and ends with the last one.
    void Count() { reference_counting_policy().value(Reference_Counting_Policy::ENABLED); }

    std::function<int()> action_, onClose_ = [] { return 0; };
    std::vector<ACE_Time_Value> calls_;
    const void* act_ = nullptr;
    int closed_ = 0, releases_ = 0;
};

}  // namespace WindowsAgentCommon::test
