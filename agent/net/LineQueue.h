#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace CorvaneAgent {

/// How events are told apart on the way.
enum class Framing {
    kNone,           ///< Each is a datagram.
    kLineFeed,       ///< A line feed behind each; CR and LF inside become the texts "\r" and "\n".
    kOctetCounting,  ///< "LENGTH " in front of each, in bytes.
};

/// Events one behind the other as they are sent, so that one call sends many.
struct Chunk {
    std::string bytes;
    std::vector<std::uint32_t> ends;  ///< Where each event ends in bytes.
};

/// The bounded queue of a sender: events are framed and copied once, straight into chunks of 64 KiB. Not
/// thread-safe.
///
/// Memory: the bytes that Used() counts (twice that where events have over 32 KiB), 8 bytes for each event at
/// most, and 256 KiB.
class LineQueue {
public:
    static constexpr std::size_t kChunkSize = 65'536;

    /// lowMark, highMark: bytes, framing included.
    LineQueue(Framing framing, std::size_t lowMark, std::size_t highMark)
        : framing_(framing), lowMark_(lowMark), highMark_(highMark) {}

    /// Adds an event. False when it would lift what is used above the high mark, and from then on until no
    /// more than the low mark is used. An empty queue takes any event.
    bool Push(const char* data, std::size_t size);

    /// Replaces chunk, whose memory is used again, by the oldest chunk, whose bytes count as used until
    /// Release. False, and chunk empty, when there is none.
    bool Take(Chunk& chunk);

    void Release(std::size_t bytes) { used_ -= bytes; }  ///< bytes of a taken chunk are sent.

    void Return(std::size_t bytes) { used_ += bytes; }  ///< They are to be sent again after all.

    std::size_t Clear();  ///< Drops what has not been taken; returns how many events.

    std::size_t Used() const { return used_; }  ///< Bytes, framing included.
    bool IsFull() const { return full_ && used_ > lowMark_; }

private:
    Chunk& chunkFor(std::size_t bytes);

    Framing framing_;
    std::size_t lowMark_, highMark_;
    std::deque<Chunk> chunks_;
    Chunk spare_;
    std::size_t used_ = 0;
    bool full_ = false;
};

}  // namespace CorvaneAgent
