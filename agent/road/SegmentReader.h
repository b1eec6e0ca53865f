#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/road/Sink.h"
#include "agent/sdk/Handle.h"

namespace CorvaneAgent {

/// The path of a spool's segment. folder: with a backslash at its end.
std::wstring SegmentPath(const std::wstring& folder, std::uint64_t number);

/// Reads the segment files of a spool (docs/formats/spool.md), one at a time, which stays open. Others may
/// append to it and delete it meanwhile. One thread at a time.
class SegmentReader {
public:
    enum class Result {
        kRead,
        kEnd,
        kDamaged,  ///< Or gone.
        kFailed,   ///< Cannot be read for the moment; the log has one line when that begins.
    };

    SegmentReader(const std::wstring& folder, WindowsAgentCommon::Log log) : folder_(folder), log_(log) {}

    Result Open(std::uint64_t number);  ///< Opens it if need be; kRead when its header is right.

    /// Replaces lines by some of the records between offset and end: as many as fit into maxBytes, but at
    /// least one.
    Result Read(std::uint64_t number, std::uint64_t offset, std::uint64_t end, std::size_t maxBytes,
                LineBatch& lines);

    void Close() { file_.reset(); }
    void Close(std::uint64_t number) {  ///< If it is this one.
        if (number_ == number) Close();
    }

private:
    bool fill(std::uint64_t offset, std::uint64_t bytes);
    void tell(unsigned long error);

    const std::wstring folder_;
    WindowsAgentCommon::Log log_;
    Handle file_;
    std::uint64_t number_ = 0;
    std::string buffer_;
    bool fails_ = false;  // the log was told
};

}  // namespace CorvaneAgent
