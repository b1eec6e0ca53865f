#include "WindowsAgentCommon/SimpleEPS.h"

#include "WindowsAgentCommon/CV_Statistics.h"
#include "foundation/Clock.h"
#include "statistics/Transaction.h"

namespace WindowsAgentCommon {
namespace {

constexpr int kMinutes = 60, kHours = 24, kDays = 30;
constexpr char kType[] = "SimpleEPS";
constexpr char kCoarser[] = " ==>> ";

// What one costs, but for a long name. An allocation of the heap has at most 16 bytes of its own.
constexpr std::size_t kSlotBytes = sizeof(double) + sizeof(unsigned long);
static_assert(sizeof(SimpleEPS) + (kMinutes + kHours + kDays) * kSlotBytes + 7 * 16 <= 2048,
              "agents have thousands of channels");

}  // namespace

SimpleEPS::SimpleEPS(const std::string& name)
    : CV_Stat(name, kType),
      minutes_("Minutes", kMinutes),
      hours_("Hours", kHours),
      days_("Days", kDays),
      events_(0),
      peakEvents_(0),
      peak_(0.0),
      peakTime_(detail::SteadyTicks() / detail::kTicksPerSecond) {}

void SimpleEPS::Add(unsigned long events) noexcept {
    const std::int64_t now = detail::SteadyTicks();  // before the lock, to hold it for less
    const detail::Transaction transaction(*this);
    events_ += events;
    peakEvents_ += events;
    MaxEPSAt(now);
}

void SimpleEPS::maxEPS() noexcept { MaxEPSAt(detail::SteadyTicks()); }

void SimpleEPS::MaxEPSAt(std::int64_t now) noexcept {
    // Multiplied, since this machine's 64-bit division costs more than the rest of the function. Below 0 when
    // another thread has measured since now was taken.
    const std::int64_t passed = now - peakTime_ * detail::kTicksPerSecond;
    if (passed < detail::kTicksPerSecond) return;
    const std::int64_t seconds = passed / detail::kTicksPerSecond;
    const double rate = static_cast<double>(peakEvents_) / static_cast<double>(seconds);
    if (rate > peak_) peak_ = rate;
    peakEvents_ = 0;
    peakTime_ += seconds;
}

void SimpleEPS::OnMinute() {
    const detail::Transaction transaction(*this);
    maxEPS();
    const double average = events_ / 60.0;
    const bool little = events_ != 0 && peak_ < 1.0;
    // Through memory, which rounds: some threads add more precisely, and a peak of 9.95 would stay below 10.
    const volatile double raised = peak_ + 0.05;
    const unsigned long maximum = little ? 1 : static_cast<unsigned long>(raised);
    if (minutes_.push(average, maximum) && hours_.push(minutes_)) days_.push(hours_);
    events_ = 0;
    peakEvents_ = 0;
    peak_ = 0.0;
}

std::string SimpleEPS::Report(bool withMinuteMaxima) {
    const bool withDays = !days_.isEmpty(), withHours = withDays || !hours_.isEmpty();
    std::string text = minutes_.report(withHours, withMinuteMaxima);
    if (withHours) text += kCoarser + hours_.report(withDays, true);
    if (withDays) text += kCoarser + days_.report(false, true);
    return text;
}

std::shared_ptr<SimpleEPS> Reg_SimpleEPS(const std::string& name) {
    return std::dynamic_pointer_cast<SimpleEPS>(CV_Statistics::TheStats().Register(name, kType));
}

}  // namespace WindowsAgentCommon
