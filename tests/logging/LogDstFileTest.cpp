#include "CorvaneLogger/LogDstFile.h"
#include "WindowsAgentCommon/Encoding.h"
#include "logging/FileWrite.h"
#include "logging/RegistryAccess.h"
#include "logging/SideFile.h"
#include "tests/logging/LoggingTest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace CorvaneLogger {
namespace {

using ::testing::HasSubstr;

class LogDstFileTest : public LoggingTest {};

TEST_F(LogDstFileTest, BufferIsWrittenWhenALineFindsNoRoomInIt) {
    File file("d", {{"Instant", "false"}});
    std::string all;
    for (const char letter : {'a', 'b', 'c'}) {
        EXPECT_EQ(folder.Read(L"d.log"), "") << "still fits";
        const std::string line(4999, letter);
        Put(file, line);
        all += line + "\n";
        EXPECT_EQ(file.FileSize(), all.size());
    }
    EXPECT_EQ(folder.Read(L"d.log"), all.substr(0, 10000));
    file.flush(false);
    EXPECT_EQ(folder.Read(L"d.log"), all);
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_TRUE(::GetHandleInformation(file.handle_, &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0U) << "child processes have no part in it";
    file.flush(true);
    EXPECT_EQ(file.handle_, INVALID_HANDLE_VALUE) << "an idle file is closed, and continued by the next line";
    Put(file, std::string(20000, 'x'), kLevelError);
    EXPECT_EQ(folder.Read(L"d.log"), all + std::string(9999, 'x') + "\n") << "no line is longer";
}

TEST_F(LogDstFileTest, UrgentLinesAreWrittenAtOnceAndAllInInstantMode) {
    const std::string line = "03-01 12:00:00.000 line\n";
    const std::pair<int, bool> rows[] = {{0, true}, {200, true}, {300, false}, {1124, false}, {1224, false}};
    for (const std::string instant : {"not told", "true", "Tx", "false", "1", ""})
        for (const auto& [level, urgent] : rows) {
            SCOPED_TRACE(instant + std::to_string(level));
            {
                LogDstFile file("d", "x");
                if (instant != "not told") Setup(file, {{"INSTANT", instant}});
                Put(file, "line", level);
                const bool atOnce = urgent || instant[0] == 't' || instant[0] == 'T' || instant[0] == 'n';
                EXPECT_EQ(folder.Read(L"d.log"), atOnce ? line : "");
            }
            EXPECT_EQ(folder.Read(L"d.log"), line) << "written by the destructor";
            Delete(L"d.log");
        }
    LogDstFile refused("r", "x");
    Setup(refused, {{"File", "right.txt"}, {"Prefix", std::string(21, 'x')}, {"Level", "FATAL"}});
    EXPECT_EQ(folder.Read(L"right.txt"), "03-01 12:00:00.000 INFO  LogDst : Prefix is too long, max is 20\n");
}

TEST_F(LogDstFileTest, FileIsWhereTheParametersSay) {
    EXPECT_EQ(LogDstFile("", "x").FileName(), folder.Narrow("Corvane.log"));
    const std::wstring part = std::wstring(140, 'p') + L"\\";
    for (const std::wstring& name :
         std::initializer_list<std::wstring>{L"f", L"g", L"f\\h", part, part + part})
        ASSERT_TRUE(::CreateDirectoryW((L"\\\\?\\" + folder.Path(name)).c_str(), nullptr));
    ::SetCurrentDirectoryW(folder.Path(L"g").c_str());  // relative paths begin in the first one
    const std::string deep = WindowsAgentCommon::ToUTF8(part + part);
    const std::pair<Params, std::string> rows[] = {
        {{{"FOLDER", "f/h/"}, {"DefFolder", "g"}}, "f\\h\\d.log"},
        {{{"DefFolder", ".\\f\\..\\g\\"}}, "g\\d.log"},
        {{{"Filename", "a.b.txt"}, {"Folder", "g"}}, "g\\a.b.txt"},
        {{{"Filename", "a.txt"}, {"FileExt", "csv"}}, "a.csv"},
        {{{"FileExt", ""}, {"Filename", "end."}}, "end.log"},
        {{{"File", "f/h/two.dots.txt"}, {"Folder", "g"}}, "f\\h\\two.dots.txt"},
        {{{"File", folder.Narrow("g/e\xC3\xA9.x")}}, "g\\e\xC3\xA9.x"},
        {{{"Filename", "g/../f/x"}, {"FileExt", "a/b"}}, "g\\..\\f\\x.log"},
        {{{"Folder", deep}}, deep + "d.log"}};
    for (const auto& [params, path] : rows) {
        SCOPED_TRACE(path);
        File file("d", {});
        for (int time = 0; time < 2; ++time) {  // as when the configuration is read again
            Setup(file, params);
            EXPECT_EQ(file.FileName(), folder.Narrow(path));
            Put(file, std::to_string(time));
            file.RollLogs();
        }
        std::wstring rolled = WindowsAgentCommon::FromUTF8(path);
        EXPECT_EQ(folder.Read(rolled.insert(rolled.rfind(L'.'), L"_1")), "1\n");
    }
    EXPECT_NE(TakeSideFile(), "<none>");
}

TEST_F(LogDstFileTest, SettingsAreToldAndWrongNumbersRefused) {
    const std::string stamp = "03-01 12:00:00.000   ",
                      sending = stamp + "Sending d to " + folder.Narrow("d.log ") + "lvl ",
                      defaults = sending +
                                 "500 rolling 1 files at 20000000 bytes, InfoX start 300/5000 next "
                                 "every 900 secs 60/200\n\n";
    LogDstFile file("d", "x");
    Setup(file, {});
    EXPECT_EQ(TakeSideFile(), defaults);
    for (const char* value : {"", "-1", "+1", "1x", " 1", "4294967296", "18446744073709551617"}) {
        Setup(file, {{"MaxFileSize", value}});
        EXPECT_EQ(TakeSideFile(),
                  stamp + "MaxFileSize of d is no number that can be used: " + value + "\n" + defaults);
    }
    Params params = {{"level", "InfoX"}, {"maxfilesize", "4294967295"}, {"MaxIndex", "2147483648"}};
    for (const char* name : {"startlen", "startmax", "nextevery", "nextLEN", "NEXTMax"})
        params["InfoX." + std::string(name)] = "00" + std::to_string(params.size());
    Setup(file, params);
    const std::string given = "350 rolling 1 files at -1 bytes, InfoX start 3/4 next every 5 secs 6/7\n\n";
    EXPECT_THAT(TakeSideFile(), ::testing::EndsWith(sending + given));
}

TEST_F(LogDstFileTest, InfoXLinesAreTakenWithinTheirWindows) {
    // Seconds, calls, lines taken: the defaults, among them a long silence that the windows catch up with one
    // by one, then others.
    const std::pair<Params, const char*> tables[] = {
        {{{"InfoX.startLen", "300"}, {"InfoX.startMax", "5000"}},
         "0 4990 4990  299 20 10  300 9 0  899 9 0  900 150 150  959 100 50  960 9 0  6300 5 0  6300 201 "
         "200"},
        {{{"InfoX.startMax", "0"}, {"InfoX.nextMax", "0"}}, "0 9 0  900 9 0  901 9 0"},
        {{{"InfoX.startMax", "7"}, {"InfoX.startLen", "11"}}, "0 5 5  10 5 2  11 5 0"},
        {{{"InfoX.nextEvery", "400"}, {"InfoX.nextLen", "4"}, {"InfoX.nextMax", "3"}},
         "300 1 0  403 9 3  404 1 0"}};
    for (const auto& [params, rows] : tables) {
        SCOPED_TRACE(rows);
        File file("d", {{"Level", "FATAL"}});
        std::istringstream row(rows);
        for (int now = 0, seconds, calls, expected; row >> seconds >> calls >> expected; now = seconds) {
            clock.AdvanceSeconds(seconds - now);
            clock.SetBySeconds(seconds % 2 == 0 ? 3600 : -3600);  // nobody's business here
            Setup(file, params);                                  // given again it grants nothing anew
            int taken = 0;
            for (int i = 0; i < calls; ++i) taken += file.accept(kLevelInfoX) ? 1 : 0;
            EXPECT_EQ(taken, expected) << seconds;
        }
    }
}

// A disk with little room, or a connection that breaks.
std::uint32_t room;
unsigned long refusal;

std::uint32_t WriteWhatFits(void* file, const void* bytes, std::uint32_t size, unsigned long& error) {
    DWORD written = 0;
    ::WriteFile(file, bytes, std::min(size, room), &written, nullptr);
    room -= written;
    error = written < size ? refusal : 0;
    return written;
}

class LogDstFileTroubleTest : public LoggingTest {
protected:
    ~LogDstFileTroubleTest() override { detail::ReplaceFileWrite(nullptr); }
};

TEST_F(LogDstFileTroubleTest, FolderThatIsMadeLaterGetsTheCountAndTheNextLines) {
    for (const std::string name : {"by flush", "by line"}) {
        const std::string path = folder.Narrow(name + "\\d.log");
        File file("d", {{"Folder", name}});
        for (const char* text : {"one", "two", "three"}) Put(file, text);
        file.flush(true);
        const std::string told = TakeSideFile();
        EXPECT_THAT(told, HasSubstr("ERROR : Unable to open log file " + path + "\n"));
        EXPECT_EQ(told.rfind("Unable"), told.find("Unable")) << "once";
        const std::wstring wide(name.begin(), name.end());
        ::CreateDirectoryW(folder.Path(wide).c_str(), nullptr);
        const bool byLine = name == "by line";
        byLine ? Put(file, "four") : file.flush(true);
        EXPECT_EQ(folder.Read(wide + L"\\d.log"), "WARN  LogDst : 3 lines were dropped while " + path +
                                                      " could not be written\n" + (byLine ? "four\n" : ""));
    }
}

TEST_F(LogDstFileTroubleTest, FullDiskLosesNothingThatTheBufferHoldsCountsTheRestAndTearsNoLine) {
    detail::ReplaceFileWrite(WriteWhatFits);
    refusal = ERROR_DISK_FULL;
    for (const std::uint32_t atOnce : {0U, 60U})
        for (const char* instant : {"t", "f"}) {
            SCOPED_TRACE(instant + std::to_string(atOnce));
            {
                File file("d", {{"Instant", instant}, {"MaxFileSize", "6000"}, {"MaxIndex", "500"}});
                for (int i = 0; i < 302; ++i) {
                    room = i < 300 ? atOnce : 1'000'000;
                    Put(file, std::to_string(1000 + i) + std::string(95, 'x'));
                    if (i % 7 == 0) file.flush(true);
                }
            }
            const std::string told = TakeSideFile(),
                              unable = "  ERROR : Unable to write log file " + folder.Narrow("d.log");
            EXPECT_THAT(told, HasSubstr(unable + "  Error: 112\n"));
            EXPECT_EQ(told.find(unable), told.rfind(unable)) << "once";
            std::string all;  // from the oldest file on
            const auto files = Files();
            EXPECT_LT(1U, files.size()) << "rolled when the disk has room, if not before";
            for (auto file = files.rbegin(); file != files.rend(); ++file) {
                all += file->second;
                Delete({file->first.begin(), file->first.end()});
            }
            int kept = 0, dropped = 0, last = 999;
            std::istringstream text(all);
            for (std::string line; std::getline(text, line);) {
                if (line.find("WARN  LogDst : ") == 0) {
                    dropped += std::stoi(line.substr(15));
                    continue;
                }
                ASSERT_EQ(line, line.substr(0, 4) + std::string(95, 'x'));
                EXPECT_GT(std::stoi(line), std::exchange(last, std::stoi(line))) << "in order, none twice";
                ++kept;
            }
            EXPECT_GE(kept, 100) << "what the buffer holds";
            EXPECT_EQ(kept + dropped, 302) << "each line once";
        }
}

TEST_F(LogDstFileTroubleTest, BrokenConnectionIsMadeAnewAndTheRestWritten) {
    File file("d", {});
    detail::ReplaceFileWrite(WriteWhatFits);
    refusal = ERROR_NETNAME_DELETED;
    room = 2;
    Put(file, "one");
    EXPECT_EQ(file.handle_, INVALID_HANDLE_VALUE);
    room = 100;
    file.flush(true);
    Put(file, "two");
    EXPECT_EQ(folder.Read(L"d.log"), "one\ntwo\n");
}

LogDst* endedIn;

std::uint32_t WriteUntilTheEnd(void* file, const void* bytes, std::uint32_t size, unsigned long& error) {
    WriteWhatFits(file, bytes, size, error);
    detail::ReplaceFileWrite(nullptr);
    detail::FileAccess::Finish(*endedIn);
    return size;
}

TEST_F(LogDstFileTroubleTest, EndOfTheProcessWritesWhatAThreadEndedInTheMiddleOfWritingDidNot) {
    for (const std::uint32_t reached : {0U, 1U, 5U, 12U}) {
        folder.Write(L"d.log", "before\n");
        {
            File file("d", {{"Instant", "false"}});
            endedIn = &file;
            room = reached;
            for (const char* text : {"one", "two", "four"}) Put(file, text);
            detail::ReplaceFileWrite(WriteUntilTheEnd);
            file.flush(false);
        }
        EXPECT_EQ(folder.Read(L"d.log"), "before\none\ntwo\nfour\n") << reached;
    }
}

TEST_F(LogDstFileTroubleTest, FileRenamedOrDeletedBehindItsBackIsBegunAnew) {
    // Not deleted with a line waiting: Wine lets a file that is being deleted be opened anew.
    for (const auto& [moved, busy] : {std::pair(false, false), {true, false}, {true, true}}) {
        SCOPED_TRACE(moved + busy);
        File file("d", {{"Instant", "f"}});
        Put(file, "one");
        file.flush(false);
        EXPECT_TRUE(moved ? ::MoveFileW(L"d.log", L"moved") : ::DeleteFileW(L"d.log"));
        if (busy) Put(file, "two");
        file.flush(true);
        Put(file, "three");
        file.flush(true);
        EXPECT_EQ(folder.Read(L"d.log"), "three\n");
        EXPECT_EQ(folder.Read(L"moved"), !moved ? "<none>" : busy ? "one\ntwo\n" : "one\n");
        for (const wchar_t* name : {L"d.log", L"moved"}) Delete(name);
    }
}

TEST_F(LogDstFileTroubleTest, SideFileIsSetAsideAtItsLimitAndItsLinesAreBounded) {
    const std::string line = "heading  " + std::string(2000, 'y') + "\n", old(4'999'999, 'x');
    for (const std::string& before : {old, old + "x"}) {
        const bool setAside = before != old;
        folder.Write(L"logger.log", before);
        detail::WriteSideFile("heading", "%s", std::string(3000, 'y').c_str());
        EXPECT_TRUE(TakeSideFile() == (setAside ? line : before + line));
        EXPECT_TRUE(folder.Read(L"logger_old.log") == (setAside ? before : "<none>"));
    }
    Delete(L"logger_old.log");
    ::CreateDirectoryW(folder.Path(L"logger_old.log").c_str(), nullptr);
    folder.Write(L"logger.log", std::string(5'000'000, 'x'));
    detail::WriteSideFile("", "cannot be set aside");
    EXPECT_EQ(TakeSideFile(), "  cannot be set aside\n");
}

}  // namespace
}  // namespace CorvaneLogger
