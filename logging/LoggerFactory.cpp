#include "WindowsAgentCommon/LoggerFactory.h"
namespace WindowsAgentCommon {
LoggerFactory& GetLoggerFactory();
}
