#include "WindowsAgentCommon/PayloadMappings.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/Payloads.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "payload/FieldKey.h"

#include <algorithm>

namespace WindowsAgentCommon {

namespace {

void Register(const std::string& name, std::int64_t qualifier, unsigned int& id) {
    GetGlobalStringRegistry()->RegisterString(detail::FieldKey(name, qualifier), id);
}

bool Find(const std::string& name, std::int64_t qualifier, unsigned int& id) {
    return GetGlobalStringRegistry()->GetKey(detail::FieldKey(name, qualifier), id);
}

bool NameOf(unsigned int id, std::string& name) {
    if (!GetGlobalStringRegistry()->GetString(id, name)) return false;
    name.resize(std::min(name.find(':'), name.size()));
    return true;
}

template <class Payload>
bool Read(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) {
    out.reset();
    const auto payload = std::make_shared<Payload>();
    if (!payload->Read(chain)) return false;
    out = payload;
    return true;
}

}  // namespace

std::string detail::FieldKey(const std::string& name, std::int64_t qualifier) {
    std::string key;
    Format(key, "%s:%d", name.c_str(), static_cast<int>(qualifier));
    return key;
}

PayloadMappingv1::PayloadMappingv1() = default;
PayloadMappingv1::~PayloadMappingv1() = default;

void PayloadMappingv1::RegisterField(const std::string& name, const std::int64_t& qualifier,
                                     unsigned int& id) {
    Register(name, qualifier, id);
}

bool PayloadMappingv1::FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) {
    return Find(name, qualifier, id);
}

bool PayloadMappingv1::GetFieldName(unsigned int id, std::string& name) { return NameOf(id, name); }

void PayloadMappingv1::CreatePayload(std::shared_ptr<IPayload>& out) { out = std::make_shared<Payloadv1>(); }

bool PayloadMappingv1::ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) {
    return Read<Payloadv1>(chain, out);
}

bool PayloadMappingv1::GetFieldKey(unsigned int id, std::string& key) {
    return GetGlobalStringRegistry()->GetString(id, key);
}

PayloadMappingv2::PayloadMappingv2() = default;
PayloadMappingv2::~PayloadMappingv2() = default;

void PayloadMappingv2::RegisterField(const std::string& name, const std::int64_t& qualifier,
                                     unsigned int& id) {
    Register(name, qualifier, id);
}

bool PayloadMappingv2::FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) {
    return Find(name, qualifier, id);
}

bool PayloadMappingv2::GetFieldName(unsigned int id, std::string& name) { return NameOf(id, name); }

void PayloadMappingv2::CreatePayload(std::shared_ptr<IPayload>& out) { out = std::make_shared<Payloadv2>(); }

bool PayloadMappingv2::ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) {
    return Read<Payloadv2>(chain, out);
}

}  // namespace WindowsAgentCommon
