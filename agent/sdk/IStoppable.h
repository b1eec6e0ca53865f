#pragma once

#include <cstdint>

namespace CorvaneAgent {

/// Offered by a component (dynamic_cast) whose end takes a while. Components shut down one by one; those that
/// are told before end side by side.
class IStoppable {
public:
    virtual ~IStoppable() = default;

    /// Begins the component's end, which Shutdown then waits for; it gives up at the deadline what it could
    /// still be waiting for. deadline: as SteadyMilliseconds(); the first one told holds. On the component
    /// factory's thread; does not block.
    virtual void BeginStop(std::int64_t deadline) = 0;
};

}  // namespace CorvaneAgent
