#pragma once

#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "tests/support/FakeComponentFactory.h"

#include <memory>
#include <vector>

namespace WindowsAgentCommon::test {

/// The library's payload factory, found by name as long as the object lives.
struct PayloadServices {
    explicit PayloadServices(const char* mapping = nullptr) {
        components.components["PayloadFactory"] = &factory;
        if (mapping != nullptr) settings.SetStringValue("PayloadFactoryMapping", mapping);
        factory.Initialize(settings);
    }
    ~PayloadServices() { factory.Shutdown(); }

    EnvironmentBlock settings;
    std::unique_ptr<ACE_Service_Object> service{_make_PayloadFactory(nullptr)};
    IPayloadFactory& factory = dynamic_cast<IPayloadFactory&>(*service);
    FakeComponentFactory components;
};

/// Keeps what it is handed.
struct Recorder : IPayloadVisitor {
    struct Visited {
        unsigned int id;
        PayloadField field;
        unsigned int flags;
        bool operator==(const Visited& other) const {
            return id == other.id && field == other.field && flags == other.flags;
        }
    };
    void Visit(unsigned int id, const PayloadField& field, unsigned int flags) override {
        visited.push_back({id, field, flags});
    }
    static std::vector<Visited> Fields(const IPayload& payload) {
        Recorder recorder;
        payload.Accept(recorder);
        return recorder.visited;
    }

    std::vector<Visited> visited;
};

}  // namespace WindowsAgentCommon::test
