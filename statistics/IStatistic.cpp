#include "WindowsAgentCommon/IStatistic.h"

namespace WindowsAgentCommon {

IStatistic::~IStatistic() = default;
IStatisticsVisitor::~IStatisticsVisitor() = default;
IStatisticsSource::~IStatisticsSource() = default;
IStatisticsParticipant::~IStatisticsParticipant() = default;
IStatisticsPublisher::~IStatisticsPublisher() = default;
IStatisticsSubscriber::~IStatisticsSubscriber() = default;
IStatisticStreamerSink::~IStatisticStreamerSink() = default;
IStatisticsServer::~IStatisticsServer() = default;

std::string IStatisticsServer::GetServiceName() { return "StatisticsServer"; }

}  // namespace WindowsAgentCommon
