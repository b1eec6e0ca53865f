#pragma once

#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/PayloadMappings.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"

#include <ace/Service_Object.h>

#include <atomic>

namespace WindowsAgentCommon {

/// The payload factory. The setting "PayloadFactoryMapping" says which scheme Initialize takes:
/// "PayloadMappingv1", or PayloadMappingv2 for anything else, deliberately without a word. The scheme stays
/// after Shutdown, so that a late caller finds it; both live as long as the factory, so that one that is
/// initialised again takes none away from its callers.
class PayloadFactory : public ServiceComponentBase<IPayloadFactory, ACE_Service_Object> {
public:
    InitializeResult Initialize(const EnvironmentBlock& settings) override;
    void Shutdown() override;

    void RegisterField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) override;
    bool FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) override;
    bool GetFieldName(unsigned int id, std::string& name) override;
    void CreatePayload(std::shared_ptr<IPayload>& out) override;
    bool ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) override;
    void CreatePayloadProfile(std::shared_ptr<IPayloadProfile>& out) override;
    bool CreatePayloadBuilder(const std::string& name, std::shared_ptr<IPayloadBuilder>& out) override;
    void CreateLegacyPayloadProfile(std::shared_ptr<IPayloadProfile>& out) override;

private:
    IPayloadMapping& mapping() const;

    PayloadMappingv1 first_;
    PayloadMappingv2 second_;
    std::atomic<IPayloadMapping*> mapping_{nullptr};  // one of them; null before Initialize
};

}  // namespace WindowsAgentCommon
