#include "agent/net/Resolver.h"

#include "WindowsAgentCommon/Formatting.h"
#include "agent/net/Winsock.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/Handle.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

#include <cstring>
#include <iterator>
#include <map>
#include <memory>

#include "agent/sdk/Win32.h"

#include <ws2tcpip.h>

namespace CorvaneAgent {

namespace {

constexpr DWORD kStepMs = 50;

unsigned long lookUp(const std::string& host, const std::string& port, int flags, std::vector<Address>& out) {
    addrinfo hints = {};
    hints.ai_flags = flags;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;  // each address once; the port is the same for all
    addrinfo* list = nullptr;
    const int code = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
    if (code != 0) return static_cast<unsigned long>(code);
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(list, &::freeaddrinfo);
    for (const addrinfo* item = list; item; item = item->ai_next) {
        Address address = {};
        if ((item->ai_family != AF_INET && item->ai_family != AF_INET6) ||
            item->ai_addrlen > sizeof address.bytes)
            continue;
        std::memcpy(address.bytes, item->ai_addr, item->ai_addrlen);
        address.size = static_cast<int>(item->ai_addrlen);
        address.family = item->ai_family;
        out.push_back(address);
    }
    return out.empty() ? WSANO_DATA : 0;
}

// What a look-up's thread and those who wait for it share.
struct LookUp {
    std::string host, port;
    std::shared_ptr<void> winsock = UseWinsock();
    Handle done{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    unsigned long code = 0;
    std::vector<Address> addresses;
};

struct ThreadStart {
    std::shared_ptr<LookUp> lookUp;
    HMODULE module;
};

DWORD WINAPI lookUpThread(void* argument) {
    HMODULE module = nullptr;
    {
        const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
        module = start->module;
        LookUp& work = *start->lookUp;
        try {
            work.code = lookUp(work.host, work.port, 0, work.addresses);
        } catch (...) {
            work.code = ERROR_NOT_ENOUGH_MEMORY;
        }
        ::SetEvent(work.done.get());
    }
    ::FreeLibraryAndExitThread(module, 0);
}

// A thread that may outlive everybody who waits for it, unlike a task's, keeps the module loaded itself.
unsigned long startLookUp(const std::shared_ptr<LookUp>& work) {
    auto start = std::make_unique<ThreadStart>();
    start->lookUp = work;
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                              reinterpret_cast<const wchar_t*>(&lookUpThread), &start->module))
        return ::GetLastError();
    const Handle thread(::CreateThread(nullptr, 0, &lookUpThread, start.get(), 0, nullptr));
    if (!thread) {
        const DWORD code = ::GetLastError();
        ::FreeLibrary(start->module);
        return code;
    }
    (void)start.release();  // the thread's now
    return 0;
}

// Who asks for the same while a look-up goes on waits for that one: a name service that does not answer must
// not cost one more thread for each try.
unsigned long joinLookUp(const std::string& host, const std::string& port, std::shared_ptr<LookUp>& out) {
    static ACE_Thread_Mutex lock;
    static std::map<std::string, std::weak_ptr<LookUp>> running;
    const ACE_Guard<ACE_Thread_Mutex> guard(lock);
    for (auto item = running.begin(); item != running.end();)
        item = item->second.expired() ? running.erase(item) : std::next(item);
    std::weak_ptr<LookUp>& entry = running[host + " " + port];
    out = entry.lock();
    if (out && ::WaitForSingleObject(out->done.get(), 0) == WAIT_TIMEOUT) return 0;
    out = std::make_shared<LookUp>();
    if (!out->done) return ERROR_NOT_ENOUGH_MEMORY;
    out->host = host;
    out->port = port;
    const unsigned long code = startLookUp(out);
    if (code == 0) entry = out;
    return code;
}

}  // namespace

unsigned long Resolve(const std::string& host, unsigned short port, unsigned int milliseconds,
                      const Cancelled& cancelled, std::vector<Address>& out) {
    out.clear();
    std::string service;
    WindowsAgentCommon::Format(service, "%u", static_cast<unsigned int>(port));
    if (lookUp(host, service, AI_NUMERICHOST, out) == 0) return 0;

    std::shared_ptr<LookUp> work;
    if (const unsigned long code = joinLookUp(host, service, work)) return code;
    const std::int64_t end = SteadyMilliseconds() + milliseconds;
    while (::WaitForSingleObject(work->done.get(), kStepMs) == WAIT_TIMEOUT) {
        if (cancelled()) return ERROR_CANCELLED;
        if (SteadyMilliseconds() >= end) return WSAETIMEDOUT;
    }
    if (work->code == 0) out = work->addresses;
    return work->code;
}

}  // namespace CorvaneAgent
