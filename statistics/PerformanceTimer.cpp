#include "WindowsAgentCommon/PerformanceTimer.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {
namespace {

std::int64_t Counter() {
    LARGE_INTEGER count;
    ::QueryPerformanceCounter(&count);  // never fails on XP and later
    return count.QuadPart;
}

std::int64_t Frequency() {
    LARGE_INTEGER perSecond;
    return ::QueryPerformanceFrequency(&perSecond) ? perSecond.QuadPart : 1;
}

}  // namespace

PerformanceTimer::PerformanceTimer() : frequency_(Frequency()), start_(0), end_(0) {}

void PerformanceTimer::Start() { start_ = Counter(); }

void PerformanceTimer::End() { end_ = Counter(); }

double PerformanceTimer::Current() const {
    return static_cast<double>(Counter() - start_) / static_cast<double>(frequency_);
}

double PerformanceTimer::Final() const {
    return static_cast<double>(end_ - start_) / static_cast<double>(frequency_);
}

}  // namespace WindowsAgentCommon
