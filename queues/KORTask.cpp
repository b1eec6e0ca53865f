#include "WindowsAgentCommon/KORTask.h"

#include "WindowsAgentCommon/AceRuntime.h"

namespace WindowsAgentCommon {

KORTask::KORTask() : ACE_Task<ACE_MT_SYNCH>(nullptr, nullptr) { EnsureAceInitialized(); }

KORTask::~KORTask() = default;

}  // namespace WindowsAgentCommon
