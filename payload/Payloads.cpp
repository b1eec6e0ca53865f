#include "WindowsAgentCommon/Payloads.h"

#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/MessageBlocks.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "payload/FieldKey.h"
#include "payload/PayloadFormat.h"

#include <ace/Message_Block.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace WindowsAgentCommon {

namespace {

// A block begins with room for a usual event; the chain of a large one is kept short by larger blocks.
constexpr std::size_t kFirstBlock = 2048;
constexpr std::size_t kLargestBlock = 1 << 20;

void Release(ACE_Message_Block* chain) noexcept {
    if (chain != nullptr) chain->release();
}

ACE_Message_Block* Share(const ACE_Message_Block* chain) {
    ACE_Message_Block* const shared = chain->duplicate();
    if (shared == nullptr) throw std::bad_alloc();
    return shared;
}

}  // namespace

PayloadBase::PayloadBase(unsigned char version) : version_(version) {}

PayloadBase::PayloadBase(const PayloadBase& other)
    : IPayload(other), version_(other.version_), fields_(other.fields_), size_(other.size_) {
    ACE_Message_Block* const chain = other.GetMessageBlock();
    if (chain == nullptr) return;
    head_ = Share(chain);
    tail_ = GetContChainTail(head_);
}

PayloadBase::~PayloadBase() {
    Release(head_);
    Release(spare_);
}

// --- filling ---

bool PayloadBase::AddField(IPayloadProfile& profile, const std::string& name, const PayloadValue& value) {
    const auto [id, typeInfo] = profile.GetFieldTypeInfo(name);
    if (id == 0 && typeInfo == 0) return false;
    const bool isHeader = typeInfo == detail::kHeaderQualifier && name == detail::kHeaderField;
    const std::string key =
        version_ == detail::kVersionWithKeys ? detail::FieldKey(name, typeInfo) : std::string();
    append(id, typeInfo, value, isHeader ? kVisitHeader : 0, key);
    return true;
}

void PayloadBase::AddField(unsigned int fieldId, const PayloadField& field, unsigned int flags) {
    if (version_ != detail::kVersionWithKeys) return append(fieldId, field.first, field.second, flags, {});
    std::string key;
    GetGlobalStringRegistry()->GetString(fieldId, key);
    append(fieldId, field.first, field.second, flags, key);
}

// key: left out where it is longer than the format holds; the id then stands for it.
void PayloadBase::append(unsigned int id, std::int64_t typeInfo, const PayloadValue& value,
                         unsigned int flags, std::string_view key) {
    const detail::EncodedValue bytes(value);
    if (key.size() > detail::kMostKeySize) key = {};
    if (bytes.Size() > detail::kMostValueSize || flags > 0xFF) {
        throw OperationNotSupportedException(__FILE__, __FUNCTION__, __LINE__,
                                             "a payload field with such flags or such a long value");
    }
    const detail::FieldHead head = {typeInfo,
                                    id,
                                    static_cast<std::uint32_t>(bytes.Size()),
                                    static_cast<unsigned char>(value.which()),
                                    static_cast<unsigned char>(flags),
                                    static_cast<std::uint16_t>(key.size())};
    const std::size_t size = detail::kFieldHeadSize + key.size() + bytes.Size();
    if (open_ == nullptr || tail_->space() < size) beginBlock(size);

    char* const at = tail_->wr_ptr();
    detail::Store(head, at);
    if (!key.empty()) key.copy(at + detail::kFieldHeadSize, key.size());
    bytes.CopyTo(at + detail::kFieldHeadSize + key.size());
    tail_->wr_ptr(size);
    ++openFields_;
    std::memcpy(open_ + offsetof(detail::GroupHead, fields), &openFields_, sizeof openFields_);
    ++fields_;
    size_ += size;
}

// Puts a block with an empty group and room for a field of size bytes at the chain's end.
void PayloadBase::beginBlock(std::size_t size) {
    const std::size_t room =
        std::max(detail::kGroupHeadSize + size, std::clamp(size_, kFirstBlock, kLargestBlock));
    ACE_Message_Block* block = nullptr;
    if (spare_ != nullptr && spare_->space() >= room) {
        std::swap(block, spare_);
    } else {
        CreateDataMessageBlock(static_cast<int>(room), block);
        if (block == nullptr) throw std::bad_alloc();
    }
    const detail::GroupHead group{{'C', 'P'}, version_, 0, 0};
    open_ = block->wr_ptr();
    openFields_ = 0;
    block->copy(reinterpret_cast<const char*>(&group), sizeof group);
    size_ += sizeof group;
    if (head_ == nullptr)
        head_ = block;
    else
        tail_->cont(block);
    tail_ = block;
}

void PayloadBase::Clear() {
    if (open_ != nullptr && head_ == tail_ && head_->capacity() <= kLargestBlock) {
        Release(spare_);
        spare_ = head_;
        spare_->reset();
    } else {
        Release(head_);
    }
    head_ = tail_ = nullptr;
    open_ = nullptr;
    fields_ = size_ = 0;
}

// --- reading ---

bool PayloadBase::Read(const ACE_Message_Block* chain) {
    if (chain == nullptr) return false;
    detail::FieldReader reader(chain, version_);
    detail::FieldView field;
    std::size_t fields = 0;
    while (reader.Next(field)) ++fields;
    if (!reader.IsAtEnd()) return false;

    ACE_Message_Block* const shared = Share(chain);
    Clear();
    head_ = shared;
    tail_ = GetContChainTail(shared);
    fields_ = fields;
    size_ = shared->total_length();
    return true;
}

void PayloadBase::Accept(IPayloadVisitor& visitor) const {
    if (head_ == nullptr) return;
    detail::FieldReader reader(head_, version_);
    detail::FieldDecoder decoder(text_);
    detail::FieldView field;
    while (reader.Next(field)) {
        unsigned int id = field.head.id;
        if (field.head.keySize > 0)
            GetGlobalStringRegistry()->RegisterString(std::string(field.key, field.head.keySize), id);
        visitor.Visit(id, decoder.Decode(field), field.head.flags);
    }
    if (!reader.IsAtEnd())
        throw UnmarshalMemoryException(__FILE__, __FUNCTION__, __LINE__, "A payload's blocks are damaged");
}

std::size_t PayloadBase::GetFieldCount() const { return fields_; }

std::size_t PayloadBase::GetSize() const { return size_; }

ACE_Message_Block* PayloadBase::GetMessageBlock() const {
    open_ = nullptr;  // whoever has the chain may share it: its blocks are not written again
    return head_;
}

// --- the two versions ---

Payloadv1::Payloadv1() : PayloadBase(1) {}
Payloadv1::Payloadv1(const Payloadv1& other) = default;
Payloadv1::~Payloadv1() = default;
std::shared_ptr<IPayload> Payloadv1::Clone() const { return std::make_shared<Payloadv1>(*this); }

Payloadv2::Payloadv2() : PayloadBase(2) {}
Payloadv2::Payloadv2(const Payloadv2& other) = default;
Payloadv2::~Payloadv2() = default;
std::shared_ptr<IPayload> Payloadv2::Clone() const { return std::make_shared<Payloadv2>(*this); }

}  // namespace WindowsAgentCommon
