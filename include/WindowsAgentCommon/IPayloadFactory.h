#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"

class ACE_Message_Block;  // <ace/Message_Block.h>, for whoever looks into blocks

namespace WindowsAgentCommon {

class IPayload;
class IPayloadBuilder;
class IPayloadProfile;

/// Gives payload fields their ids, and makes payloads, profiles and builders. After Initialize any thread may
/// call it. Before, it knows no scheme: RegisterField and CreatePayload throw InitializationException, and
/// the look-ups and ReadPayload find nothing.
class CORVANE_API IPayloadFactory : public IServiceComponent {
public:
    ~IPayloadFactory() override;

    static std::string GetServiceName();  ///< "PayloadFactory"

    /// Gives a field's id, the same for equal name and qualifier for as long as the process lives; a field
    /// that is new is registered. qualifier: the field's type-info word.
    virtual void RegisterField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) = 0;

    /// Gives the id of a registered field; false, and id unchanged, for any other.
    virtual bool FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) = 0;

    /// Gives the name of a field; false, and name unchanged, for an unknown id.
    virtual bool GetFieldName(unsigned int id, std::string& name) = 0;

    virtual void CreatePayload(std::shared_ptr<IPayload>& out) = 0;  ///< Makes an empty payload.

    /// Makes a payload of a chain; see IPayloadMapping::ReadPayload.
    virtual bool ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) = 0;

    /// Makes an empty strict profile, which knows only the names that were added.
    virtual void CreatePayloadProfile(std::shared_ptr<IPayloadProfile>& out) = 0;

    /// Makes the builder of that name; false, and out empty, for any name but "SyslogPayloadBuilder". Throws
    /// what the builder's constructor throws, out empty.
    virtual bool CreatePayloadBuilder(const std::string& name, std::shared_ptr<IPayloadBuilder>& out) = 0;

    /// Makes an empty lenient profile, which adds unknown names as plain text.
    virtual void CreateLegacyPayloadProfile(std::shared_ptr<IPayloadProfile>& out) = 0;
};

}  // namespace WindowsAgentCommon
