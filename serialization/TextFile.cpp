#include "WindowsAgentCommon/FileUtil.h"

#include "serialization/FileAccess.h"

#include <algorithm>
#include <exception>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    lines.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t feed = text.find('\n', begin);
        std::size_t end = std::min(feed, text.size());
        const std::size_t next = end + 1;
        if (feed != std::string::npos && end != begin && text[end - 1] == '\r') --end;
        lines.emplace_back(text, begin, end - begin);
        begin = next;
    }
    return lines;
}

std::string Trimmed(const std::string& text) {
    constexpr char kSpace[] = " \t\r\n\v\f";
    const std::size_t begin = std::min(text.find_first_not_of(kSpace), text.size());
    return text.substr(begin, text.find_last_not_of(kSpace) + 1 - begin);
}

void AddProperty(std::string& line, std::multimap<std::string, std::string>& props) {
    std::replace(line.begin(), line.end(), '\t', ' ');
    const std::size_t sign = line.find('=');
    if (sign != std::string::npos)
        props.emplace(Trimmed(line.substr(0, sign)), Trimmed(line.substr(sign + 1)));
}

}  // namespace

bool ReadTextFile(const std::wstring& path, std::string& text) {
    try {
        return detail::ReadWholeFile(path, text) == ERROR_SUCCESS;
    } catch (const std::exception&) {
        return false;
    }
}

bool ReadTextFile(const std::wstring& path, std::vector<std::string>& lines) {
    try {
        std::string text;
        if (detail::ReadWholeFile(path, text) != ERROR_SUCCESS) return false;
        SplitLines(text).swap(lines);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool SaveTextFile(const std::wstring& path, const std::string& text) {
    const detail::FileHandle file = detail::CreateToWrite(path);
    return file && detail::WriteAll(file.Get(), text.data(), text.size()) == ERROR_SUCCESS;
}

bool SaveTextFile(const std::wstring& path, std::vector<std::string>& lines) {
    const detail::FileHandle file = detail::CreateToWrite(path);
    if (!file) return false;
    std::string part;
    for (const std::string& line : lines) {
        part.append(line).append("\r\n");
        if (part.size() < detail::kFilePiece) continue;
        if (detail::WriteAll(file.Get(), part.data(), part.size()) != ERROR_SUCCESS) return false;
        part.clear();
    }
    return detail::WriteAll(file.Get(), part.data(), part.size()) == ERROR_SUCCESS;
}

unsigned long ReadPropFile(const std::wstring& path, std::multimap<std::string, std::string>& props) {
    try {
        std::string text;
        const DWORD error = detail::ReadWholeFile(path, text);
        if (error != ERROR_SUCCESS) return error;
        if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
        std::multimap<std::string, std::string> found;
        for (std::string& line : SplitLines(text)) AddProperty(line, found);
        props.merge(found);
        return ERROR_SUCCESS;
    } catch (const std::exception&) {  // more lines than a vector can hold, too
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

}  // namespace WindowsAgentCommon
