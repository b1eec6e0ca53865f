#include "logging/Rolling.h"
#include "foundation/Win32Handle.h"
#include "tests/logging/LoggingTest.h"

namespace CorvaneLogger {
namespace {

using WindowsAgentCommon::detail::FileHandle;
using Names = std::map<std::string, std::string>;

class RollingTest : public LoggingTest {
protected:
    // As a backup program does: others may read and write, but neither rename nor delete.
    FileHandle Hold(const wchar_t* name) const {
        return FileHandle(::CreateFileW(folder.Path(name).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                        nullptr));
    }
    std::string Path(const std::string& name) const { return folder.Narrow(name); }
};

// L: the live file; digits, then letters: the rolled file of that index.
std::string NameOf(char file) {
    return file == 'L' ? "n.log" : "n_" + std::to_string(file <= '9' ? file - '0' : file - 'A' + 10) + ".log";
}

TEST_F(RollingTest, FilesBecomeOneOlderAndOthersStay) {
    const struct {
        std::int32_t maxIndex;
        std::string before, after;  // after: each file and what it was before
    } rows[] = {{1, "L", "1L"},          {1, "L1", "1L"},      {0, "L13", ""},  {3, "L1237", "1L2132"},
                {11, "L9ABZ", "1LA9BA"}, {3, "L01", "1L2031"}, {1, "L01", "1L"}};
    ::CreateDirectoryW(folder.Path(L"n_8.log").c_str(), nullptr);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        Names before, after;
        for (const char file : row.before) before[NameOf(file)] = file;
        for (std::size_t at = 0; at < row.after.size(); at += 2)
            after[NameOf(row.after[at])] = row.after[at + 1];
        // None of these is ours, whatever it looks like.
        for (const char* name :
             {"n_01.log", "n_1.logx", "n_1.log.bak", "n_9_1.log", "nn_9.log", "n_.log", "n_-9.log", "n_9.txt",
              "n_ 9.log", "n9.log", "n_9b.log", "n_99999999999.log"})
            before[name] = after[name] = name;
        for (const auto& [name, text] : before) folder.Write({name.begin(), name.end()}, text);
        detail::Roll({Path(""), "n", "log"}, row.maxIndex, [](const std::string&) {});
        EXPECT_EQ(Files(), after);
        for (const auto& file : Files()) Delete({file.first.begin(), file.first.end()});
        EXPECT_TRUE(folder.Has(L"n_8.log"));
    }
}

TEST_F(RollingTest, FileIsRolledAtItsLimitAndEveryStepTold) {
    folder.Write(L"d_7.log", "old");
    LogDstFile file("d", "x");
    Setup(file, {{"MaxFileSize", "1000"}, {"MaxIndex", "3"}, {"Instant", "false"}});
    TakeSideFile();
    std::string all;
    for (int i = 0; i < 50; ++i) {
        const std::string text = std::to_string(1000 + i) + std::string(76, 'x');
        Put(file, text);
        all += "03-01 12:00:00.000 " + text + "\n";  // 100 bytes each
        if (i != 21) continue;
        const std::string stamp = "03-01 12:00:00.000   ";
        const std::string start = stamp + "Rolling files curSize 1100 maxSize 1000 maxFiles 3\n" + stamp +
                                  "Renaming " + Path("d.log") + " to " + Path("d_0.log\n");
        EXPECT_EQ(TakeSideFile(), start + stamp + "Deleting " + Path("d_7.log\n") + start + stamp +
                                      "Renaming " + Path("d_1.log") + " to " + Path("d_2.log\n"));
    }
    file.flush(false);
    EXPECT_EQ(Files(), Names({{"d.log", all.substr(4400)},
                              {"d_1.log", all.substr(3300, 1100)},
                              {"d_2.log", all.substr(2200, 1100)},
                              {"d_3.log", all.substr(1100, 1100)}}));
}

TEST_F(RollingTest, HeldFileIsTriedAgainAfterAFurtherFifthUntilItIsReleased) {
    const struct {
        std::size_t before;         // bytes in the file
        std::map<int, int> rolled;  // after this line: ms that the attempt waits
    } rows[] = {
        {0, {{11, 900}, {13, 900}, {15, 900}, {17, 0}, {28, 0}}},
        {9900, {{1, 900}, {4, 900}, {6, 900}, {8, 900}, {10, 900}, {12, 900}, {14, 900}, {16, 0}, {27, 0}}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        folder.Write(L"d.log", row.before > 0 ? std::string(row.before - 1, 'x') + "\n" : "");
        File file("d", {{"MaxFileSize", "1000"}, {"MaxIndex", "2"}});
        FileHandle held = Hold(L"d.log");
        TakeSideFile();
        std::int64_t slept = clock.SleptMilliseconds();
        for (int lines = 1; lines <= 28; ++lines) {
            if (lines == 16) held.Reset();
            Put(file, std::string(99, 'x'));
            const auto attempt = row.rolled.find(lines);
            const std::string told = TakeSideFile(), failed = "  Unable to rename " + Path("d.log") +
                                                              "  to  " + Path("d_0.log") + "  Error: 32\n";
            const bool due = attempt != row.rolled.end();
            EXPECT_EQ(told.find("  Rolling files curSize ") == 0, due) << lines << told;
            EXPECT_EQ(told.find(failed) != told.npos, due && attempt->second > 0) << lines << told;
            slept += due ? attempt->second : 0;
            EXPECT_EQ(clock.SleptMilliseconds(), slept) << lines;
        }
        EXPECT_EQ(folder.Read(L"d_1.log").size(), 1100U);
    }
}

TEST_F(RollingTest, RolledFilesThatAreHeldStayNothingIsOverwrittenAndWhatCannotPassIsNotWaitedFor) {
    for (const wchar_t* name : {L"d.log", L"d_1.log", L"d_2.log"}) folder.Write(name, "old\n");
    File file("d", {{"MaxIndex", "1"}});
    TakeSideFile();
    FileHandle one = Hold(L"d_1.log"), two = Hold(L"d_2.log");
    file.RollLogs();
    file.RollLogs();
    EXPECT_EQ(Files(),
              Names({{"d.log", ""}, {"d_0.log", "old\n"}, {"d_1.log", "old\n"}, {"d_2.log", "old\n"}}));
    const std::string told = TakeSideFile();
    for (const std::string& line : {"  Unable to delete " + Path("d_2.log") + "  Error: 32\n",
                                    "  Unable to rename " + Path("d_0.log") + "  to  " + Path("d_1.log"),
                                    "  Unable to rename " + Path("d.log") + "  to  " + Path("d_0.log")})
        EXPECT_NE(told.find(line), std::string::npos) << told;
    one.Reset();
    two.Reset();
    Put(file, "next");
    file.RollLogs();
    file.flush(true);
    Delete(L"d.log");
    file.RollLogs();
    EXPECT_EQ(Files(), Names({{"d.log", ""}, {"d_1.log", "next\n"}}));
    EXPECT_EQ(clock.SleptMilliseconds(), 0);
}

TEST_F(RollingTest, FileThatIsNotContinuedIsRolledAtItsFirstOpeningIfItIsWorthIt) {
    const struct {
        const char *append, *maxFileSize, *content;
        bool rolled;
    } rows[] = {{"f", "1000", "more than 1%\n", true},
                {"f", "1000", "just 1% i\n", false},
                {"f", "0", "x\n", true},
                {"t", "1000", "more than 1%\n", false},
                {"f", "0", "", false}};
    for (const auto& [append, maxFileSize, content, rolled] : rows) {
        folder.Write(L"d.log", content);
        File file("d", {{"Append", append}, {"MaxFileSize", maxFileSize}});
        Put(file, "more than ten bytes");
        file.reset();
        EXPECT_EQ(folder.Read(L"d_1.log"), rolled ? content : "<none>") << append << content;
        EXPECT_EQ(folder.Read(L"d.log"), (rolled ? "" : content) + std::string("more than ten bytes\n"));
        Delete(L"d_1.log");
    }
}

}  // namespace
}  // namespace CorvaneLogger
