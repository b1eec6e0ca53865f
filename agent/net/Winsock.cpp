#include "agent/net/Winsock.h"

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

#include <string>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

struct Winsock {
    Winsock() {
        WSADATA data;
        const int code = ::WSAStartup(MAKEWORD(2, 2), &data);
        if (code == 0) return;
        std::string text;
        WindowsAgentCommon::GetLastErrorText(static_cast<unsigned long>(code), text);
        throw WindowsAgentCommon::SocketException(__FILE__, __FUNCTION__, __LINE__,
                                                  "Windows Sockets: " + text);
    }
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;
    ~Winsock() { ::WSACleanup(); }
};

}  // namespace

std::shared_ptr<void> UseWinsock() {
    static ACE_Thread_Mutex lock;
    static std::weak_ptr<Winsock> current;
    const ACE_Guard<ACE_Thread_Mutex> guard(lock);
    std::shared_ptr<Winsock> winsock = current.lock();
    if (!winsock) current = winsock = std::make_shared<Winsock>();
    return winsock;
}

}  // namespace CorvaneAgent
