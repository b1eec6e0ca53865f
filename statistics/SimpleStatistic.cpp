#include "WindowsAgentCommon/SimpleStatistic.h"

#include "foundation/Clock.h"
#include "queues/AceTime.h"

namespace WindowsAgentCommon {
namespace {

ACE_Time_Value Now() { return detail::AceTime(detail::SystemTicks() - detail::kTicksTo1970); }

}  // namespace

SimpleStatistic::SimpleStatistic() = default;

SimpleStatistic::SimpleStatistic(const std::string& name, const std::string& description,
                                 const StatisticValue& value)
    : name_(name), description_(description), value_(value), collected_(Now()) {}

SimpleStatistic::SimpleStatistic(const SimpleStatistic& other) = default;
SimpleStatistic& SimpleStatistic::operator=(const SimpleStatistic& other) = default;
SimpleStatistic::~SimpleStatistic() = default;

std::string SimpleStatistic::GetName() { return name_; }
std::string SimpleStatistic::GetDescription() { return description_; }
const StatisticValue& SimpleStatistic::GetValue() const { return value_; }

bool SimpleStatistic::SetValue(const StatisticValue& value) {
    if (value_.GetType() == value.GetType() && value_.GetData() == value.GetData()) return false;
    value_ = value;
    SetCollectedTimestamp(Now());
    return true;
}

ACE_Time_Value SimpleStatistic::GetPublishedTimestamp() { return published_; }
void SimpleStatistic::SetPublishedTimestamp(const ACE_Time_Value& time) { published_ = time; }
ACE_Time_Value SimpleStatistic::GetCollectedTimestamp() { return collected_; }
void SimpleStatistic::SetCollectedTimestamp(const ACE_Time_Value& time) { collected_ = time; }

void SimpleStatistic::Initialize(const std::string& name, const std::string& description,
                                 const StatisticValue& value) {
    name_ = name;
    description_ = description;
    value_ = value;
    SetCollectedTimestamp(Now());
    SetPublishedTimestamp(ACE_Time_Value::zero);
}

bool SimpleStatistic::operator<(const SimpleStatistic& other) const { return name_ < other.name_; }

}  // namespace WindowsAgentCommon
