#include "agent/road/DestinationManager.h"

#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IConnectionFactory.h"
#include "WindowsAgentCommon/IDiskManager.h"
#include "WindowsAgentCommon/IPayloadFactory.h"
#include "WindowsAgentCommon/IPersistenceManager.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/road/Destination.h"
#include "agent/road/FileSink.h"
#include "agent/road/FolderName.h"
#include "agent/road/SpoolSink.h"
#include "agent/road/Waiting.h"
#include "agent/sdk/Clock.h"
#include "agent/sdk/SettingsReader.h"

#include <algorithm>
#include <exception>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

using namespace WindowsAgentCommon;

constexpr std::uint64_t kMegabyte = 1U << 20;
constexpr std::uint64_t kLeastSpool = 8;          // MiB
constexpr std::uint64_t kUnlimitedSpool = 512;    // MiB, where the disk manager sets no limit
constexpr std::uint64_t kWindow = 8 * kMegabyte;  // what receivers commonly hold unread
constexpr std::int64_t kDrainMs = 1500;
constexpr std::int64_t kStopMs = 2500;  // then the senders have half a second to close
constexpr int kTickMs = 1000;

template <class Service>
Service& require() {
    auto* const service = dynamic_cast<Service*>(_getService(Service::GetServiceName()));
    if (service) return *service;
    throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                  "The destinations need the service " + Service::GetServiceName());
}

Log logOf(const std::string& destination) {
    return GetLoggerFactory().GetLog("Agent.Destination." + destination);
}

