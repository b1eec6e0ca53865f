#pragma once

#include <cstdint>
#include <string>

#include <ace/Time_Value.h>
#include <boost/variant.hpp>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// A statistic's value: a type tag, which says to its publisher and readers what the value is, and the value
/// itself. Tags are compared and carried, nothing more; AggregatedStatistics says which it takes as numbers.
///
/// A plain value: copied as a whole, no thread rule of its own. Copying throws only std::bad_alloc.
class CORVANE_API StatisticValue {
public:
    /// Texts are UTF-8 and UTF-16. Give texts as std::string or std::wstring: a literal would become a bool.
    /// Give numbers in their exact type: another one does not compile, or is another alternative.
    using Variant =
        boost::variant<std::string, std::wstring, std::int64_t, double, bool, ACE_Time_Value, unsigned int>;

    StatisticValue(const std::int64_t& type, const Variant& data);
    StatisticValue(const StatisticValue& other);
    StatisticValue& operator=(const StatisticValue& other);
    virtual ~StatisticValue();

    std::int64_t GetType() const;  ///< The type tag.
    Variant GetData() const;       ///< A copy of the value.

private:
    friend class SimpleStatistic;
    StatisticValue();  ///< Type 0, an empty std::string.

    std::int64_t type_;
    Variant data_;
};

}  // namespace WindowsAgentCommon
