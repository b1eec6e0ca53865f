#include "WindowsAgentCommon/PayloadProfile.h"

#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/KORException.h"

namespace WindowsAgentCommon {

PayloadProfile::PayloadProfile() = default;
PayloadProfile::~PayloadProfile() = default;

void PayloadProfile::AddField(const std::string& name, const std::int64_t& typeInfo) {
    if (fields_.count(name) != 0) return;
    auto* const factory = dynamic_cast<IPayloadFactory*>(_getService(IPayloadFactory::GetServiceName()));
    if (!factory) {
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The payload factory is missing: no id for the field " + name);
    }
    unsigned int id = 0;
    factory->RegisterField(name, typeInfo, id);
    fields_.emplace(name, std::make_pair(id, typeInfo));
}

std::pair<unsigned int, std::int64_t> PayloadProfile::GetFieldTypeInfo(const std::string& name) {
    const auto found = fields_.find(name);
    return found == fields_.end() ? std::pair<unsigned int, std::int64_t>(0U, 0) : found->second;
}

LegacyPayloadProfile::LegacyPayloadProfile() = default;
LegacyPayloadProfile::~LegacyPayloadProfile() = default;

std::pair<unsigned int, std::int64_t> LegacyPayloadProfile::GetFieldTypeInfo(const std::string& name) {
    const auto known = PayloadProfile::GetFieldTypeInfo(name);
    if (known.second != 0) return known;
    AddField(name, kPayloadText);
    const auto added = PayloadProfile::GetFieldTypeInfo(name);
    return added.second != 0 ? GetFieldTypeInfo(name) : added;  // a derived class's; never without end
}

}  // namespace WindowsAgentCommon
