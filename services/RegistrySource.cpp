#include "services/RegistrySource.h"

#include "foundation/Win32Handle.h"

#include <algorithm>

namespace WindowsAgentCommon::detail {
namespace {

unsigned long Status(LONG status) { return static_cast<unsigned long>(status); }

class WindowsKey : public RegistryKey {
public:
    WindowsKey(HKEY key, bool isLocal) : key_(key), isLocal_(isLocal) {}

    unsigned long Query(const std::wstring& name, std::size_t limit, RegistryValue& out) override {
        for (DWORD room = 1024;;) {
            out.bytes.resize(room);
            DWORD size = room;
            const unsigned long status = Status(
                ::RegQueryValueExW(key_.Get(), name.c_str(), nullptr, &out.type, out.bytes.data(), &size));
            if (status == ERROR_SUCCESS) out.bytes.resize(std::min(size, room));
            if (status != ERROR_MORE_DATA || size > limit || room >= limit) return status;
            // The value may grow meanwhile, and another machine may ask for anything.
            room = std::min(std::max(size, room * 2), static_cast<DWORD>(limit));
        }
    }

    unsigned long GetSubkeys(std::size_t limit, std::vector<std::wstring>& out) override {
        std::size_t bytes = 0;
        for (DWORD index = 0;; ++index) {
            wchar_t name[256];  // no key's name is longer
            DWORD units = 256;
            const unsigned long status =
                Status(::RegEnumKeyExW(key_.Get(), index, name, &units, nullptr, nullptr, nullptr, nullptr));
            if (status == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
            if (status != ERROR_SUCCESS) return status;
            bytes += (units + 1) * sizeof(wchar_t);
            if (bytes > limit) return ERROR_MORE_DATA;
            out.emplace_back(name, std::min<DWORD>(units, 255));
        }
    }

    // Before Windows 8 the system signals the event when the calling thread ends, too: that costs no more
    // than another look.
    bool Watch() override {
        if (!isLocal_) return false;
        changed_.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        return changed_ && ::RegNotifyChangeKeyValue(key_.Get(), FALSE,
                                                     REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET,
                                                     changed_.Get(), TRUE) == ERROR_SUCCESS;
    }

    bool HasChanged() override { return ::WaitForSingleObject(changed_.Get(), 0) != WAIT_TIMEOUT; }

private:
    KernelHandle changed_;  // outlives the key: closing that signals it
    const RegistryHandle key_;
    const bool isLocal_;
};

class WindowsConnection : public RegistryConnection {
public:
    explicit WindowsConnection(HKEY remoteRoot) : remoteRoot_(remoteRoot) {}

    unsigned long Open(const std::wstring& key, std::unique_ptr<RegistryKey>& out) override {
        constexpr REGSAM kRights = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY | KEY_WOW64_64KEY;
        HKEY opened = nullptr;
        const unsigned long status = Status(::RegOpenKeyExW(
            remoteRoot_ ? remoteRoot_.Get() : HKEY_LOCAL_MACHINE, key.c_str(), 0, kRights, &opened));
        if (status != ERROR_SUCCESS) return status;
        RegistryHandle owner(opened);
        out = std::make_unique<WindowsKey>(opened, !remoteRoot_);
        owner.Release();
        return ERROR_SUCCESS;
    }

private:
    const RegistryHandle remoteRoot_;  // empty for the local machine
};

class WindowsRegistrySource : public RegistrySource {
public:
    unsigned long Connect(const std::wstring& host, std::unique_ptr<RegistryConnection>& out) override {
        RegistryHandle root;
        if (!host.empty()) {
            HKEY connected = nullptr;
            const unsigned long status =
                Status(::RegConnectRegistryW((L"\\\\" + host).c_str(), HKEY_LOCAL_MACHINE, &connected));
            if (status != ERROR_SUCCESS) return status;
            root.Reset(connected);
        }
        out = std::make_unique<WindowsConnection>(root.Get());
        root.Release();
        return ERROR_SUCCESS;
    }
};

}  // namespace

RegistrySource& WindowsRegistry() {
    static WindowsRegistrySource source;
    return source;
}

}  // namespace WindowsAgentCommon::detail
