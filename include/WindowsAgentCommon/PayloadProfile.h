#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "WindowsAgentCommon/IPayloadProfile.h"

namespace WindowsAgentCommon {

/// The strict profile: a name must have been added. One thread at a time.
class CORVANE_API PayloadProfile : public IPayloadProfile {
public:
    PayloadProfile();
    ~PayloadProfile() override;

    /// Takes the field id from the payload factory, asked for name with typeInfo as the qualifier. Nothing
    /// happens when the name was added before. Throws InitializationException when there is no payload
    /// factory.
    void AddField(const std::string& name, const std::int64_t& typeInfo) override;

    /// What was added, or (0, 0) for a name that never was.
    std::pair<unsigned int, std::int64_t> GetFieldTypeInfo(const std::string& name) override;

private:
    std::map<std::string, std::pair<unsigned int, std::int64_t>> fields_;
};

/// The lenient profile: a name that is asked for without having been added is added as plain text (type-info
/// 1). It keeps every name that it was ever asked for. One thread at a time.
class CORVANE_API LegacyPayloadProfile : public PayloadProfile {
public:
    LegacyPayloadProfile();
    ~LegacyPayloadProfile() override;

    /// Throws as AddField for a name that is new, and then asks again, a class that overrides this included.
    std::pair<unsigned int, std::int64_t> GetFieldTypeInfo(const std::string& name) override;
};

}  // namespace WindowsAgentCommon
