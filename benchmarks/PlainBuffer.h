#pragma once

#include <memory>

namespace WindowsAgentCommon::bench {

/// The least that a serializer could do: a virtual call that checks the room and copies four bytes.
class IPlainBuffer {
public:
    virtual ~IPlainBuffer() = default;
    virtual unsigned int WriteLong(long value) = 0;
    virtual unsigned int ReadLong(long& value) = 0;
    virtual void Rewind() = 0;
};

/// Made in a source file of its own, so that the compiler cannot tell which class it calls.
std::unique_ptr<IPlainBuffer> MakePlainBuffer(unsigned int size);

}  // namespace WindowsAgentCommon::bench
