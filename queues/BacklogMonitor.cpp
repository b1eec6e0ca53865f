#include "WindowsAgentCommon/BacklogMonitor.h"

#include "WindowsAgentCommon/Formatting.h"

#include <algorithm>
#include <limits>

namespace WindowsAgentCommon {
namespace {

constexpr std::uint32_t kMinimumSamples = 6;
constexpr std::int16_t kLowDispositionLimit = -7;
constexpr std::int16_t kHighDispositionLimit = 1;

const char* Word(WHAT2DO advice) {
    switch (advice) {
        case kBacklogFallingBehind:
            return "falling behind";
        case kBacklogTooMany:
            return "too many";
        default:
            return "ok";
    }
}

}  // namespace

BacklogMonitor::BacklogMonitor(unsigned int capacity)
    : LinearRegressionAlgo(capacity),
      disposition_(0),
      lastSlope_(0),
      minimumSamples(std::min(kMinimumSamples, capacity)),
      lowDispositionLimit(kLowDispositionLimit),
      highDispositionLimit(kHighDispositionLimit) {}

BacklogMonitor::BacklogMonitor(const BacklogMonitor& other) = default;
BacklogMonitor& BacklogMonitor::operator=(const BacklogMonitor& other) = default;
BacklogMonitor::~BacklogMonitor() = default;

void BacklogMonitor::Clear() {
    LinearRegressionAlgo::Clear();
    disposition_ = 0;
    lastSlope_ = 0;
}

short BacklogMonitor::GetDisposition() const { return disposition_; }

double BacklogMonitor::GetSlope() const { return lastSlope_; }

short BacklogMonitor::UpdateDisposition() {
    using Limits = std::numeric_limits<std::int16_t>;
    lastSlope_ = Compute().first;
    if (lastSlope_ > 0 && disposition_ < Limits::max()) ++disposition_;
    if (lastSlope_ < 0 && disposition_ > Limits::min()) --disposition_;
    return disposition_;
}

WHAT2DO BacklogMonitor::WhatToDo(unsigned int messages, unsigned int threads, Log& log, std::string& text) {
    const unsigned int samples = GetSampleCount();
    if (samples < minimumSamples && messages <= threads * 100) {
        Format(text, "%d threads, %d msgs in the Q, only %d samples, slope %7.3f, disposition %d", threads,
               messages, samples, lastSlope_, disposition_);
        log->Trace("Backlog check: %s", text.c_str());
        return kBacklogOk;
    }
    UpdateDisposition();
    WHAT2DO advice = kBacklogOk;
    if ((disposition_ >= highDispositionLimit && messages > threads * 5) || messages >= threads * 100)
        advice = kBacklogFallingBehind;
    else if (disposition_ <= lowDispositionLimit || messages < threads * 2)
        advice = kBacklogTooMany;
    Format(text, "%d threads, %d msgs in the Q, %d samples, slope %7.3f, disposition %d => %s", threads,
           messages, samples, lastSlope_, disposition_, Word(advice));
    log->Debug("Backlog check: %s", text.c_str());
    Clear();
    return advice;
}

}  // namespace WindowsAgentCommon
