#include "WindowsAgentCommon/IComponentFactory.h"
#include "WindowsAgentCommon/IRegistryCache.h"
#include "agent/collectors/EventLogSource.h"
#include "agent/sdk/Clock.h"

#include <list>
#include <map>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::size_t kMostModules = 200;
constexpr std::size_t kMostSources = 2000;
constexpr std::int64_t kKeepMs = 5 * 60'000;
constexpr DWORD kMostText = 64 * 1024;  // UTF-16 units; what FormatMessage writes at most

struct ModuleCloser {
    void operator()(HINSTANCE__* module) const noexcept { ::FreeLibrary(module); }
};
using Module = std::unique_ptr<HINSTANCE__, ModuleCloser>;

struct KeyCloser {
    void operator()(HKEY__* key) const noexcept { ::RegCloseKey(key); }
};

/// A text of the registry with references to environment variables replaced; empty for none.
std::wstring readText(const std::wstring& key, const wchar_t* name) {
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE, &opened) != 0) return {};
    const std::unique_ptr<HKEY__, KeyCloser> closer(opened);
    wchar_t raw[4096];
    DWORD type = 0, size = sizeof raw - sizeof(wchar_t);
    const LONG error = ::RegQueryValueExW(opened, name, nullptr, &type, reinterpret_cast<BYTE*>(raw), &size);
    if (error != 0 || (type != REG_SZ && type != REG_EXPAND_SZ)) return {};
    raw[size / sizeof(wchar_t)] = L'\0';
    std::vector<wchar_t> expanded(32'768);
    const DWORD length = ::ExpandEnvironmentStringsW(raw, expanded.data(), 32'768);
    return length == 0 || length > expanded.size() ? std::wstring(raw) : std::wstring(expanded.data());
}

std::vector<std::wstring> splitFiles(const std::wstring& text) {
    std::vector<std::wstring> files;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = text.find(L';', begin);
        const std::wstring file = text.substr(begin, end - begin);
        if (!file.empty()) files.push_back(file);
        if (end == std::wstring::npos) break;
        begin = end + 1;
    }
    return files;
}

/// Whether this is a 32-bit process of 64-bit Windows. Windows XP has the function from its second service
/// pack on.
bool isWow64() {
    using Function = BOOL(WINAPI*)(HANDLE, PBOOL);
    const auto ask = reinterpret_cast<Function>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), "IsWow64Process")));
    BOOL result = FALSE;
    return ask && ask(::GetCurrentProcess(), &result) && result;
}

/// Such a process is shown other files in the system folder, and those of 64-bit programs under another name.
/// Empty when the file is not in the system folder.
std::wstring sysnativePath(const std::wstring& file) {
    wchar_t windows[MAX_PATH];
    const UINT length = ::GetSystemWindowsDirectoryW(windows, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    const std::wstring system = windows + std::wstring(L"\\System32\\");
    if (file.size() < system.size() || ::_wcsnicmp(file.c_str(), system.c_str(), system.size()) != 0)
        return {};
    return windows + (L"\\Sysnative\\" + file.substr(system.size()));
}

class RegisteredMessages : public EventMessageSource {
public:
    bool GetText(const std::wstring& log, const std::wstring& source, std::uint32_t id, bool parameter,
                 std::wstring& out) override {
        for (const std::wstring& file : files(log, source, parameter)) {
            if (HMODULE const module = load(file)) {
                if (read(module, id, out)) return true;
            }
        }
        return false;
    }

    /// All of it at once: one that is in use is found again quickly, and then as it is now.
    void Expire() override {
        const std::int64_t now = SteadyMilliseconds();
        if (now - emptied_ < kKeepMs) return;
        emptied_ = now;
        files_.clear();
        modules_.clear();
    }

private:
    const std::vector<std::wstring>& files(const std::wstring& log, const std::wstring& source,
                                           bool parameter) {
        std::wstring key = log;
        key.append(1, L'\\').append(source).append(parameter ? L"|p" : L"|e");
        const auto found = files_.find(key);
        if (found != files_.end()) return found->second;
        if (files_.size() >= kMostSources) files_.clear();
        return files_[key] = find(log, source, parameter);
    }

    /// Names come from records: one with a backslash is no source's key.
    static std::vector<std::wstring> find(const std::wstring& log, const std::wstring& source,
                                          bool parameter) {
        if (source.empty() || source.find(L'\\') != std::wstring::npos || source.size() > 255) return {};
        if (log == L"Security" && !parameter) {
            std::vector<std::wstring> known = securityFiles(source);
            if (!known.empty()) return known;
        }
        const std::wstring key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\" + log + L"\\" + source;
        return splitFiles(readText(key, parameter ? L"ParameterMessageFile" : L"EventMessageFile"));
    }

    static std::vector<std::wstring> securityFiles(const std::wstring& source) {
        std::vector<std::wstring> known;
        std::shared_ptr<IRegistryCacheReader> reader;
        auto* const cache = dynamic_cast<IRegistryCache*>(_getService(IRegistryCache::GetServiceName()));
        if (cache && cache->GetReader(L".", reader) == 0 && reader)
            reader->GetSecurityMessageFiles(source, known);
        return known;
    }

    // As data: nothing of it runs.
    static Module open(const std::wstring& file) {
        Module module(::LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
        if (module || !isWow64()) return module;
        const std::wstring native = sysnativePath(file);
        if (!native.empty())
            module.reset(::LoadLibraryExW(native.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
        return module;
    }

    /// The module of a file, which may be null; the one used longest ago makes room.
    HMODULE load(const std::wstring& file) {
        for (auto at = modules_.begin(); at != modules_.end(); ++at) {
            if (at->first != file) continue;
            modules_.splice(modules_.begin(), modules_, at);
            return modules_.front().second.get();
        }
        if (modules_.size() >= kMostModules) modules_.pop_back();
        modules_.emplace_front(file, open(file));
        return modules_.front().second.get();
    }

    bool read(HMODULE module, std::uint32_t id, std::wstring& out) {
        buffer_.resize(kMostText);
        const DWORD flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
        const DWORD length = ::FormatMessageW(flags, module, id, 0, buffer_.data(), kMostText, nullptr);
        if (length == 0) return false;
        out.assign(buffer_.data(), length);
        return true;
    }

    std::map<std::wstring, std::vector<std::wstring>> files_;
    std::list<std::pair<std::wstring, Module>> modules_;  // the one used last in front
    std::int64_t emptied_ = SteadyMilliseconds();         // files_ and modules_
    std::vector<wchar_t> buffer_;
};

}  // namespace

std::unique_ptr<EventMessageSource> MakeEventMessageSource() {
    return std::make_unique<RegisteredMessages>();
}

}  // namespace CorvaneAgent
