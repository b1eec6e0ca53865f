#pragma once

namespace CorvaneAgent {

/// Says when events are safe. The agent's payload router offers it beside IPayloadRouter (dynamic_cast).
class IDeliveryBarrier {
public:
    virtual ~IDeliveryBarrier() = default;

    /// Returns true when every event whose Route() returned before the call has been written where it
    /// survives the end of this process: to the output file, or to the spool of its network destination. A
    /// collector may then keep its position. False when that takes longer than timeoutMs milliseconds, or an
    /// output cannot be written. Any thread; blocks.
    virtual bool WaitUntilSafe(unsigned int timeoutMs) = 0;
};

}  // namespace CorvaneAgent
