#include "WindowsAgentCommon/UNCMachineName.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "services/NameSystem.h"

#include <ace/Guard_T.h>

#include <cstdint>
#include <vector>

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

constexpr char kPrefix[] = "\\\\";
constexpr unsigned long kWireOnly = 0x100;
constexpr unsigned long kBypassCache = 8;

/// Whether text from at to its end is four groups of one to three digits with dots between them.
bool IsDottedQuad(const std::string& text, std::size_t at) {
    for (int group = 0; group < 4; ++group) {
        if (group > 0 && (at == text.size() || text[at++] != '.')) return false;
        const std::size_t start = at;
        while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
        if (at == start || at - start > 3) return false;
    }
    return at == text.size();
}

std::string WithoutLeadingBackslashes(const std::string& name) {
    const std::size_t start = name.find_first_not_of('\\');
    return start == std::string::npos ? std::string() : name.substr(start);
}

/// Whether either of the two queries succeeded.
bool Query(CorvaneLogger::ALogger& log, const std::string& host, std::vector<std::uint32_t>& addresses) {
    detail::NameSystem& system = detail::CurrentNameSystem();
    if (system.QueryHost(host, kWireOnly, addresses) == 0) return true;
    log.Debug("DnsQuery(wire only) failed converting %s, trying with bypass cache", host.c_str());
    const unsigned long error = system.QueryHost(host, kBypassCache, addresses);
    if (error == 0) return true;
    std::string text;
    GetLastErrorText(error, text);
    log.Debug("DnsQuery failed converting %s -- %s", host.c_str(), text.c_str());
    return false;
}

}  // namespace

UNCMachineName::UNCMachineName() : isAddress_(false), isRemote_(false) {}

UNCMachineName::UNCMachineName(const std::string& name)
    : originalName_(name), isAddress_(false), isRemote_(false) {
    const std::size_t start = name.compare(0, 2, kPrefix) == 0 ? 2 : 0;
    if (IsDottedQuad(name, start)) {
        machineName_ = kPrefix + name.substr(start);
        machineNameW_ = FromUTF8(machineName_);
        isAddress_ = true;
    }
    if (name.size() > 2 && name.front() != '\\') originalName_ = kPrefix + name;
    originalNameW_ = FromUTF8(originalName_);
}

UNCMachineName::~UNCMachineName() = default;

std::string UNCMachineName::GetOriginalMachineName() const { return originalName_; }

std::wstring UNCMachineName::GetOriginalMachineNameW() const { return originalNameW_; }

std::string UNCMachineName::GetMachineName() {
    if (!isResolved()) Refresh();
    const Guard guard(lock_);
    return machineName_.empty() ? originalName_ : machineName_;
}

std::wstring UNCMachineName::GetMachineNameW() {
    if (!isResolved()) Refresh();
    const Guard guard(lock_);
    return machineNameW_.empty() ? originalNameW_ : machineNameW_;
}

bool UNCMachineName::IsRemote() const { return isRemote_; }

void UNCMachineName::ForceRefresh() { Refresh(); }

void UNCMachineName::Clone(std::shared_ptr<UNCMachineName>& out) const {
    struct Copy : UNCMachineName {};  // whose constructor anybody may call
    const std::shared_ptr<UNCMachineName> copy = std::make_shared<Copy>();
    copy->originalName_ = originalName_;
    copy->originalNameW_ = originalNameW_;
    copy->isAddress_ = isAddress_;
    copy->isRemote_ = isRemote_;
    {
        const Guard guard(lock_);
        copy->machineName_ = machineName_;
        copy->machineNameW_ = machineNameW_;
    }
    out = copy;  // which may be the last to let go of this object
}

void UNCMachineName::Refresh() {
    if (isAddress_ || !isRemote_) return;
    CorvaneLogger::ALogger& log = CorvaneLogger::CV_Logger::Logger("Device.UNCMachineName");
    const std::string host = WithoutLeadingBackslashes(originalName_);
    std::vector<std::uint32_t> addresses;
    if (!Query(log, host, addresses)) return;
    for (const std::uint32_t address : addresses) {
        std::string text;
        if (detail::CurrentNameSystem().AddressText(address, text) != 0) {
            log.Debug("WSAAddressToString failed converting %s", host.c_str());
            continue;
        }
        const std::string machineName = kPrefix + text;
        // Deliberate: the name is not emptied first, so that a refresh of a resolved one only logs.
        if (resolve(machineName))
            log.Debug("DNSQuery converted %s to %s", host.c_str(), machineName.c_str());
        else
            log.Debug("DNSQuery also found %s => %s", host.c_str(), machineName.c_str());
    }
}

bool UNCMachineName::isResolved() const {
    const Guard guard(lock_);
    return !machineName_.empty();
}

// Whether this is the first result, which is kept.
bool UNCMachineName::resolve(const std::string& machineName) {
    std::string name = machineName;
    std::wstring nameW = FromUTF8(machineName);
    const Guard guard(lock_);
    if (!machineName_.empty()) return false;
    machineName_.swap(name);
    machineNameW_.swap(nameW);
    return true;
}

}  // namespace WindowsAgentCommon
