#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// A folder of the test's own in the temporary folder, gone with everything in it when the object ends.
class TempFolder {
public:
    TempFolder() {
        wchar_t parent[MAX_PATH];
        if (::GetTempPathW(MAX_PATH, parent) == 0) throw std::runtime_error("no temporary folder");
        static long made = 0;
        for (bool taken = true; taken;) {  // by what a killed process of the same number left behind
            path_ = parent + (L"cct-" + std::to_wstring(::GetCurrentProcessId())) + L'-' +
                    std::to_wstring(::InterlockedIncrement(&made));
            taken = !::CreateDirectoryW(path_.c_str(), nullptr);
            if (taken && ::GetLastError() != ERROR_ALREADY_EXISTS)
                throw std::runtime_error("no temporary folder");
        }
        path_ += L'\\';
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() { Remove(path_); }

    /// The folder, with a backslash at its end.
    const std::wstring& Path() const { return path_; }

    /// A path inside the folder.
    std::wstring Path(const std::wstring& name) const { return path_ + name; }

    /// The same in ASCII, which the names of temporary folders are.
    std::string Narrow(const std::string& name = "") const {
        return std::string(path_.begin(), path_.end()) + name;
    }

    /// Makes a file.
    void Write(const std::wstring& name, const std::string& bytes) const {
        std::FILE* file = ::_wfopen(Path(name).c_str(), L"wb");
        if (file == nullptr) throw std::runtime_error("the file cannot be made");
        const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
        if (std::fclose(file) != 0 || !written) throw std::runtime_error("the file cannot be written");
    }

    /// A file's bytes; "<none>" when there is no such file.
    std::string Read(const std::wstring& name) const {
        std::FILE* file = ::_wfopen(Path(name).c_str(), L"rb");
        if (file == nullptr) return "<none>";
        std::string bytes;
        char part[65536];
        while (const std::size_t got = std::fread(part, 1, sizeof part, file)) bytes.append(part, got);
        std::fclose(file);
        return bytes;
    }

    /// The names of the files, not folders, that a pattern fits.
    std::vector<std::wstring> Files(const std::wstring& pattern) const {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW entry;
        const HANDLE search = ::FindFirstFileW(Path(pattern).c_str(), &entry);
        for (BOOL found = search != INVALID_HANDLE_VALUE; found; found = ::FindNextFileW(search, &entry))
            if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) names.emplace_back(entry.cFileName);
        ::FindClose(search);
        return names;
    }

    bool Has(const std::wstring& name) const {
        return ::GetFileAttributesW(Path(name).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

private:
    static void Remove(const std::wstring& folder) {
        WIN32_FIND_DATAW entry;
        const HANDLE search = ::FindFirstFileW((folder + L"*").c_str(), &entry);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                const std::wstring name = entry.cFileName;
                if (name == L"." || name == L"..") continue;
                ::SetFileAttributesW((folder + name).c_str(), FILE_ATTRIBUTE_NORMAL);
                const bool plainFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                                         (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
                if (plainFolder)
                    Remove(folder + name + L"\\");
                else if (!::DeleteFileW((folder + name).c_str()))
                    ::RemoveDirectoryW((folder + name).c_str());
            } while (::FindNextFileW(search, &entry));
            ::FindClose(search);
        }
        ::RemoveDirectoryW(folder.c_str());
    }

    std::wstring path_;
};

}  // namespace WindowsAgentCommon::test
