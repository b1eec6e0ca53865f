#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/LinearRegressionAlgo.h"
#include "WindowsAgentCommon/StatisticValue.h"

namespace WindowsAgentCommon {

/// Where a series is heading, by the angle of the line through it: value per second, in degrees.
enum TrendingTendency_t : int {
    kTrendUnknown = 0,        ///< "N/A": not computed yet
    kTrendDownSteep = 1,      ///< "Downwards - Steep": -90 up to but not including -45
    kTrendDown = 2,           ///< "Downwards": -45 up to but not including -10
    kTrendDownSlight = 3,     ///< "Downwards - Slight": -10 up to but not including -1
    kTrendEven = 4,           ///< "Even": -1 to 1
    kTrendUpwardsSlight = 5,  ///< "Upwards - Slight": above 1, up to 10
    kTrendUpwards = 6,        ///< "Upwards": above 10, up to 45
    kTrendUpwardsSteep = 7,   ///< "Upwards - Steep": above 45, and whatever is no angle of the above
};

/// One numeric series over time: its current value, its extremes and averages, and its trend.
///
/// Samples are as far apart in x as steady time is in seconds: x is the system's time since 1970 as long as
/// nobody sets the clock, and setting it bends no trend.
///
/// Texts are UTF-8. Thread rule: one thread at a time. Nothing blocks; std::bad_alloc is all that is thrown
/// (by the constructor also std::length_error for a window beyond memory).
class CORVANE_API AggregatedStatistics {
public:
    /// windowSize: how many samples the rolling average and the trend look back on, 16 bytes each. With 0 or
    /// 1 nothing is ever fitted, and the rolling average is 0 from the second sample on.
    AggregatedStatistics(const std::string& name, unsigned int windowSize);
    AggregatedStatistics(const AggregatedStatistics& other);             ///< Copies everything.
    AggregatedStatistics& operator=(const AggregatedStatistics& other);  ///< Copies everything.
    virtual ~AggregatedStatistics();

    /// Makes value the current one, and takes it in as a number if its type tag, bits 8 to 15 of it not
    /// looked at, says so and its data are what the tag says:
    /// - 5, 6, 7: a std::int64_t;
    /// - 8, 9: a double; positive infinity is no number here, not-a-number and negative infinity are;
    /// - 10: an ACE_Time_Value, as whole milliseconds.
    /// Returns whether it was taken in; any other value changes nothing but the current value.
    bool Update(const StatisticValue& value);

    /// Takes the current value in once more: what a period without a new value counts as.
    void Repeat();

    StatisticValue GetCurrent() const;         ///< At first type tag 1 and an empty std::string.
    double GetTotal() const;                   ///< Of all samples; at first 0.
    double GetMinimum() const;                 ///< Of all samples; at first positive infinity.
    double GetMaximum() const;                 ///< Of all samples; at first positive infinity.
    double GetAverage() const;                 ///< Of all samples; at first positive infinity.
    double GetRollingAverage() const;          ///< Of the window; at first positive infinity.
    std::uint32_t GetNumberOfSamples() const;  ///< Values taken in.

    /// Slope (per second) and intercept (at 1970) of the window's line, from the third sample on; at first,
    /// and when all samples of the window came at one moment, positive infinity.
    std::pair<double, double> GetTrendRegressionLine() const;
    TrendingTendency_t GetTrending() const;  ///< Of that line.

    /// Replaces out by the tendency's text; by nothing when it is no value of the enumeration.
    static void TrendToText(TrendingTendency_t trend, std::string& out);

private:
    void Update(double value);
    static TrendingTendency_t ConvertSlopeToTrend(double angle);

    std::string name_;
    LinearRegressionAlgo regression_;
    std::uint32_t numberOfSamples_;
    StatisticValue current_;
    double minimum_;
    double maximum_;
    double average_;
    double rollingAverage_;
    double total_;
    TrendingTendency_t trend_;
    double slope_;
    double intercept_;
};

}  // namespace WindowsAgentCommon
