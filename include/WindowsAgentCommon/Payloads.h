#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "WindowsAgentCommon/IPayload.h"

namespace WindowsAgentCommon {

/// What the two wire formats have in common: the chain of message blocks, and fields that are written to it
/// and read from it. Values may be up to 16,777,215 bytes long, flags are 0 to 255; everything else is as
/// IPayload states it. Throws std::bad_alloc and has added nothing then.
///
/// Blocks are made by CreateDataMessageBlock() and hold whole fields. A cleared payload keeps a block for
/// what comes next unless others may share it, so one that is filled again and again takes no new memory.
class CORVANE_API PayloadBase : public IPayload {
public:
    ~PayloadBase() override;
    PayloadBase& operator=(const PayloadBase&) = delete;

    bool AddField(IPayloadProfile& profile, const std::string& name, const PayloadValue& value) override;
    void AddField(unsigned int fieldId, const PayloadField& field, unsigned int flags) override;
    void Accept(IPayloadVisitor& visitor) const override;
    std::size_t GetFieldCount() const override;
    std::size_t GetSize() const override;
    ACE_Message_Block* GetMessageBlock() const override;
    void Clear() override;

    /// Replaces the fields by those of a chain, whose blocks are shared; the chain stays the caller's. False,
    /// and nothing changed, when the chain is null or not from end to end of this payload's format.
    bool Read(const ACE_Message_Block* chain);

protected:
    explicit PayloadBase(unsigned char version);  ///< Empty. version: of the wire format.
    PayloadBase(const PayloadBase& other);        ///< Shares the blocks.

private:
    void append(unsigned int id, std::int64_t typeInfo, const PayloadValue& value, unsigned int flags,
                std::string_view key);
    void beginBlock(std::size_t size);

    const unsigned char version_;
    ACE_Message_Block* head_ = nullptr;   // owned; null without fields
    ACE_Message_Block* tail_ = nullptr;   // the chain's last block
    ACE_Message_Block* spare_ = nullptr;  // owned; an empty block to begin with, or null
    mutable char* open_ = nullptr;        // head of the fields in tail_ while nobody else may have the block
    std::uint32_t openFields_ = 0;        // fields behind open_
    mutable std::string text_;            // memory for the texts of a visit
    std::size_t fields_ = 0;
    std::size_t size_ = 0;
};

/// A payload that describes itself (docs/formats/payload-v1.md): fields carry their keys' texts, so that a
/// process that never registered them can name them. Accept registers the keys that are new to this process
/// in the global string registry, which keeps them for good: visit only payloads whose sender may do that.
class CORVANE_API Payloadv1 : public PayloadBase {
public:
    Payloadv1();                        ///< Empty.
    Payloadv1(const Payloadv1& other);  ///< Shares the blocks.
    ~Payloadv1() override;
    std::shared_ptr<IPayload> Clone() const override;
};

/// A compact payload (docs/formats/payload-v2.md): fields carry their ids alone, and processes that know the
/// names read it.
class CORVANE_API Payloadv2 : public PayloadBase {
public:
    Payloadv2();                        ///< Empty.
    Payloadv2(const Payloadv2& other);  ///< Shares the blocks.
    ~Payloadv2() override;
    std::shared_ptr<IPayload> Clone() const override;
};

}  // namespace WindowsAgentCommon
