#include "WindowsAgentCommon/Heartbeat.h"

#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "foundation/Win32Handle.h"
#include "tests/support/FakeConnections.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

constexpr const wchar_t* kFile = L"config\\heartbeat_custom.props";

struct Elsewhere : Heartbeat {
    std::wstring GetCustomPropFile() override { return L"elsewhere"; }
};

// What a heartbeat that is initialised now appends to the category.
std::string Properties(Heartbeat& heartbeat) {
    FakeConnections connections;
    heartbeat.Initialize({{"ConfigurationServer", "h"}, {"ApplicationIdentifier", "configured"}});
    heartbeat.OnMessage(kMonitorFatal, "C", "m");
    const std::string event = connections.sender->sent.at(0);
    const auto begin = event.find("\tlog=C") + 6;
    return event.substr(begin, event.find("\tmsg=m") - begin);
}

// One test: what is read is kept for the process.
TEST(Heartbeat, ReadsTheFileWhenItsTimeHasChanged) {
    const TempFolder folder;
    ASSERT_TRUE(::CreateDirectoryW(folder.Path(L"config").c_str(), nullptr));
    SetRootPath(folder.Path());
    LogLines lines("Code.Heartbeat");
    const std::string path = folder.Narrow("config\\heartbeat_custom.props");
    const std::string collected =
        "400 Collecting custom properties from " + path + "\n400 Collected custom properties: ";
    // What has happened to the file, its content (null: there is none), its time, the properties, the log.
    const std::tuple<const char*, const char*, DWORD, const char*, std::string> rows[] = {
        {"no file", nullptr, 0, "",
         "400 Unable to get custom properties from " + path + " - " + LastError(ERROR_FILE_NOT_FOUND) + "\n"},
        {"still none", nullptr, 0, "", ""},
        {"a file", "b=2\r\na=x\r\nb=1\r\n", 1, "\ta=x\tb=2\tb=1", collected + "\ta=x\tb=2\tb=1\n"},
        {"the same time", "c=3\n", 1, "\ta=x\tb=2\tb=1", ""},
        {"an earlier time", "c=3\n", 0, "\tc=3", collected + "\tc=3\n"},
        {"it is gone", nullptr, 0, "", ""},
        {"back with its time", "c=3\n", 0, "", ""},  // deliberate
        {"an empty file", "", 2, "", collected + "\n"},
        {"still the empty one", "c=3\n", 2, "", ""},
    };
    for (const auto& [what, content, time, properties, log] : rows) {
        SCOPED_TRACE(what);
        ::DeleteFileW(folder.Path(kFile).c_str());
        if (content != nullptr) {
            folder.Write(kFile, content);
            const FILETIME modified = {time * 10, 0x01D00000};
            const detail::FileHandle file(::CreateFileW(folder.Path(kFile).c_str(), FILE_WRITE_ATTRIBUTES, 0,
                                                        nullptr, OPEN_EXISTING, 0, nullptr));
            ASSERT_TRUE(file && ::SetFileTime(file.Get(), nullptr, nullptr, &modified));
        }
        lines.text.clear();
        Heartbeat heartbeat;
        EXPECT_EQ(properties, Properties(heartbeat));
        Elsewhere elsewhere;  // deliberately, the first path holds for all
        EXPECT_EQ(properties, Properties(elsewhere));
        EXPECT_EQ(log, lines.text);
    }
}

}  // namespace
