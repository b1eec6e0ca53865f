#include "WindowsAgentCommon/CV_Stat.h"

namespace WindowsAgentCommon {

CV_Stat::CV_Stat(const std::string& name, const char* type)
    : type_(type != nullptr ? type : ""), name_(name) {}

void CV_Stat::OnMinute() {}

std::string CV_Stat::Report(bool) { return std::string(); }

}  // namespace WindowsAgentCommon
