#include "WindowsAgentCommon/AggregatedStatistics.h"

#include "foundation/Clock.h"
#include "queues/AceTime.h"

#include <cmath>
#include <iterator>
#include <limits>
#include <optional>

namespace WindowsAgentCommon {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Deliberately these eight decimals, not 180 divided by pi.
constexpr double kDegreesPerRadian = 57.29577951;

/// What a value is as a number, if its tag says that it is one and its data agree.
std::optional<double> Number(const StatisticValue& value) {
    const StatisticValue::Variant data = value.GetData();
    // Deliberate: tags that differ in bits 8 to 15 only are alike.
    switch (value.GetType() & ~std::int64_t{0xFF00}) {
        case 5:
        case 6:
        case 7:
            if (const auto* number = boost::get<std::int64_t>(&data)) return static_cast<double>(*number);
            return std::nullopt;
        case 8:
        case 9: {
            const auto* number = boost::get<double>(&data);
            // Positive infinity only: not-a-number passes, deliberately.
            if (number == nullptr || *number == kInfinity) return std::nullopt;
            return *number;
        }
        case 10:
            if (const auto* time = boost::get<ACE_Time_Value>(&data)) {
                const std::int64_t milliseconds = std::int64_t{time->sec()} * 1000 + time->usec() / 1000;
                return static_cast<double>(milliseconds);
            }
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

/// Seconds since 1970, with microseconds. Steady, so that a clock that is set does not bend the trend.
double Now() {
    const std::int64_t ticks = detail::SteadyTicks() - detail::kTicksTo1970;
    const std::int64_t seconds = ticks / detail::kTicksPerSecond;
    const std::int64_t microseconds = ticks % detail::kTicksPerSecond / detail::kTicksPerMicrosecond;
    return static_cast<double>(seconds) + static_cast<double>(microseconds) / 1000000.0;
}

}  // namespace

AggregatedStatistics::AggregatedStatistics(const std::string& name, unsigned int windowSize)
    : name_(name),
      regression_(windowSize),
      numberOfSamples_(0),
      current_(1, std::string()),
      minimum_(kInfinity),
      maximum_(kInfinity),
      average_(kInfinity),
      rollingAverage_(kInfinity),
      total_(0),
      trend_(kTrendUnknown),
      slope_(kInfinity),
      intercept_(kInfinity) {}

AggregatedStatistics::AggregatedStatistics(const AggregatedStatistics& other) = default;
AggregatedStatistics& AggregatedStatistics::operator=(const AggregatedStatistics& other) = default;
AggregatedStatistics::~AggregatedStatistics() = default;

bool AggregatedStatistics::Update(const StatisticValue& value) {
    const std::optional<double> number = Number(value);
    if (number) Update(*number);
    current_ = value;
    return number.has_value();
}

void AggregatedStatistics::Update(double value) {
    total_ += value;
    regression_.AddSample(Now(), value);
    if (numberOfSamples_ == 0) {
        minimum_ = maximum_ = average_ = rollingAverage_ = value;
    } else {
        if (value < minimum_) minimum_ = value;
        if (value > maximum_) maximum_ = value;
        average_ = total_ / (static_cast<double>(numberOfSamples_) + 1);
        rollingAverage_ = regression_.GetYRollingAverage();
        if (regression_.GetSampleCount() > 2) {
            const auto [slope, intercept] = regression_.Compute();
            slope_ = slope;
            intercept_ = intercept;
            trend_ = ConvertSlopeToTrend(std::atan(slope) * kDegreesPerRadian);
        }
    }
    ++numberOfSamples_;
}

void AggregatedStatistics::Repeat() { Update(current_); }

StatisticValue AggregatedStatistics::GetCurrent() const { return current_; }
double AggregatedStatistics::GetTotal() const { return total_; }
double AggregatedStatistics::GetMinimum() const { return minimum_; }
double AggregatedStatistics::GetMaximum() const { return maximum_; }
double AggregatedStatistics::GetAverage() const { return average_; }
double AggregatedStatistics::GetRollingAverage() const { return rollingAverage_; }
std::uint32_t AggregatedStatistics::GetNumberOfSamples() const { return numberOfSamples_; }
TrendingTendency_t AggregatedStatistics::GetTrending() const { return trend_; }

std::pair<double, double> AggregatedStatistics::GetTrendRegressionLine() const {
    return {slope_, intercept_};
}

TrendingTendency_t AggregatedStatistics::ConvertSlopeToTrend(double angle) {
    if (angle >= -90 && angle < -45) return kTrendDownSteep;
    if (angle >= -45 && angle < -10) return kTrendDown;
    if (angle >= -10 && angle < -1) return kTrendDownSlight;
    if (angle >= -1 && angle <= 1) return kTrendEven;
    if (angle > 1 && angle <= 10) return kTrendUpwardsSlight;
    if (angle > 10 && angle <= 45) return kTrendUpwards;
    return kTrendUpwardsSteep;  // also what is no angle: deliberate
}

void AggregatedStatistics::TrendToText(TrendingTendency_t trend, std::string& out) {
    static constexpr const char* kTexts[] = {
        "N/A",  "Downwards - Steep", "Downwards", "Downwards - Slight",
        "Even", "Upwards - Slight",  "Upwards",   "Upwards - Steep",
    };
    const auto index = static_cast<unsigned int>(trend);
    out = index < std::size(kTexts) ? kTexts[index] : "";
}

}  // namespace WindowsAgentCommon
