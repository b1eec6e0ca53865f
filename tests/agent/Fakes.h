#pragma once

#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"

#include <ace/Guard_T.h>
#include <ace/Service_Object.h>
#include <ace/Thread_Mutex.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include <windows.h>

namespace CorvaneAgent::test {

using namespace WindowsAgentCommon;
using Guard = ACE_Guard<ACE_Thread_Mutex>;

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

/// A record that fails as it is told.
struct FakeRecord : IPersistentRecord {
    std::string GetName() const override { return "record"; }
    unsigned long Load(EnvironmentBlock& out) override {
        out = Saved();
        return loadError != 0 || !out.Entries().empty() ? loadError : ERROR_FILE_NOT_FOUND;
    }
    unsigned long Save(const EnvironmentBlock& in) override {
        if (error != 0) return error;
        {
            const Guard guard(lock);
            block = in;
        }
        if (onSave) onSave();
        return 0;
    }
    unsigned long Remove() override { return 0; }
    EnvironmentBlock Saved() {
        const Guard guard(lock);
        return block;
    }
    ACE_Thread_Mutex lock;
    EnvironmentBlock block;
    unsigned long loadError = 0;
    std::atomic<unsigned long> error{0};  // of Save
    std::function<void()> onSave;
};

/// Has one record, whatever its name.
struct FakePersistence : FakeService<IPersistenceManager> {
    unsigned long OpenRecord(const std::string&, std::shared_ptr<IPersistentRecord>& out) override {
        out = record;
        return 0;
    }
    unsigned long Flush() override { return 0; }
    const std::shared_ptr<FakeRecord> record = std::make_shared<FakeRecord>();
};

}  // namespace CorvaneAgent::test
