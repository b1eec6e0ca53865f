#include "services/NameSystem.h"

#include "WindowsAgentCommon/Encoding.h"
#include "foundation/Win32Handle.h"

#include <atomic>

#include "foundation/Win32.h"
#include <winsock2.h>

#include <iphlpapi.h>
#include <windns.h>

namespace WindowsAgentCommon::detail {
namespace {

struct RecordListTraits {
    using Value = DNS_RECORDA*;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value list) noexcept { ::DnsFree(list, DnsFreeRecordList); }
};

/// Winsock for as long as the object lives; a count of the process's, cheap where others use it already.
class Winsock {
public:
    Winsock() noexcept : error_(::WSAStartup(MAKEWORD(2, 2), &data_)) {}
    Winsock(const Winsock&) = delete;
    Winsock& operator=(const Winsock&) = delete;
    ~Winsock() {
        if (error_ == 0) ::WSACleanup();
    }
    unsigned long Error() const noexcept { return static_cast<unsigned long>(error_); }

private:
    WSADATA data_ = {};
    int error_;
};

void AddLocalNames(std::vector<std::wstring>& hosts) {
    for (const auto format : {ComputerNameNetBIOS, ComputerNameDnsHostname, ComputerNameDnsFullyQualified}) {
        wchar_t name[1024];  // DNS names have at most 255 characters
        DWORD length = ARRAYSIZE(name);
        if (::GetComputerNameExW(format, name, &length)) hosts.emplace_back(name, length);
    }
}

/// table: bytes that hold a MIB_IPADDRTABLE after success.
unsigned long ReadAddressTable(std::vector<char>& table) {
    ULONG size = 0;
    DWORD error = ERROR_INSUFFICIENT_BUFFER;
    // Again while addresses are added between the call that tells the size and the one that fills.
    for (int attempts = 0; error == ERROR_INSUFFICIENT_BUFFER && attempts < 5; ++attempts) {
        table.resize(size);
        error = ::GetIpAddrTable(reinterpret_cast<MIB_IPADDRTABLE*>(table.data()), &size, FALSE);
    }
    return error;
}

class WindowsNameSystem : public NameSystem {
public:
    unsigned long QueryHost(const std::string& host, unsigned long options,
                            std::vector<std::uint32_t>& addresses) override {
        DNS_RECORDA* list = nullptr;
        const DNS_STATUS status = ::DnsQuery_A(host.c_str(), DNS_TYPE_A, options, nullptr, &list, nullptr);
        const UniqueHandle<RecordListTraits> owner(list);
        if (status != ERROR_SUCCESS) return static_cast<unsigned long>(status);
        // An alias comes before its addresses, in a record of its own that holds a pointer instead of one.
        for (const DNS_RECORDA* record = list; record; record = record->pNext)
            if (record->wType == DNS_TYPE_A) addresses.push_back(record->Data.A.IpAddress);
        return ERROR_SUCCESS;
    }

    unsigned long AddressText(std::uint32_t address, std::string& text) override {
        const Winsock winsock;
        if (winsock.Error() != 0) return winsock.Error();
        sockaddr_in from = {};
        from.sin_family = AF_INET;
        from.sin_addr.s_addr = address;
        char buffer[255];
        DWORD length = sizeof buffer;
        if (::WSAAddressToStringA(reinterpret_cast<sockaddr*>(&from), sizeof from, nullptr, buffer,
                                  &length) != 0)
            return static_cast<unsigned long>(::WSAGetLastError());
        text = buffer;
        return ERROR_SUCCESS;
    }

    unsigned long LocalHosts(std::vector<std::wstring>& hosts) override {
        AddLocalNames(hosts);
        const Winsock winsock;  // once for all addresses
        std::vector<char> bytes;
        unsigned long error = ReadAddressTable(bytes);
        if (error != ERROR_SUCCESS) return error;
        const auto* const table = reinterpret_cast<const MIB_IPADDRTABLE*>(bytes.data());
        for (DWORD i = 0; i < table->dwNumEntries; ++i) {
            std::string text;
            const unsigned long failed = AddressText(table->table[i].dwAddr, text);
            if (failed == ERROR_SUCCESS)
                hosts.push_back(FromUTF8(text));
            else
                error = failed;
        }
        return error;
    }
};

std::atomic<NameSystem*> replacement{nullptr};

}  // namespace

NameSystem& CurrentNameSystem() noexcept {
    static WindowsNameSystem windows;
    NameSystem* const system = replacement;
    return system ? *system : windows;
}

void ReplaceNameSystem(NameSystem* system) noexcept { replacement = system; }

}  // namespace WindowsAgentCommon::detail
