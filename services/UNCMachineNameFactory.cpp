#include "services/UNCMachineNameFactory.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "foundation/Clock.h"
#include "services/MakeService.h"
#include "services/NameSystem.h"

#include <ace/Guard_T.h>

#include <algorithm>
#include <vector>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {
namespace {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

constexpr std::int64_t kReadingInterval = 10 * detail::kTicksPerSecond;
constexpr std::size_t kFirstDrop = 64;

CorvaneLogger::ALogger& logger() { return CorvaneLogger::CV_Logger::Logger("Code.UNCMachineNameFactory"); }

std::wstring LowerCase(std::wstring text) {
    ::CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

}  // namespace

UNCMachineNameFactory::UNCMachineNameFactory() : dropAt_(kFirstDrop), nextReading_(0) {}

UNCMachineNameFactory::~UNCMachineNameFactory() = default;

InitializeResult UNCMachineNameFactory::Initialize(const EnvironmentBlock&) {
    if (IsInitialized()) return InitializeResult::kDone;
    {
        const Guard guard(lock_);
        nextReading_ = 0;
    }
    refreshLocalHosts();
    SetInitialized(true);
    return InitializeResult::kDone;
}

void UNCMachineNameFactory::GetStatus(EnvironmentBlock& status) const {
    const Guard guard(lock_);
    status.SetIntegerValue("MachineNames", names_.size());
    status.SetIntegerValue("LocalHosts", localHosts_.size());
}

void UNCMachineNameFactory::Shutdown() {
    SetInitialized(false);
    const Guard guard(lock_);
    names_.clear();
    dropAt_ = kFirstDrop;
}

void UNCMachineNameFactory::GetUNCMachineName(const std::string& name, std::shared_ptr<UNCMachineName>& out) {
    struct Made : UNCMachineName {
        explicit Made(const std::string& configured) : UNCMachineName(configured) {}
    };
    if (!IsInitialized())
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                      "The machine-name factory is not initialised");
    refreshLocalHosts();
    const std::shared_ptr<UNCMachineName> made = std::make_shared<Made>(name);
    const std::wstring key = LowerCase(made->originalNameW_);
    const Guard guard(lock_);
    made->isRemote_ = !isLocalLocked(key, made->isAddress_);
    std::weak_ptr<UNCMachineName>& known = names_[key];
    out = known.lock();
    // An object keeps its flag: a name that has come to stand for another machine gets a new object.
    if (out && out->isRemote_ == made->isRemote_) return;
    known = made;
    out = made;
    dropExpiredLocked();
}

// One thread reads at a time; others go on with what was read before.
void UNCMachineNameFactory::refreshLocalHosts() {
    {
        const Guard guard(lock_);
        const std::int64_t now = detail::SteadyTicks();
        if (now < nextReading_) return;
        nextReading_ = now + kReadingInterval;
    }
    std::vector<std::wstring> hosts;
    const unsigned long error = detail::CurrentNameSystem().LocalHosts(hosts);
    if (error != 0) {
        std::string text;
        GetLastErrorText(error, text);
        logger().Debug("The addresses of this machine cannot be read -- %s", text.c_str());
    }
    std::set<std::wstring> lowerCase;
    for (const std::wstring& host : hosts) lowerCase.insert(LowerCase(host));
    const Guard guard(lock_);
    if (error == 0 || localHosts_.empty()) localHosts_.swap(lowerCase);
}

bool UNCMachineNameFactory::isLocalLocked(const std::wstring& lowerCaseName, bool isAddress) const {
    const std::size_t start = std::min(lowerCaseName.find_first_not_of(L'\\'), lowerCaseName.size());
    const std::wstring host = lowerCaseName.substr(start);
    if (host.empty() || host == L"." || host == L"localhost") return true;
    return (isAddress && host.compare(0, 4, L"127.") == 0) || localHosts_.count(host) != 0;
}

// Now and then, so that its cost stays in proportion to the objects that are made: at most as many entries
// have expired as are in use, or kFirstDrop.
void UNCMachineNameFactory::dropExpiredLocked() {
    if (names_.size() < dropAt_) return;
    for (auto at = names_.begin(); at != names_.end();) at = at->second.expired() ? names_.erase(at) : ++at;
    dropAt_ = std::max(kFirstDrop, names_.size() * 2);
}

ACE_Service_Object* _make_UNCMachineNameFactory(ACE_Service_Object_Exterminator* exterminator) {
    return detail::MakeService<UNCMachineNameFactory>(exterminator);
}

}  // namespace WindowsAgentCommon
