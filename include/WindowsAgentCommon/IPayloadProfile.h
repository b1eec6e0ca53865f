#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// Says, for each field name that a collector emits, which field id it has and how its value is rendered.
class CORVANE_API IPayloadProfile {
public:
    IPayloadProfile() = default;
    IPayloadProfile(const IPayloadProfile&) {}
    IPayloadProfile& operator=(const IPayloadProfile&) { return *this; }
    virtual ~IPayloadProfile();

    /// typeInfo: see IPayload.h. The first registration of a name wins.
    virtual void AddField(const std::string& name, const std::int64_t& typeInfo) = 0;

    /// The field id and the type-info word of a name.
    virtual std::pair<unsigned int, std::int64_t> GetFieldTypeInfo(const std::string& name) = 0;
};

}  // namespace WindowsAgentCommon
