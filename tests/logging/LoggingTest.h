#pragma once

#include "CorvaneLogger/Levels.h"
#include "CorvaneLogger/LogDstFile.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>

namespace CorvaneLogger {

using Params = std::map<std::string, std::string>;

/// Time stands still at 2026-03-01 12:00:00, which is local time as well, and the working folder, where
/// "logger.log" and other relative paths go, is the test's own.
class LoggingTest : public testing::Test {
protected:
    LoggingTest() {
        ::SetCurrentDirectoryW(folder.Path().c_str());
        ::_putenv("TZ=UTC0");
        ::_tzset();
    }
    ~LoggingTest() override { ::SetCurrentDirectoryW(L"\\"); }

    /// A file destination without time stamps, unless the parameters have a pattern.
    struct File : LogDstFile {
        File(const char* name, Params params) : LogDstFile(name, "x") {
            params.emplace("Prefix", "");
            LogDstFile::setup(params);
        }
        using LogDstFile::handle_;
    };

    static void Setup(LogDst& destination, Params params) { destination.setup(params); }
    /// Hands over a line; text: without its line feed.
    static void Put(LogDst& destination, const std::string& text, int level = 300) {
        const std::string line = text + "\n";
        destination.log(level, "c", line.c_str(), static_cast<unsigned>(line.size()), line.c_str());
    }

    /// The names of the folder's files and what they hold, without "logger.log".
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> files;
        for (const std::wstring& name : folder.Files(L"*"))
            if (name != L"logger.log") files[std::string(name.begin(), name.end())] = folder.Read(name);
        return files;
    }

    void Delete(const std::wstring& name) const { ::DeleteFileW(folder.Path(name).c_str()); }

    /// What "logger.log" holds; it is gone afterwards.
    std::string TakeSideFile() const {
        const std::string text = folder.Read(L"logger.log");
        Delete(L"logger.log");
        return text;
    }

    WindowsAgentCommon::test::TempFolder folder;
    WindowsAgentCommon::test::FakeClock clock;
};

}  // namespace CorvaneLogger
