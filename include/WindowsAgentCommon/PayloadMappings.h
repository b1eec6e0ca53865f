#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "WindowsAgentCommon/IPayloadMapping.h"

namespace WindowsAgentCommon {

/// The scheme whose payloads describe themselves (Payloadv1). A field's id is the key that the global string
/// registry gives to "NAME:QUALIFIER", the low 32 bits of the qualifier in decimal as a signed number; the
/// name is what stands in front of the first ":", so a name with a ":" comes back shortened. A name counts up
/// to its first zero byte. Two fields may have one id, as two strings may have one key in the registry: the
/// name is then that of the first.
class CORVANE_API PayloadMappingv1 : public IPayloadMapping {
public:
    PayloadMappingv1();
    ~PayloadMappingv1() override;

    void RegisterField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) override;
    bool FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) override;
    bool GetFieldName(unsigned int id, std::string& name) override;
    void CreatePayload(std::shared_ptr<IPayload>& out) override;
    bool ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) override;

    /// Gives the whole key, "NAME:QUALIFIER", which payloads of this version carry; false, and key unchanged,
    /// for an unknown id.
    virtual bool GetFieldKey(unsigned int id, std::string& key);
};

/// The scheme whose payloads are compact (Payloadv2). Ids and names are those of PayloadMappingv1.
class CORVANE_API PayloadMappingv2 : public IPayloadMapping {
public:
    PayloadMappingv2();
    ~PayloadMappingv2() override;

    void RegisterField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) override;
    bool FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) override;
    bool GetFieldName(unsigned int id, std::string& name) override;
    void CreatePayload(std::shared_ptr<IPayload>& out) override;
    bool ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) override;
};

}  // namespace WindowsAgentCommon
