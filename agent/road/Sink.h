#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace WindowsAgentCommon {
class EnvironmentBlock;
}

namespace CorvaneAgent {

/// Rendered events: their texts, one behind the other, and how many bytes each has.
struct LineBatch {
    std::string text;
    std::vector<std::size_t> lengths;

    void Clear() {
        text.clear();
        lengths.clear();
    }
    void Add(const char* line, std::size_t size) {
        text.append(line, size);
        lengths.push_back(size);
    }
};

/// The last stage of a destination. Start, Stop and Write are called by one thread at a time; the rest by
/// any.
class Sink {
public:
    virtual ~Sink() = default;

    /// Begins its own work. Throws InitializationException.
    virtual void Start() = 0;

    /// Writes a batch to where it survives the end of the process. Blocks while that is not possible. False,
    /// and the batch not written as a whole, after Cancel only. May throw std::bad_alloc with nothing
    /// written.
    virtual bool Write(const LineBatch& batch) = 0;

    /// Called about once a second by one thread. now: SteadyMilliseconds().
    virtual void Tick(std::int64_t now) = 0;

    virtual void Cancel() = 0;  ///< Ends a Write that waits, and every later one. Does not wait.

    /// Ends its work, until deadline (SteadyMilliseconds()) at the latest but for the system's own delays.
    /// After Cancel. Throws nothing.
    virtual void Stop(std::int64_t deadline) = 0;

    /// Adds its counters. prefix: stands before each name.
    virtual void AddStatus(const std::string& prefix, WindowsAgentCommon::EnvironmentBlock& status) const = 0;
};

}  // namespace CorvaneAgent
