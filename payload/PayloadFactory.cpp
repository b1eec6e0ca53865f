#include "payload/PayloadFactory.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PayloadProfile.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/SyslogPayloadBuilder.h"
#include "services/MakeService.h"

namespace WindowsAgentCommon {

namespace {

CorvaneLogger::ALogger& logger() { return CorvaneLogger::CV_Logger::Logger("Code.PayloadFactory"); }

}  // namespace

InitializeResult PayloadFactory::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    std::string mapping;
    EnvironmentBlockHelper(settings.Entries())
        .GetStringValue("PayloadFactoryMapping", mapping, "PayloadMappingv2");
    mapping_ = mapping == "PayloadMappingv1" ? static_cast<IPayloadMapping*>(&first_) : &second_;
    SetInitialized(true);
    logger().Info("Payload factory initialized.");
    return InitializeResult::kDone;
}

void PayloadFactory::Shutdown() {
    if (!IsInitialized()) return;
    SetInitialized(false);
    logger().Info("Payload factory shut down.");
}

IPayloadMapping& PayloadFactory::mapping() const {
    if (IPayloadMapping* const mapping = mapping_) return *mapping;
    throw InitializationException(__FILE__, __FUNCTION__, __LINE__, "The payload factory is not initialised");
}

void PayloadFactory::RegisterField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) {
    mapping().RegisterField(name, qualifier, id);
}

bool PayloadFactory::FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) {
    IPayloadMapping* const mapping = mapping_;
    return mapping != nullptr && mapping->FindField(name, qualifier, id);
}

bool PayloadFactory::GetFieldName(unsigned int id, std::string& name) {
    IPayloadMapping* const mapping = mapping_;
    return mapping != nullptr && mapping->GetFieldName(id, name);
}

void PayloadFactory::CreatePayload(std::shared_ptr<IPayload>& out) { mapping().CreatePayload(out); }

bool PayloadFactory::ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) {
    out.reset();
    IPayloadMapping* const mapping = mapping_;
    return mapping != nullptr && mapping->ReadPayload(chain, out);
}

void PayloadFactory::CreatePayloadProfile(std::shared_ptr<IPayloadProfile>& out) {
    out = std::make_shared<PayloadProfile>();
}

bool PayloadFactory::CreatePayloadBuilder(const std::string& name, std::shared_ptr<IPayloadBuilder>& out) {
    out.reset();
    if (name == "SyslogPayloadBuilder") out = std::make_shared<SyslogPayloadBuilder>();
    return out != nullptr;
}

void PayloadFactory::CreateLegacyPayloadProfile(std::shared_ptr<IPayloadProfile>& out) {
    out = std::make_shared<LegacyPayloadProfile>();
}

ACE_Service_Object* _make_PayloadFactory(ACE_Service_Object_Exterminator* exterminator) {
    return detail::MakeService<PayloadFactory>(exterminator);
}

}  // namespace WindowsAgentCommon