std::string lowerCase(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

/// A path that names no drive or share is one in the logs folder.
std::wstring filePath(const std::string& text) {
    const std::wstring path = FromUTF8(text);
    const bool absolute = path.size() > 1 && (path[1] == L':' || path[0] == L'\\' || path[0] == L'/');
    return absolute ? path : GetLogPath() + path;
}

SettingsReader settingsOf(const InstanceConfig& instance) {
    return SettingsReader("destination " + instance.text1, instance.settings);
}

void requireUniqueNames(const std::vector<InstanceConfig>& instances) {
    std::vector<std::string> names, files;
    for (const InstanceConfig& instance : instances) {
        SettingsReader settings = settingsOf(instance);
        const std::string name = lowerCase(instance.text1);
        if (name.empty() || name.size() > 64) settings.Refuse("the name", name, "has not 1 to 64 bytes");
        if (std::count(names.begin(), names.end(), name) > 0)
            settings.Refuse("the name", name, "stands there twice");
        names.push_back(name);
        if (settings.Text("Type", "File") != "File") continue;
        const std::string file = lowerCase(ToUTF8(filePath(settings.Text("Path", "events.log"))));
        if (std::count(files.begin(), files.end(), file) > 0)
            settings.Refuse("Path", file, "is another destination's file");
        files.push_back(file);
    }
}

/// The setting in bytes; 0 without it.
std::uint64_t spoolCapacity(SettingsReader& settings) {
    return settings.Number<std::uint64_t>("SpoolCapacity", 0, kLeastSpool, 1U << 20) * kMegabyte;
}

/// The folder of the spools' folders.
std::wstring spoolsFolder() {
    std::wstring folder = require<IDiskManager>().GetBasePath();
    if (!folder.empty() && folder.back() != L'\\') folder += L'\\';
    return folder + L"spool\\";
}

/// What the spools of former destinations hold. It may never have been sent, so it stays; an operator is
/// told.
std::uint64_t strayBytes(const std::vector<InstanceConfig>& instances, Log log) {
    std::vector<std::wstring> known;
    for (const InstanceConfig& instance : instances)
        if (settingsOf(instance).Text("Type", "File") != "File") known.push_back(FolderName(instance.text1));
    if (known.empty()) return 0;
    const std::wstring folder = spoolsFolder();
    std::uint64_t bytes = 0;
    WIN32_FIND_DATAW entry;
    const HANDLE search = ::FindFirstFileW((folder + L"*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return 0;
    const auto close = [](void* handle) { ::FindClose(handle); };
    const std::unique_ptr<void, decltype(close)> owner(search, close);
    do {
        const std::wstring name = entry.cFileName;
        constexpr DWORD kKind = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        const auto isIt = [&name](const std::wstring& other) {
            return ::_wcsicmp(name.c_str(), other.c_str()) == 0;
        };
        if ((entry.dwFileAttributes & kKind) != FILE_ATTRIBUTE_DIRECTORY || IsDotFolder(name.c_str()) ||
            std::any_of(known.begin(), known.end(), isIt))
            continue;
        LARGE_INTEGER size = {};
        GetDirectoryContentSize(folder + name, size);  // after an error, as much as could be counted
        if (size.QuadPart == 0) continue;
        bytes += static_cast<std::uint64_t>(size.QuadPart);
        log->Warn(
            "The spool %ls belongs to no destination and takes %I64d bytes of room; a network destination of "
            "its former name sends what it holds; to give that up, delete the folder while the agent is off",
            (folder + name).c_str(), size.QuadPart);
    } while (::FindNextFileW(search, &entry));
    return bytes;
}

/// The bytes for each spool without a SpoolCapacity: an equal part of what the others leave. Throws when the
/// spools together would exceed the disk manager's capacity, since one of them could then take another's
/// room. stray, of former destinations: becomes what each of these spools has less for them.
std::uint64_t shareOf(const std::vector<InstanceConfig>& instances, std::uint64_t& stray) {
    std::uint64_t given = 0, others = 0, capacity = 0;
    for (const InstanceConfig& instance : instances) {
        SettingsReader settings = settingsOf(instance);
        if (settings.Text("Type", "File") == "File") continue;
        const std::uint64_t own = spoolCapacity(settings);
        given += own;
        others += own == 0 ? 1 : 0;
    }
    if (given + others == 0) return 0;
    EnvironmentBlock status;
    require<IDiskManager>().GetStatus(status);
    status.GetIntegerValue("CapacityBytes", capacity, 0);
    if (capacity == 0) {
        stray = 0;
        return kUnlimitedSpool * kMegabyte;
    }
    const std::uint64_t needed = given + others * kLeastSpool * kMegabyte;
    std::string text;
    if (needed > capacity)
        throw InitializationException(
            __FILE__, __FUNCTION__, __LINE__,
            Format(
                text,
                "The destinations' spools need %I64u MiB (SpoolCapacity, or at least %I64u for each without "
                "it), but the disk manager's Capacity is %I64u MiB",
                needed / kMegabyte, kLeastSpool, capacity / kMegabyte));
    if (others == 0) return 0;
    stray = std::min(stray, capacity - needed) / others;
    return (capacity - given) / others;
}

/// Makes a spool smaller, and what must fit into it.
void shrink(SpoolSink::Options& options, std::uint64_t bytes) {
    options.spool.capacity -= bytes;
    const std::uint64_t most = options.spool.capacity / 4;
    options.resendWindow = std::min<std::uint64_t>(most, options.resendWindow);
    options.highWaterMark = static_cast<std::size_t>(std::min<std::uint64_t>(most, options.highWaterMark));
    options.lowWaterMark = std::min(options.lowWaterMark, options.highWaterMark - 1);
}

}  // namespace

DestinationManager::DestinationManager()
    : log_(GetLoggerFactory().GetLog("Agent.DestinationManager")), changed_(lock_) {}

DestinationManager::~DestinationManager() { DestinationManager::Shutdown(); }

void DestinationManager::GetDependencies(std::vector<std::string>& services) const {
    services.push_back(IPayloadFactory::GetServiceName());
    for (const InstanceConfig& instance : GetServiceConfig().instances) {
        if (settingsOf(instance).Text("Type", "File") == "File") continue;
        services.push_back(IDiskManager::GetServiceName());
        services.push_back(IPersistenceManager::GetServiceName());
        services.push_back(IConnectionFactory::GetServiceName());
        return;
    }
}

InitializeResult DestinationManager::Initialize(const EnvironmentBlock& settings) {
    if (IsInitialized()) return InitializeResult::kDone;
    SettingsReader("DestinationManager", settings.Entries()).RefuseUnknown();
    const std::vector<InstanceConfig>& instances = GetServiceConfig().instances;
    if (instances.empty())
        throw InitializationException(__FILE__, __FUNCTION__, __LINE__, "There is no destination");
    requireUniqueNames(instances);
    stray_ = strayBytes(instances, log_);
    share_ = shareOf(instances, stray_);
    Destinations made;
    for (const InstanceConfig& instance : instances) add(instance, made);
    {
        const Guard guard(lock_);
        destinations_.swap(made);
        stopping_ = false;
    }
    SetInitialized(true);
    return InitializeResult::kDone;
}

void DestinationManager::add(const InstanceConfig& config, Destinations& destinations) {
    SettingsReader settings = settingsOf(config);
    const std::string type = settings.Choice("Type", "File", {"File", "UDP", "TCP"});
    Destination::Options options;
    options.name = config.text1;
    options.capacity = settings.Number("QueueCapacity", 4000, 256, 1'000'000);
    options.workers = settings.Number("Workers", 2, 1, 16);
    std::unique_ptr<Sink> sink =
        type == "File" ? makeFileSink(config, settings) : makeSpoolSink(config, type, settings);
    destinations.push_back(std::make_shared<Destination>(options, std::move(sink), logOf(config.text1)));
}

std::unique_ptr<Sink> DestinationManager::makeFileSink(const InstanceConfig& config,
                                                       SettingsReader& settings) {
    settings.Choice("FullPolicy", "Block", {"Block"});
    FileSink::Options options;
    options.name = config.text1;
    options.path = filePath(settings.Text("Path", "events.log"));
    options.maxBytes = settings.Number<std::uint64_t>("MaxFileSize", 100, 0, 1U << 20) * kMegabyte;
    options.keep = settings.Number("KeepFiles", 5, 1, 999);
    settings.RefuseUnknown();
    return std::make_unique<FileSink>(options, logOf(config.text1));
}

std::unique_ptr<Sink> DestinationManager::makeSpoolSink(const InstanceConfig& config, const std::string& type,
                                                        SettingsReader& settings) {
    auto& disk = require<IDiskManager>();
    SpoolSink::Options options;
    options.name = config.text1;
    options.dropOldest = settings.Choice("FullPolicy", "Block", {"Block", "DropOldest"}) == "DropOldest";
    options.spool.folder = spoolsFolder() + FolderName(config.text1) + L"\\";
    options.spool.capacity = spoolCapacity(settings);
    if (options.spool.capacity == 0) options.spool.capacity = share_;
    // What is handed over and not confirmed yet stays in the spool: there must be room beside it.
    const std::uint64_t most = options.spool.capacity / 4;
    if (type == "TCP")
        options.resendWindow =
            settings.Number<std::uint64_t>("ResendWindow", std::min(kWindow, most), 0, most);
    options.highWaterMark =
        settings.Number("QueueHighWaterMark", kMegabyte, 1024, std::min<std::uint64_t>(most, 256U << 20));
    options.lowWaterMark =
        settings.Number("QueueLowWaterMark", options.highWaterMark / 2, 0, options.highWaterMark - 1);
    // The limits above are the configuration's alone: what lies on the disk keeps no agent from starting.
    if (spoolCapacity(settings) == 0) shrink(options, stray_);
    options.spool.segmentBytes = std::min<std::uint64_t>(options.spool.capacity / 16, 4 * kMegabyte);
    settings.Know({"TargetAddress", "TargetPort", "Framing", "MaxPayloadSize", "ConnectTimeout", "BackoffMin",
                   "BackoffMax", "SendTimeout"});
    settings.RefuseUnknown();

    EnvironmentBlock block;
    for (const auto& setting : config.settings) block.SetStringValue(setting.first, setting.second);
    block.SetStringValue("Type", type);
    block.SetIntegerValue("QueueHighWaterMark", static_cast<std::uint64_t>(options.highWaterMark));
    block.SetIntegerValue("QueueLowWaterMark", static_cast<std::uint64_t>(options.lowWaterMark));
    block.SetBooleanValue("DiscardOnLoss", true);
    // The feeder keeps well below: filling the queue to its mark over and over would alarm (from 90%), and
    // the framing would make it refuse events.
    options.highWaterMark -= options.highWaterMark / 3;
    options.lowWaterMark = std::min(options.lowWaterMark, options.highWaterMark - 1);
    std::shared_ptr<ISender> sender;
    if (!require<IConnectionFactory>().CreateSender(block, sender) || !sender)
        settings.Refuse("TargetAddress", settings.Text("TargetAddress"),
                        "or another setting makes no sender");
    std::shared_ptr<IPersistentRecord> record;
    const unsigned long error = require<IPersistenceManager>().OpenRecord("spool." + config.text1, record);
    if (error != 0 || !record) settings.Refuse("the name", config.text1, "makes no record");
    return std::make_unique<SpoolSink>(options, disk, sender, record, logOf(config.text1));
}

void DestinationManager::Start() {
    auto& factory = require<IPayloadFactory>();
    for (const auto& destination : all()) destination->Start(factory);
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1) == 0) return;
    throw InitializationException(__FILE__, __FUNCTION__, __LINE__,
                                  "The thread of the destinations cannot be started");
}

