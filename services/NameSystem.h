#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace WindowsAgentCommon::detail {

/// What machine names ask of the system. Tests put one of their own in its place. Thread-safe. Functions
/// throw only std::bad_alloc; those that give a code give the Windows error code, 0 = success.
class NameSystem {
public:
    virtual ~NameSystem() = default;

    /// Asks DNS for the addresses of host, taken byte for byte as the system's narrow text.
    /// options: those of DnsQuery. addresses: gets the IPv4 addresses in the answer's order, in network byte
    /// order. Blocks until the resolver has answered or given up.
    virtual unsigned long QueryHost(const std::string& host, unsigned long options,
                                    std::vector<std::uint32_t>& addresses) = 0;

    /// Gives an address, in network byte order, as "10.1.2.3"; text is unchanged on failure.
    virtual unsigned long AddressText(std::uint32_t address, std::string& text) = 0;

    /// Adds this machine's NetBIOS name, its DNS host name, the fully qualified one, and the texts of its
    /// IPv4 addresses. On failure the addresses are not complete.
    virtual unsigned long LocalHosts(std::vector<std::wstring>& hosts) = 0;
};

NameSystem& CurrentNameSystem() noexcept;

/// Makes every later call use system, which must outlive its use; null means Windows again.
void ReplaceNameSystem(NameSystem* system) noexcept;

}  // namespace WindowsAgentCommon::detail
