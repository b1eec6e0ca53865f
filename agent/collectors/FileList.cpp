#include "agent/collectors/FileList.h"

#include "WindowsAgentCommon/Encoding.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr std::size_t kLongestPath = 1000;  // so that an entry of a position fits into its record

std::wstring expand(const std::wstring& path) {
    std::wstring out(32'768, L'\0');
    const DWORD size = ::ExpandEnvironmentStringsW(path.c_str(), out.data(), static_cast<DWORD>(out.size()));
    if (size == 0 || size > out.size()) return path;
    out.resize(size - 1);
    return out;
}

}  // namespace

std::vector<ListedFile> ReadPaths(SettingsReader& settings) {
    std::vector<ListedFile> files;
    for (const std::string& name : settings.Texts("Path")) {
        if (name.empty() || name.size() > kLongestPath)
            settings.Refuse("Path", name, "is empty or longer than 1,000 bytes");
        for (const ListedFile& other : files) {
            if (other.name == name) settings.Refuse("Path", name, "is given twice");
        }
        files.emplace_back();
        files.back().name = name;
        files.back().path = expand(FromUTF8(name));
    }
    if (files.empty()) settings.Refuse("Path", "", "is missing");
    return files;
}

void SavePositions(const std::vector<ListedFile>& files, EnvironmentBlock& position) {
    for (const ListedFile& file : files) {
        if (file.begun) position.SetStringValue("File." + file.name, file.done.ToText());
    }
}

void LoadPositions(const EnvironmentBlock& position, std::vector<ListedFile>& files) {
    for (ListedFile& file : files) {
        file.finished = false;
        file.error = 0;
        std::string text;
        file.begun = position.GetStringValue("File." + file.name, text, "") && file.done.FromText(text);
        if (!file.begun) file.done = FilePosition();
    }
}

void TellOpening(Log log, ListedFile& file, unsigned long error) {
    if (error != 0 && error != file.error)
        log->Error("%s cannot be opened: error %lu", file.name.c_str(), error);
    else if (error == 0 && file.error != 0)
        log->Info("%s is open now", file.name.c_str());
    file.error = error;
}

}  // namespace CorvaneAgent
