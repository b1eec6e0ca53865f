#include "WindowsAgentCommon/KORMessageQueue.h"

namespace WindowsAgentCommon {
namespace {

constexpr std::size_t kMark = 16384;  // bytes

}  // namespace

KORMessageQueue::KORMessageQueue() : ACE_Message_Queue<ACE_MT_SYNCH>(kMark, kMark, nullptr) {}

KORMessageQueue::~KORMessageQueue() = default;

}  // namespace WindowsAgentCommon
