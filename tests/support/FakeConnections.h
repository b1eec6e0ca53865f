#pragma once

#include "WindowsAgentCommon/IConnectionFactory.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "tests/support/FakeComponentFactory.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace WindowsAgentCommon::test {

/// A sender that keeps what it is given.
struct FakeSender : ISender {
    unsigned long Open() override { return openResult; }
    bool Send(const char* data, std::size_t size) override {
        sent.emplace_back(data, size);
        return true;
    }
    ConnectionState GetState() const override { return ConnectionState::kConnected; }
    std::string GetTarget() const override { return "udp://fake:514"; }
    std::size_t GetQueuedBytes() const override { return 0; }
    void GetStatus(EnvironmentBlock&) const override {}
    unsigned int GetLossCount() const override { return 0; }
    void Close(unsigned int) override { ++closed; }

    unsigned long openResult = 0;
    std::vector<std::string> sent;
    int closed = 0;
};

/// A connection factory that hands out one sender and keeps the settings that it is to have; found by name as
/// long as the object lives.
struct FakeConnections : ServiceComponentBase<IConnectionFactory, ACE_Service_Object> {
    FakeConnections() { components.components["ConnectionFactory"] = this; }

    InitializeResult Initialize(const EnvironmentBlock&) override { return InitializeResult::kDone; }
    void Shutdown() override {}
    bool CreateSender(const EnvironmentBlock& wanted, std::shared_ptr<ISender>& out) override {
        settings = {wanted.Entries().begin(), wanted.Entries().end()};
        out = sender;
        return out != nullptr;
    }
    bool CreateSender(const std::string&, const EnvironmentBlock&, std::shared_ptr<ISender>&) override {
        return false;
    }
    bool GetSender(const std::string&, std::shared_ptr<ISender>&) override { return false; }
    void GetSenderNames(std::vector<std::string>&) override {}
    bool CreateRawSocket(std::unique_ptr<IRawSocket>&) override { return false; }
    bool CreateTCPSocket(std::unique_ptr<ITCPSocket>&) override { return false; }
    bool CreateUDPSocket(std::unique_ptr<IUDPSocket>&) override { return false; }
    bool CreateServerConnection(const EnvironmentBlock&,
                                std::shared_ptr<IConfigurationServerConnection>&) override {
        return false;
    }

    FakeComponentFactory components;
    std::shared_ptr<FakeSender> sender = std::make_shared<FakeSender>();
    std::map<std::string, std::string> settings;
};

}  // namespace WindowsAgentCommon::test
