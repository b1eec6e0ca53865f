#pragma once

#include <string>

#include <ace/Time_Value.h>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/IStatistic.h"

namespace WindowsAgentCommon {

/// A named value with a description and two times (system time, since 1970, UTC; up to the year 2038): when
/// it was collected, which is when the value last changed, and when it was published, zero for never.
///
/// Texts are UTF-8. Thread rule: one thread at a time; the owner of a set of statistics locks. Nothing
/// blocks; everything throws only std::bad_alloc.
class CORVANE_API SimpleStatistic : public IStatistic {
public:
    SimpleStatistic();  ///< Empty texts, type 0 with an empty std::string, both times zero.

    /// As Initialize.
    SimpleStatistic(const std::string& name, const std::string& description, const StatisticValue& value);
    SimpleStatistic(const SimpleStatistic& other);             ///< Copies everything, the times included.
    SimpleStatistic& operator=(const SimpleStatistic& other);  ///< Copies everything, the times included.
    ~SimpleStatistic() override;

    std::string GetName() override;
    std::string GetDescription() override;
    const StatisticValue& GetValue() const override;  ///< Valid as long as the object; changed by SetValue.

    /// Stores a value that differs from the present one in its type tag, in its alternative (a signed 5 is no
    /// unsigned 5) or in its contents, and calls SetCollectedTimestamp with the present time. Contents are
    /// compared by ==, so that a not-a-number always differs. Returns whether it differed.
    bool SetValue(const StatisticValue& value) override;

    ACE_Time_Value GetPublishedTimestamp() override;
    void SetPublishedTimestamp(const ACE_Time_Value& time) override;
    ACE_Time_Value GetCollectedTimestamp() override;
    void SetCollectedTimestamp(const ACE_Time_Value& time) override;

    /// Stores the three; collected now, never published. Calls both setters of times.
    void Initialize(const std::string& name, const std::string& description,
                    const StatisticValue& value) override;

    bool operator<(const SimpleStatistic& other) const;  ///< By name, byte by byte.

private:
    std::string name_;
    std::string description_;
    StatisticValue value_;
    ACE_Time_Value published_;
    ACE_Time_Value collected_;
};

}  // namespace WindowsAgentCommon
