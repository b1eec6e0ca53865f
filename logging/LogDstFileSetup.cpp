// How a file destination takes its parameters.

#include "CorvaneLogger/LogDstFile.h"

#include "WindowsAgentCommon/Encoding.h"
#include "logging/LogPath.h"
#include "logging/ProcessEnd.h"
#include "logging/SideFile.h"

#include <cctype>
#include <cstring>
#include <limits>

#include "foundation/Win32.h"

namespace CorvaneLogger {
namespace {

using Params = std::map<std::string, std::string>;

const std::string* Find(const Params& params, const char* name) {
    const std::string* found = nullptr;
    for (const auto& param : params)
        if (::_stricmp(param.first.c_str(), name) == 0) found = &param.second;
    return found;
}

bool IsTrue(const std::string& value) { return !value.empty() && (value[0] == 't' || value[0] == 'T'); }

// A whole decimal number from 0 to most.
bool ParseNumber(const std::string& text, std::uint32_t most, std::uint32_t& number) {
    std::uint64_t value = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') return false;
        value = value * 10 + static_cast<unsigned>(digit - '0');
        if (value > most) return false;
    }
    number = static_cast<std::uint32_t>(value);
    return !text.empty();
}

std::string WithoutSlashes(std::string path) {
    for (char& letter : path)
        if (letter == '/') letter = '\\';
    return path;
}

std::string WithBackslash(std::string folder) {
    if (!folder.empty() && folder.back() != '\\' && folder.back() != '/') folder += '\\';
    return folder;
}

}  // namespace

void LogDstFile::setup(Params& params) {
    {
        const detail::LockUnlessEnding lock(lock_);
        if (!lock) return;
        setPath(params);
        setNumbers(params);
        resetLocked();
    }
    LogDst::setup(params);  // may log a line to this destination, whose file must be the right one by then
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return;
    detail::WriteSideFile(
        getPrefix(),
        "Sending %s to %s lvl %d rolling %d files at %d bytes, InfoX start %d/%d next every %d secs %d/%d\n",
        name_.c_str(), path_.c_str(), static_cast<int>(level_), static_cast<int>(maxIndex_),
        static_cast<int>(maxFileSize_), static_cast<int>(startLen_), static_cast<int>(startMax_),
        static_cast<int>(nextEvery_), static_cast<int>(nextLen_), static_cast<int>(nextMax_));
}

void LogDstFile::setPath(Params& params) {
    if (const std::string* folder = Find(params, "Folder"))
        folder_ = WithBackslash(*folder);
    else if (const std::string* defaultFolder = Find(params, "DefFolder"))
        folder_ = WithBackslash(*defaultFolder);
    if (const std::string* name = Find(params, "Filename")) takeFileName(*name);
    if (const std::string* extension = Find(params, "FileExt"))
        if (!extension->empty() && extension->find_first_of("\\/") == std::string::npos) ext_ = *extension;
    if (const std::string* path = Find(params, "File")) takePath(*path);
}

void LogDstFile::takePath(const std::string& path) {
    const std::string whole = WithoutSlashes(path);
    const std::size_t slash = whole.find_last_of('\\');
    if (slash != std::string::npos) folder_ = whole.substr(0, slash + 1);
    takeFileName(whole.substr(slash + 1));  // npos + 1 is the beginning
}

// An empty name or extension changes nothing, nor does one with a folder in it: no file could have it. In
// front of the name a folder is as good as one in "Folder".
void LogDstFile::takeFileName(const std::string& name) {
    std::size_t dot = name.find_last_of(".\\/");
    if (dot != std::string::npos && name[dot] != '.') dot = std::string::npos;
    const std::string base = name.substr(0, dot);
    if (!base.empty()) baseName_ = base;
    if (dot != std::string::npos && dot + 1 < name.size()) ext_ = name.substr(dot + 1);
}

void LogDstFile::setNumbers(Params& params) {
    constexpr std::uint32_t kMostSigned = std::numeric_limits<std::int32_t>::max();
    const auto read = [&](const char* name, std::uint32_t most, std::uint32_t& number) {
        const std::string* text = Find(params, name);
        if (text == nullptr) return false;
        if (ParseNumber(*text, most, number)) return true;
        detail::WriteSideFile(getPrefix(), "%s of %s is no number that can be used: %s", name, name_.c_str(),
                              text->c_str());
        return false;
    };
    const auto readSigned = [&](const char* name, std::int32_t& value) {
        std::uint32_t number;
        const bool changed = read(name, kMostSigned, number) && static_cast<std::int32_t>(number) != value;
        if (changed) value = static_cast<std::int32_t>(number);
        return changed;
    };
    std::uint32_t size;
    if (read("MaxFileSize", std::numeric_limits<std::uint32_t>::max(), size)) maxFileSize_ = size;
    readSigned("MaxIndex", maxIndex_);
    if (const std::string* append = Find(params, "Append")) append_ = IsTrue(*append);
    if (const std::string* instant = Find(params, "Instant")) instant_ = IsTrue(*instant);

    // The first window's settings count only while it is the one in force, and giving them again, as each
    // re-reading of the configuration does, grants nothing anew.
    const bool inFirstWindow = windowStart_ == constructed_;
    if (readSigned("InfoX.startLen", startLen_) && inFirstWindow) windowEnd_ = windowStart_ + startLen_;
    if (readSigned("InfoX.startMax", startMax_) && inFirstWindow) remaining_ = startMax_;
    readSigned("InfoX.nextEvery", nextEvery_);
    readSigned("InfoX.nextLen", nextLen_);
    readSigned("InfoX.nextMax", nextMax_);
}

void LogDstFile::makePath() {
    folder_ = WithBackslash(WindowsAgentCommon::ToUTF8(detail::LogPath(folder_)));
    baseName_ = WithoutSlashes(baseName_);
    const std::string path = folder_ + baseName_ + "." + ext_;
    if (path != path_) openFailed_ = false;  // of another file
    path_ = path;
}

void LogDstFile::resetLocked() {
    _close();
    makePath();
    if (!opened_ && !append_) {
        // Only a file with something in it is worth a roll.
        if (_open() && fileSize_ > maxFileSize_ / 100) rollLocked();
        _close();
    }
    _open();
}

}  // namespace CorvaneLogger
