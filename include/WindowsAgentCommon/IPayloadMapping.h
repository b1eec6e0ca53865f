#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "CorvaneExport.h"

class ACE_Message_Block;  // <ace/Message_Block.h>, for whoever looks into blocks

namespace WindowsAgentCommon {

class IPayload;

/// A scheme of field ids, and the wire format of payloads that goes with it. Any thread.
class CORVANE_API IPayloadMapping {
public:
    IPayloadMapping() = default;
    IPayloadMapping(const IPayloadMapping&) {}
    IPayloadMapping& operator=(const IPayloadMapping&) { return *this; }
    virtual ~IPayloadMapping();

    /// Registers a field and gives its id; a registered field keeps the id that it has.
    virtual void RegisterField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) = 0;

    /// Gives the id of a registered field; false, and id unchanged, for any other.
    virtual bool FindField(const std::string& name, const std::int64_t& qualifier, unsigned int& id) = 0;

    /// Gives the name of a field; false, and name unchanged, for an unknown id.
    virtual bool GetFieldName(unsigned int id, std::string& name) = 0;

    /// Makes an empty payload.
    virtual void CreatePayload(std::shared_ptr<IPayload>& out) = 0;

    /// Makes a payload of a chain that a payload of the same format filled; shares its blocks, and chain
    /// stays the caller's. False, and out empty, when the chain is null or not whole payload of that format.
    virtual bool ReadPayload(const ACE_Message_Block* chain, std::shared_ptr<IPayload>& out) = 0;
};

}  // namespace WindowsAgentCommon
