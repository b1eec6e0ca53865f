#pragma once

#include "WindowsAgentCommon/ServiceComponentBase.h"

#include <ace/Service_Object.h>

#include <string>

#include <windows.h>

namespace CorvaneAgent::test {

using namespace WindowsAgentCommon;

/// Lets other threads work until condition holds; false after a minute.
template <class Condition>
bool Until(Condition condition) {
    for (const DWORD start = ::GetTickCount(); !condition(); ::SwitchToThread())
        if (::GetTickCount() - start > 60'000) return false;
    return true;
}

/// A value of a status block.
inline std::string Text(const EnvironmentBlock& block, const std::string& name) {
    std::string value;
    block.GetStringValue(name, value, "<none>");
    return value;
}

template <class Interface>
struct FakeService : ServiceComponentBase<Interface, ACE_Service_Object> {
    InitializeResult Initialize(const EnvironmentBlock&) override { return InitializeResult::kDone; }
    void Shutdown() override {}
};

}  // namespace CorvaneAgent::test
