#include "WindowsAgentCommon/FileUtil.h"

#include "WindowsAgentCommon/SystemInfo.h"
#include "foundation/Clock.h"
#include "foundation/FileTime.h"
#include "foundation/Path.h"
#include "serialization/FileAccess.h"

#include <ace/Time_Value.h>

#include "foundation/Win32.h"

#include <psapi.h>

namespace WindowsAgentCommon {

namespace {

using FileTimeField = FILETIME WIN32_FILE_ATTRIBUTE_DATA::*;
constexpr FileTimeField kCreated = &WIN32_FILE_ATTRIBUTE_DATA::ftCreationTime;
constexpr FileTimeField kModified = &WIN32_FILE_ATTRIBUTE_DATA::ftLastWriteTime;

DWORD Attributes(const std::wstring& path, WIN32_FILE_ATTRIBUTE_DATA& data) {
    if (::GetFileAttributesExW(detail::SystemPath(path).c_str(), GetFileExInfoStandard, &data))
        return ERROR_SUCCESS;
    return ::GetLastError();
}

DWORD TimeOf(const std::wstring& path, FileTimeField field, FILETIME& time) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    const DWORD error = Attributes(path, data);
    if (error == ERROR_SUCCESS) time = data.*field;
    return error;
}

DWORD TimeOf(const std::wstring& path, FileTimeField field, ACE_Time_Value& value) {
    FILETIME time;
    const DWORD error = TimeOf(path, field, time);
    if (error == ERROR_SUCCESS) value.set(time);
    return error;
}

DWORD IsAfter(const std::wstring& path, const std::wstring& other, FileTimeField field, bool& result) {
    FILETIME mine, theirs;
    DWORD error = TimeOf(path, field, mine);
    if (error == ERROR_SUCCESS) error = TimeOf(other, field, theirs);
    if (error == ERROR_SUCCESS) result = ::CompareFileTime(&mine, &theirs) > 0;
    return error;
}

DWORD IsAfter(const std::wstring& path, const ACE_Time_Value& time, FileTimeField field, bool& result) {
    ACE_Time_Value mine;
    const DWORD error = TimeOf(path, field, mine);
    if (error == ERROR_SUCCESS) result = mine > time;
    return error;
}

template <class Text>
Text AfterLastSeparator(const Text& path, const typename Text::value_type* separators) {
    return path.substr(path.find_last_of(separators) + 1);  // npos + 1 is 0
}

// The only way to the names of 64-bit processes; from Windows Vista on.
using ImageNameQuery = BOOL(WINAPI*)(HANDLE, DWORD, LPWSTR, PDWORD);
ImageNameQuery FindImageNameQuery() {
    const HMODULE kernel = ::GetModuleHandleW(L"kernel32");
    if (kernel == nullptr) return nullptr;
    void* const address = reinterpret_cast<void*>(::GetProcAddress(kernel, "QueryFullProcessImageNameW"));
    return reinterpret_cast<ImageNameQuery>(address);
}

}  // namespace

unsigned long GetFilesize(const std::wstring& path, unsigned long long& size) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    const DWORD error = Attributes(path, data);
    if (error != ERROR_SUCCESS) return error;
    const bool isFolder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    size = isFolder ? 0 : (static_cast<ULONGLONG>(data.nFileSizeHigh) << 32U) | data.nFileSizeLow;
    return ERROR_SUCCESS;
}

bool GetFileSizeEx(const std::wstring& path, LARGE_INTEGER* size) {
    unsigned long long bytes = 0;
    if (size == nullptr || GetFilesize(path, bytes) != ERROR_SUCCESS) return false;
    size->QuadPart = static_cast<LONGLONG>(bytes);
    return true;
}

unsigned long GetFileCreationTimestamp(const std::wstring& path, ACE_Time_Value& time) {
    return TimeOf(path, kCreated, time);
}

unsigned long GetFileLastModifiedTimestamp(const std::wstring& path, ACE_Time_Value& time) {
    return TimeOf(path, kModified, time);
}

unsigned long WasFileCreatedAfter(const std::wstring& path, const std::wstring& other, bool& result) {
    return IsAfter(path, other, kCreated, result);
}

unsigned long WasFileCreatedAfter(const std::wstring& path, const ACE_Time_Value& time, bool& result) {
    return IsAfter(path, time, kCreated, result);
}

unsigned long WasFileModifiedAfter(const std::wstring& path, const std::wstring& other, bool& result) {
    return IsAfter(path, other, kModified, result);
}

unsigned long WasFileModifiedAfter(const std::wstring& path, const ACE_Time_Value& time, bool& result) {
    return IsAfter(path, time, kModified, result);
}

unsigned long TouchFile(const std::wstring& path) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const detail::FileHandle file(::CreateFileW(detail::SystemPath(path).c_str(),
                                                GENERIC_READ | GENERIC_WRITE, kShareAll, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
    if (!file) return ::GetLastError();
    const FILETIME now = detail::FileTimeOf(detail::SystemTicks());
    return ::SetFileTime(file.Get(), nullptr, nullptr, &now) ? ERROR_SUCCESS : ::GetLastError();
}

unsigned long GetTempFilename(const std::wstring& prefix, std::wstring& out) {
    wchar_t folder[MAX_PATH + 1], name[MAX_PATH];
    const DWORD length = ::GetTempPathW(MAX_PATH + 1, folder);
    const bool made =
        length != 0 && length <= MAX_PATH && ::GetTempFileNameW(folder, prefix.c_str(), 0, name) != 0;
    const DWORD error = ::GetLastError();  // deliberate: it stands for nothing after success
    if (made) out = name;
    return error;
}

unsigned long GetFilenameOnly(const std::string& path, std::string& name) {
    name = AfterLastSeparator(path, "/\\");
    return ERROR_SUCCESS;
}

unsigned long GetFilenameOnly(const std::wstring& path, std::wstring& name) {
    name = AfterLastSeparator(path, L"/\\");
    return ERROR_SUCCESS;
}

unsigned long GetProcessNameForPID(int pid, std::wstring& name) {
    constexpr DWORD kQueryLimitedInformation = 0x1000;  // all that the query of Windows Vista needs
    static const ImageNameQuery query = FindImageNameQuery();
    const DWORD rights =
        query != nullptr ? kQueryLimitedInformation : PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
    const detail::KernelHandle process(::OpenProcess(rights, FALSE, static_cast<DWORD>(pid)));
    if (!process) return ::GetLastError();
    std::wstring path(32768, L'\0');  // no path is longer
    DWORD length = static_cast<DWORD>(path.size());
    if (query == nullptr) {
        length = ::GetModuleFileNameExW(process.Get(), nullptr, path.data(), length);
        if (length == 0) return ::GetLastError();
    } else if (!query(process.Get(), 0, path.data(), &length)) {
        return ::GetLastError();
    }
    name.assign(path, 0, length);
    return ERROR_SUCCESS;
}

std::string LastError(unsigned long code) {
    std::string text;
    GetLastErrorText(code, text);
    return text;
}

}  // namespace WindowsAgentCommon
