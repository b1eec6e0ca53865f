#include "serialization/DiskManager.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PathText.h"
#include "WindowsAgentCommon/ServiceFactories.h"
#include "foundation/Path.h"
#include "services/MakeService.h"

#include <ace/Guard_T.h>

#include <cwchar>
#include <limits>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr std::uint64_t kDefaultCapacity = 1000;  // MiB
constexpr unsigned int kBytesPerMiBShift = 20;

std::wstring DefaultBasePath() { return BinFile(L"DiskManager"); }

// Logs and throws with the same text; the place is the one that the agent's support looks for.
[[noreturn]] void Refuse(Log log, const char* format, const std::wstring& path, unsigned long error) {
    std::string text;
    Format(text, format, ToUTF8(path).c_str());
    log->Error(text);
    ::SetLastError(error);
    throw InitializationException("DiskManager", "WindowsAgentCommon::DiskManager::Initialize", 68, text);
}

// A folder name of its own for every caller: what a name must not hold becomes "%" and four hexadecimal
// digits, and a long name the digest of its bytes.
std::wstring SafeFolderName(const std::wstring& caller) {
    constexpr std::size_t kLongest = 64;
    if (caller.empty()) return L"%";
    std::wstring safe, code;
    for (std::size_t i = 0; i < caller.size(); ++i) {
        const wchar_t unit = caller[i];
        const bool isReserved = unit < L' ' || std::wcschr(L"<>:\"/\\|?*%", unit) != nullptr;
        const bool isDropped = i + 1 == caller.size() && (unit == L'.' || unit == L' ');
        if (isReserved || isDropped || (i == 0 && detail::NamesDevice(caller)))
            safe += Format(code, L"%%%04X", static_cast<unsigned int>(unit));
        else
            safe += unit;
    }
    if (safe.size() <= kLongest) return safe;
    return L"%" + FromUTF8(SHA256Sum(const_cast<wchar_t*>(caller.data()),
                                     static_cast<unsigned int>(caller.size() * sizeof(wchar_t))));
}

}  // namespace

DiskManager::DiskManager() : log_(CorvaneLogger::CV_Logger::Logger("Code.DiskManager")) {}

InitializeResult DiskManager::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    const EnvironmentBlockHelper helper(settings.Entries());
    bool enabled = true;
    enabled_ = false;
    SetAccount(0, 0);
    std::wstring basePath;
    helper.GetBooleanValue("Enabled", enabled, true);
    if (enabled) {
        std::uint64_t capacity = kDefaultCapacity;
        helper.GetIntegerValue("Capacity", capacity, kDefaultCapacity);
        constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
        capacity = capacity > kMost >> kBytesPerMiBShift ? kMost : capacity << kBytesPerMiBShift;
        helper.GetStringValue("BasePath", basePath, DefaultBasePath());
        PrepareBasePath(basePath);
        SetAccount(capacity, MeasureContent(basePath, capacity));
        enabled_ = capacity != 0;
    }
    if (basePath != basePath_) basePath_ = std::move(basePath);  // else whoever holds the reference keeps it
    SetInitialized(true);
    return InitializeResult::kDone;
}

void DiskManager::PrepareBasePath(std::wstring& basePath) const {
    unsigned long error = CreateDirectoryRecursive(basePath);
    if (error != ERROR_SUCCESS) {
        Refuse(log_, "Directory specified by BasePath (%s) does not exist and cannot be created.", basePath,
               error);
    }
    wchar_t full[MAX_PATH];
    const DWORD length = ::GetFullPathNameW(basePath.c_str(), MAX_PATH, full, nullptr);
    error = length == 0 ? ::GetLastError() : ERROR_FILENAME_EXCED_RANGE;
    if (length == 0 || length >= MAX_PATH) {
        Refuse(log_, "Directory specified by BasePath (%s) has no absolute path of less than 260 characters.",
               basePath, error);
    }
    basePath.assign(full, length);
}

std::uint64_t DiskManager::MeasureContent(const std::wstring& basePath, std::uint64_t capacity) const {
    const std::string path = ToUTF8(basePath);
    LARGE_INTEGER size = {};
    const unsigned long error = GetDirectoryContentSize(basePath, size);
    if (error != ERROR_SUCCESS) {
        log_->Warn("BasePath (%s) cannot be measured as a whole -- %s", path.c_str(),
                   LastError(error).c_str());
    }
    const auto used = static_cast<std::uint64_t>(size.QuadPart);
    const auto shownCapacity = static_cast<std::int64_t>(capacity);
    if (used > capacity) {
        log_->Warn(
            "BasePath (%s) has a current size of %I64d bytes larger than configured capacity of %I64d bytes.",
            path.c_str(), size.QuadPart, shownCapacity);
    } else {
        log_->Debug(
            "BasePath (%s) has a current size of %I64d bytes, with a configured capacity of %I64d bytes.",
            path.c_str(), size.QuadPart, shownCapacity);
    }
    return used;
}

void DiskManager::SetAccount(std::uint64_t capacity, std::uint64_t used) {
    const ACE_Guard<ACE_Thread_Mutex> guard(lock_);
    capacity_ = capacity;
    used_ = used;
}

void DiskManager::GetStatus(EnvironmentBlock& status) const {
    const ACE_Guard<ACE_Thread_Mutex> guard(lock_);
    status.SetBooleanValue("Enabled", enabled_);
    status.SetIntegerValue("CapacityBytes", capacity_);
    status.SetIntegerValue("UsedBytes", used_);
}

void DiskManager::Shutdown() {
    if (!IsInitialized()) return;
    log_->Info("Disk manager engine shutting down...");
    SetInitialized(false);
    log_->Info("Disk manager shut down.");
}

bool DiskManager::ReserveSpace(unsigned int, std::uint64_t bytes) {
    if (!enabled_.load(std::memory_order_acquire)) return true;
    const ACE_Guard<ACE_Thread_Mutex> guard(lock_);
    if (bytes > capacity_ || used_ > capacity_ - bytes) return false;
    used_ += bytes;
    return true;
}

void DiskManager::ReleaseSpace(unsigned int, std::uint64_t bytes) {
    if (!enabled_.load(std::memory_order_acquire)) return;
    const ACE_Guard<ACE_Thread_Mutex> guard(lock_);
    used_ = bytes < used_ ? used_ - bytes : 0;
}

const std::wstring& DiskManager::GetBasePath() const { return basePath_; }

std::wstring IDiskManager::GetTemporaryDirectory(const std::wstring& caller) {
    const auto* const manager = dynamic_cast<IDiskManager*>(_getService(GetServiceName()));
    const bool hasBasePath = manager != nullptr && !manager->GetBasePath().empty();
    const std::wstring base = hasBasePath ? manager->GetBasePath() : DefaultBasePath();
    return NormalizePath(base, true) + L"Temp\\" + SafeFolderName(caller) + L"\\";
}

ACE_Service_Object* _make_DiskManager(ACE_Service_Object_Exterminator* exterminator) {
    return detail::MakeService<DiskManager>(exterminator);
}

}  // namespace WindowsAgentCommon
