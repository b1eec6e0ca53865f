// Inputs are blocks of either version.

#include "WindowsAgentCommon/Payloads.h"
#include "tests/mutation/Reader.h"

#include <ace/Message_Block.h>

#include <memory>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

struct Release {
    void operator()(ACE_Message_Block* block) const { block->release(); }
};

// Fills another payload with what it is handed.
struct Copier : IPayloadVisitor {
    void Visit(unsigned int id, const PayloadField& field, unsigned int flags) override {
        payload.AddField(id, field, flags);
    }
    Payloadv2 payload;
};

void Read(const char* bytes, std::size_t size) {
    const std::unique_ptr<ACE_Message_Block, Release> block(new ACE_Message_Block(bytes, size));
    block->wr_ptr(size);
    Payloadv1 first;
    Payloadv2 second;
    const bool isFirst = first.Read(block.get()), isSecond = second.Read(block.get());
    Require(!isFirst || !isSecond, "a block is of two versions");
    Require(!isFirst || first.GetSize() == size, "a block was not read to its end");
    if (!isSecond) return;  // the fields of version 1 would fill the global registry for good
    Copier copier, again;
    second.Accept(copier);
    copier.payload.Accept(again);
    Require(copier.payload.GetFieldCount() == second.GetFieldCount(), "fields were lost");
    const ACE_Message_Block *one = copier.payload.GetMessageBlock(), *two = again.payload.GetMessageBlock();
    for (; one != nullptr && two != nullptr; one = one->cont(), two = two->cont())
        Require(std::string(one->rd_ptr(), one->length()) == std::string(two->rd_ptr(), two->length()),
                "a copy has other bytes");
    Require(one == two, "a copy has other blocks");
}

template <class Payload>
std::string Example(std::size_t values) {
    const PayloadValue each[] = {std::string("10.0.0.1"), std::wstring(L"wide"),   std::int64_t{5}, 0.5, true,
                                 ACE_Time_Value(1, 2),    static_cast<unsigned>(7)};
    Payload payload;
    for (std::size_t i = 0; i < values; ++i) payload.AddField(static_cast<unsigned>(i), {1, each[i % 7]}, 0);
    const ACE_Message_Block* const block = payload.GetMessageBlock();
    return std::string(block->rd_ptr(), block->length());
}

std::vector<std::string> Examples() {
    const std::string short2 = Example<Payloadv2>(2);
    return {Example<Payloadv1>(7), Example<Payloadv2>(7), Example<Payloadv2>(20), short2 + short2};
}

const Registration kRegistered({"Payload", Examples, Read, 32});

}  // namespace
