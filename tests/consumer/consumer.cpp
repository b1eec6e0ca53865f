// Every exported header in one program, and an exception whose type, message and location come from the DLL.

#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/BaseLogger.h"
#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/Levels.h"
#include "CorvaneLogger/LogDst.h"
#include "CorvaneLogger/LogDstCons.h"
#include "CorvaneLogger/LogDstFile.h"
#include "CorvaneLogger/LogMonitorDst.h"
#include "CorvaneLogger/LogNoiseReducer.h"
#include "CorvaneLogger/LogReporterDst.h"
#include "WindowsAgentCommon/AceRuntime.h"
#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/AggregatedStatistics.h"
#include "WindowsAgentCommon/BacklogMonitor.h"
#include "WindowsAgentCommon/CV_Stat.h"
#include "WindowsAgentCommon/CV_Statistics.h"
#include "WindowsAgentCommon/CV_Trans.h"
#include "WindowsAgentCommon/CommandLine.h"
#include "WindowsAgentCommon/DualChannelSerializer.h"
#include "WindowsAgentCommon/EPSCollector.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IConfigurationManager.h"
#include "WindowsAgentCommon/IConnectionFactory.h"
#include "WindowsAgentCommon/IDestination.h"
#include "WindowsAgentCommon/IDeviceService.h"
#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/ILogMonitor.h"
#include "WindowsAgentCommon/IPayload.h"
#include "WindowsAgentCommon/IPayloadBuilder.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/IPayloadMapping.h"
#include "WindowsAgentCommon/IPayloadProfile.h"
#include "WindowsAgentCommon/IPayloadRouter.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/IPublishingProfile.h"
#include "WindowsAgentCommon/IRegistryCache.h"
#include "WindowsAgentCommon/ISecurityManager.h"
#include "WindowsAgentCommon/ISender.h"
#include "WindowsAgentCommon/ISerializer.h"
#include "WindowsAgentCommon/IServiceComponent.h"
#include "WindowsAgentCommon/ISocket.h"
#include "WindowsAgentCommon/IStatistic.h"
#include "WindowsAgentCommon/IStreamProcessor.h"
#include "WindowsAgentCommon/IUNCMachineNameFactory.h"
#include "WindowsAgentCommon/InstanceStatisticsSet.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/KORMessageQueue.h"
#include "WindowsAgentCommon/KORTask.h"
#include "WindowsAgentCommon/LinearRegressionAlgo.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "WindowsAgentCommon/MemoryBufferSerializer.h"
#include "WindowsAgentCommon/MessageBlocks.h"
#include "WindowsAgentCommon/PathText.h"
#include "WindowsAgentCommon/PayloadProfile.h"
#include "WindowsAgentCommon/PerformanceTimer.h"
#include "WindowsAgentCommon/PublishingProfileBase.h"
#include "WindowsAgentCommon/RandomInteger.h"
#include "WindowsAgentCommon/RateBasedStatisticsPublisher.h"
#include "WindowsAgentCommon/RawMessageFile.h"
#include "WindowsAgentCommon/Scheduler.h"
#include "WindowsAgentCommon/ServiceComponentBase.h"
#include "WindowsAgentCommon/ServiceConfig.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/SimpleEPS.h"
#include "WindowsAgentCommon/SimpleStatistic.h"
#include "WindowsAgentCommon/StatisticValue.h"
#include "WindowsAgentCommon/StreamRoutingResult.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "WindowsAgentCommon/TOLVEventInformation.h"
#include "WindowsAgentCommon/TestLogMonitor.h"
#include "WindowsAgentCommon/Text.h"
#include "WindowsAgentCommon/URIParser.h"
#include "WindowsAgentCommon/Win32Exception.h"

#include <cstdio>
#include <string>

using namespace WindowsAgentCommon;

int main() {
    EnsureAceInitialized();
    std::string version;
    GetKORVersionString(version);
    try {
        throw ObjectDoesNotExistException("build\\root\\consumer.cpp", __FUNCTION__, 7, ToUTF8(L"consumer"));
    } catch (const KORException& failure) {
        std::string line;
        std::puts(Format(line, "%s: %s, %s", version.c_str(), failure.what(), failure.GetLocation().c_str()));
    }
}
