#include "agent/net/LineQueue.h"

#include "agent/sdk/Text.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace CorvaneAgent {

namespace {

bool isBreak(char c) { return c == '\n' || c == '\r'; }

}  // namespace

bool LineQueue::Push(const char* data, std::size_t size) {
    char prefix[16];
    std::size_t prefixSize = 0, breaks = 0, bytes = size;
    if (framing_ == Framing::kLineFeed) {
        breaks = static_cast<std::size_t>(std::count_if(data, data + size, isBreak));
        bytes += breaks + 1;
    } else if (framing_ == Framing::kOctetCounting) {
        char* end = std::to_chars(prefix, prefix + sizeof prefix - 1, size).ptr;
        *end++ = ' ';
        prefixSize = static_cast<std::size_t>(end - prefix);
        bytes += prefixSize;
    }
    if (used_ <= lowMark_) full_ = false;
    // Unsigned, and breaks are at most size, which fits in memory: no sum here can overflow unnoticed.
    if (full_ || (used_ > 0 && bytes > highMark_ - std::min(used_, highMark_))) {
        full_ = true;
        return false;
    }
    Chunk& chunk = chunkFor(bytes);
    chunk.ends.push_back(static_cast<std::uint32_t>(chunk.bytes.size() + bytes));
    chunk.bytes.append(prefix, prefixSize);
    if (breaks > 0) {
        AppendVisibly(chunk.bytes, data, size);
    } else {
        chunk.bytes.append(data, size);
    }
    if (framing_ == Framing::kLineFeed) chunk.bytes += '\n';
    used_ += bytes;
    return true;
}

// With room for bytes and one more end, so that nothing that follows throws.
Chunk& LineQueue::chunkFor(std::size_t bytes) {
    if (chunks_.empty() || chunks_.back().bytes.size() + bytes > kChunkSize) {
        Chunk chunk = std::exchange(spare_, Chunk());
        chunk.bytes.reserve(std::max(bytes, kChunkSize));
        chunk.ends.reserve(16);  // before it is in the queue, where none may be empty
        chunks_.push_back(std::move(chunk));
    }
    Chunk& chunk = chunks_.back();
    if (chunk.ends.size() == chunk.ends.capacity()) chunk.ends.reserve(2 * chunk.ends.size());
    return chunk;
}

bool LineQueue::Take(Chunk& chunk) {
    Chunk used = std::exchange(chunk, Chunk());
    if (used.bytes.capacity() >= kChunkSize && used.bytes.capacity() <= 2 * kChunkSize) {
        used.bytes.clear();
        used.ends.clear();
        spare_ = std::move(used);
    }
    if (chunks_.empty()) return false;
    chunk = std::move(chunks_.front());
    chunks_.pop_front();
    return true;
}

std::size_t LineQueue::Clear() {
    std::size_t count = 0;
    for (const Chunk& chunk : chunks_) {
        count += chunk.ends.size();
        used_ -= chunk.bytes.size();
    }
    chunks_.clear();
    return count;
}

}  // namespace CorvaneAgent
