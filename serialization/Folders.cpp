#include "WindowsAgentCommon/FileUtil.h"

#include "foundation/Path.h"
#include "foundation/Win32Handle.h"

#include <cwchar>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Where the root of a verbatim path ends: at the "\" after the drive or the share.
std::size_t RootEnd(const std::wstring& path) {
    constexpr wchar_t kShare[] = L"\\\\?\\UNC\\";
    constexpr std::size_t kShareLength = std::size(kShare) - 1, kPrefixLength = 4;
    if (path.compare(0, kShareLength, kShare) != 0) return path.find(L'\\', kPrefixLength);
    const std::size_t server = path.find(L'\\', kShareLength);
    return server == std::wstring::npos ? server : path.find(L'\\', server + 1);
}

// The entries of a folder that match a pattern, without "." and "..".
class Listing {
public:
    explicit Listing(const std::wstring& pattern)
        : search_(::FindFirstFileW(pattern.c_str(), &entry_)), isFresh_(true) {
        if (!search_) error_ = ::GetLastError();
        if (error_ == ERROR_FILE_NOT_FOUND) error_ = ERROR_SUCCESS;  // nothing matches
    }

    // The next entry, valid until the next call; null at the end and after an error.
    const WIN32_FIND_DATAW* Next() {
        while (search_) {
            if (!std::exchange(isFresh_, false) && !::FindNextFileW(search_.Get(), &entry_)) {
                error_ = ::GetLastError();
                if (error_ == ERROR_NO_MORE_FILES) error_ = ERROR_SUCCESS;
                search_.Reset();
            } else if (!IsDotFolder(entry_.cFileName)) {
                return &entry_;
            }
        }
        return nullptr;
    }

    DWORD Error() const noexcept { return error_; }

private:
    WIN32_FIND_DATAW entry_;
    detail::FindHandle search_;
    DWORD error_ = ERROR_SUCCESS;
    bool isFresh_;
};

// Visits what matches pattern in folder and everything below; links are visited, not followed. visit gets
// each path and entry, folders after what is in them, and returns an error code. Returns the last error.
// Levels lie on the heap: a path may have 16,000 of them, too many for a stack.
template <class Visit>
DWORD Walk(const std::wstring& folder, const wchar_t* pattern, Visit visit) {
    struct Level {
        Listing listing;
        std::wstring path;
        WIN32_FIND_DATAW entry;  // the folder's own
    };
    std::wstring path = detail::VerbatimPath(folder);
    if (path.empty()) return ERROR_PATH_NOT_FOUND;
    DWORD lastError = ERROR_SUCCESS;
    const auto note = [&](DWORD error) {
        if (error != ERROR_SUCCESS) lastError = error;
    };
    std::vector<Level> levels;
    levels.push_back({Listing(detail::Below(path, pattern)), path, {}});
    while (!levels.empty()) {
        Level& level = levels.back();
        const WIN32_FIND_DATAW* const entry = level.listing.Next();
        if (entry == nullptr) {
            note(level.listing.Error());
            if (levels.size() > 1) note(visit(level.path, level.entry));
            levels.pop_back();
            continue;
        }
        path = detail::Below(level.path, entry->cFileName);
        constexpr DWORD kKind = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        if ((entry->dwFileAttributes & kKind) == FILE_ATTRIBUTE_DIRECTORY) {
            levels.push_back({Listing(detail::Below(path, L"*")), path, *entry});
        } else {
            note(visit(path, *entry));
        }
    }
    return lastError;
}

}  // namespace

unsigned long CreateDirectoryRecursive(const std::wstring& path) {
    const std::wstring full = detail::VerbatimPath(path);
    std::size_t end = RootEnd(full);
    if (full.empty()) return ERROR_PATH_NOT_FOUND;
    if (end == std::wstring::npos)  // a share or a drive by itself
        return IsFolder(full + L'\\') ? ERROR_SUCCESS : ERROR_INVALID_NAME;
    while (end != std::wstring::npos) {
        end = full.find(L'\\', end + 1);
        const std::wstring level = full.substr(0, end);
        if (IsFolder(level) || ::CreateDirectoryW(level.c_str(), nullptr)) continue;
        const DWORD error = ::GetLastError();
        if (error != ERROR_ALREADY_EXISTS || !IsFolder(level))
            return error;  // unless somebody else was faster
    }
    return ERROR_SUCCESS;
}

unsigned long DeleteDirectoryContents(const std::wstring& folder, const wchar_t* pattern) {
    if (pattern == nullptr) pattern = L"*";
    // It would find names in one folder, and the deletion would look for them in another.
    if (std::wcspbrk(pattern, L"\\/") != nullptr) return ERROR_INVALID_NAME;
    return Walk(folder, pattern, [](const std::wstring& path, const WIN32_FIND_DATAW& entry) -> DWORD {
        const bool isFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const BOOL gone = isFolder ? ::RemoveDirectoryW(path.c_str()) : ::DeleteFileW(path.c_str());
        return gone ? ERROR_SUCCESS : ::GetLastError();
    });
}

unsigned long GetDirectoryContentSize(const std::wstring& folder, LARGE_INTEGER& size) {
    ULONGLONG sum = 0;
    const DWORD error = Walk(folder, L"*", [&](const std::wstring&, const WIN32_FIND_DATAW& entry) -> DWORD {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            sum += (static_cast<ULONGLONG>(entry.nFileSizeHigh) << 32U) | entry.nFileSizeLow;
        return ERROR_SUCCESS;
    });
    size.QuadPart = static_cast<LONGLONG>(sum);
    return error;
}

unsigned long IsDirectory(const std::wstring& path, bool& result) {
    const DWORD attributes = ::GetFileAttributesW(detail::SystemPath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return ::GetLastError();
    result = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return ERROR_SUCCESS;
}

unsigned long IsDirectoryEmpty(const std::wstring& path, bool& result) {
    bool isFolder = false;
    const DWORD error = IsDirectory(path, isFolder);
    if (error != ERROR_SUCCESS) return error;
    if (!isFolder) return ERROR_DIRECTORY;
    Listing listing(detail::Below(detail::VerbatimPath(path), L"*"));
    const bool isEmpty = listing.Next() == nullptr;
    if (listing.Error() == ERROR_SUCCESS) result = isEmpty;
    return listing.Error();
}

bool IsDotFolder(const wchar_t* name) {
    return name != nullptr && (std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0);
}

}  // namespace WindowsAgentCommon
