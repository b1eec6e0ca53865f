#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"
#include "WindowsAgentCommon/StreamRoutingResult.h"

namespace WindowsAgentCommon {

class IPayload;

/// One stage on the way of events. Any thread.
class CORVANE_API IStreamProcessor {
public:
    IStreamProcessor() = default;
    IStreamProcessor(const IStreamProcessor&) {}
    IStreamProcessor& operator=(const IStreamProcessor&) { return *this; }
    virtual ~IStreamProcessor();

    /// Works on an event; ContinueRouting() of the result says whether the next stage gets it.
    virtual StreamRoutingResult Process(const std::shared_ptr<IPayload>& payload) = 0;
};

/// Keeps the stages by the name of the stream that they serve. After Initialize any thread may call it.
class CORVANE_API IStreamProcessorManager : public IServiceComponent {
public:
    ~IStreamProcessorManager() override;

    static std::string GetServiceName();  ///< "StreamProcessorManager"

    /// The first stage of that stream; null when there is none.
    virtual std::shared_ptr<IStreamProcessor> GetStreamProcessor(const std::string& stream) = 0;
};

}  // namespace WindowsAgentCommon
