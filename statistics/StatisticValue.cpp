#include "WindowsAgentCommon/StatisticValue.h"

namespace WindowsAgentCommon {

StatisticValue::StatisticValue() : type_(0) {}

StatisticValue::StatisticValue(const std::int64_t& type, const Variant& data) : type_(type), data_(data) {}

StatisticValue::StatisticValue(const StatisticValue& other) = default;
StatisticValue& StatisticValue::operator=(const StatisticValue& other) = default;
StatisticValue::~StatisticValue() = default;

std::int64_t StatisticValue::GetType() const { return type_; }

StatisticValue::Variant StatisticValue::GetData() const { return data_; }

}  // namespace WindowsAgentCommon