int DestinationManager::svc() {
    for (;;) {
        {
            Guard guard(lock_);
            if (stopping_) return 0;
            WaitStep(changed_, kTickMs);
            if (stopping_) return 0;
        }
        try {
            const std::int64_t now = SteadyMilliseconds();
            for (const auto& destination : all()) destination->Tick(now);
        } catch (const std::exception& e) {
            log_->Error("Watching the destinations failed: %s", e.what());
        }
    }
}

void DestinationManager::GetStatus(EnvironmentBlock& status) const {
    const Destinations destinations = all();
    for (const auto& destination : destinations) destination->AddStatus(status);
    if (!destinations.empty()) return;
    const Guard guard(lock_);
    for (const auto& [name, value] : final_.Entries()) status.SetStringValue(name, value);
}

void DestinationManager::Shutdown() {
    SetInitialized(false);
    Destinations destinations;
    {
        const Guard guard(lock_);
        stopping_ = true;
        changed_.broadcast();
        destinations.swap(destinations_);
    }
    wait();
    stop(destinations);
    if (destinations.empty()) return;
    EnvironmentBlock final;
    for (const auto& destination : destinations) destination->AddStatus(final);
    const Guard guard(lock_);
    std::swap(final_, final);
}

/// Side by side as far as it goes: none takes anything new while the others write.
void DestinationManager::stop(const Destinations& destinations) {
    const std::int64_t now = SteadyMilliseconds();
    for (const auto& destination : destinations) destination->BeginStop();
    for (const auto& destination : destinations) {
        try {
            destination->Stop(now + kDrainMs, now + kStopMs);
        } catch (const std::exception& e) {
            log_->Error("The end of destination %s failed: %s", destination->GetName().c_str(), e.what());
        }
    }
}

std::shared_ptr<IDestination> DestinationManager::GetDestination(const std::string& name) {
    for (const auto& destination : all())
        if (destination->GetName() == name) return destination;
    return nullptr;
}

std::vector<std::string> DestinationManager::GetDestinationNames() const {
    std::vector<std::string> names;
    for (const auto& destination : all()) names.push_back(destination->GetName());
    return names;
}

DestinationManager::Destinations DestinationManager::all() const {
    const Guard guard(lock_);
    return destinations_;
}

}  // namespace CorvaneAgent
