#pragma once

#include <string>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// A link to a folder while the object lives: a junction on Windows, the host's symbolic link under Wine,
/// which shows such links as reparse points but cannot remove them by itself.
class FolderLink {
public:
    /// Both paths absolute, without blanks and without "\" at the end.
    FolderLink(const std::wstring& link, const std::wstring& target) : link_(link) {
        void* const address = reinterpret_cast<void*>(
            ::GetProcAddress(::GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name"));
        hostName_ = reinterpret_cast<HostName>(address);
        Run(hostName_ != nullptr ? L"Z:\\bin\\ln -s " + OfHost(target) + L" " + OfHost(link)
                                 : L"cmd.exe /c mklink /J " + link + L" " + target,
            true);
    }
    FolderLink(const FolderLink&) = delete;
    FolderLink& operator=(const FolderLink&) = delete;
    ~FolderLink() {
        if (!Exists()) return;
        if (hostName_ == nullptr) ::RemoveDirectoryW(link_.c_str());
        if (hostName_ != nullptr) Run(L"Z:\\bin\\rm -f " + OfHost(link_), false);
    }

    /// False where it could not be made.
    bool Exists() const {
        const DWORD attributes = ::GetFileAttributesW(link_.c_str());
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    }

private:
    using HostName = char*(__cdecl*)(const wchar_t*);

    std::wstring OfHost(const std::wstring& path) const {
        const std::string name = hostName_(path.c_str());  // a few bytes of the process's heap stay
        return std::wstring(name.begin(), name.end());
    }

    // Wine has no handle for a program of the host: the folder tells when it is done.
    void Run(std::wstring command, bool makes) const {
        const HANDLE change =
            ::FindFirstChangeNotificationW(link_.substr(0, link_.rfind(L'\\')).c_str(), FALSE,
                                           FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME);
        STARTUPINFOW start = {};
        start.cb = sizeof start;
        PROCESS_INFORMATION process = {};
        if (::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                             nullptr, &start, &process)) {
            for (int tries = 0; Exists() != makes && tries < 600; ++tries) {  // changes may come together
                ::WaitForSingleObject(change, 100);
                ::FindNextChangeNotification(change);
            }
            ::CloseHandle(process.hThread);
            ::CloseHandle(process.hProcess);
        }
        ::FindCloseChangeNotification(change);
    }

    std::wstring link_;
    HostName hostName_ = nullptr;
};

}  // namespace WindowsAgentCommon::test
