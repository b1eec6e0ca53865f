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
    } rows[] = {{1, "L", "1L"},         {1, "L1", "1L"},   {0, "L13", ""},
                {3, "L1237", "1L2132"}, {3, "L2", "1L32"}, {11, "L9ABZ", "1LA9BA"},
                {3, "L01", "1L2031"},   {1, "L01", "1L"},  {2, "1", "11"}};
    ::CreateDirectoryW(folder.Path(L"n_8.log").c_str(), nullptr);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        Names before, after;
        for (const char file : row.before) before[NameOf(file)] = file;
        for (std::size_t at = 0; at < row.after.size(); at += 2)
            after[NameOf(row.after[at])] = row.after[at + 1];
        // None of these is ours, whatever it looks like.
        for (const char* name :
             {"n_01.log", "n_1.logx", "n_1.log.bak", "n_9_1.log", "n_b_9.log", "nn_9.log", "n_.log",
              "n_-9.log", "n_9.txt", "n_ 9.log", "n_9", "n9.log", "n_9b.log", "n_99999999999.log"})
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
    const Names expected = {{"d.log", all.substr(4400)},
                            {"d_1.log", all.substr(3300, 1100)},
                            {"d_2.log", all.substr(2200, 1100)},
                            {"d_3.log", all.substr(1100, 1100)}};
    EXPECT_EQ(Files(), expected);
    EXPECT_EQ(clock.SleptMilliseconds(), 0);
}

TEST_F(RollingTest, HeldFileIsTriedAgainAfterAFurtherFifthUntilItIsReleased) {
    File file("d", {{"MaxFileSize", "1000"}, {"MaxIndex", "2"}});
    FileHandle held = Hold(L"d.log");
    TakeSideFile();
    const std::string line(99, 'x');
    const std::map<int, int> attempts = {
        {11, 900}, {13, 900}, {15, 900}, {17, 0}, {28, 0}};  // ms that they wait
    std::int64_t slept = 0;
    for (int lines = 1; lines <= 28; ++lines) {
        if (lines == 16) held.Reset();
        Put(file, line);
        const auto attempt = attempts.find(lines);
        if (attempt == attempts.end()) {
            EXPECT_EQ(TakeSideFile(), "<none>") << lines;
            continue;
        }
        EXPECT_EQ(clock.SleptMilliseconds(), slept += attempt->second) << lines;
        std::string told = "  Rolling files curSize " + std::to_string(lines == 28 ? 1100 : lines * 100) +
                           " maxSize 1000 maxFiles 2\n  Renaming " + Path("d.log") + " to " +
                           Path("d_0.log\n");
        if (attempt->second > 0)
            told += "  Unable to rename " + Path("d.log") + "  to  " + Path("d_0.log") + "  Error: 32\n";
        if (lines == 28) told += "  Renaming " + Path("d_1.log") + " to " + Path("d_2.log\n");
        EXPECT_EQ(TakeSideFile(), told);
    }
    EXPECT_EQ(folder.Read(L"d_1.log").size(), 1100U);
    EXPECT_EQ(folder.Read(L"d_2.log").size(), 1700U);
}

TEST_F(RollingTest, RolledFilesThatAreHeldStayAndNothingIsOverwritten) {
    for (const wchar_t* name : {L"d.log", L"d_1.log", L"d_2.log"}) folder.Write(name, "old");
    File file("d", {{"MaxIndex", "1"}});
    TakeSideFile();
    FileHandle one = Hold(L"d_1.log"), two = Hold(L"d_2.log");
    file.RollLogs();
    const Names stuck = {{"d.log", ""}, {"d_0.log", "old"}, {"d_1.log", "old"}, {"d_2.log", "old"}};
    EXPECT_EQ(Files(), stuck);
    const std::string told = TakeSideFile();
    for (const std::string& line : {"  Unable to delete " + Path("d_2.log") + "  Error: 32\n",
                                    "  Unable to rename " + Path("d_0.log") + "  to  " + Path("d_1.log")})
        EXPECT_NE(told.find(line), std::string::npos) << told;
    one.Reset();
    two.Reset();
    Put(file, "next");
    file.RollLogs();
    const Names rolled = {{"d.log", ""}, {"d_1.log", "next\n"}};
    EXPECT_EQ(Files(), rolled);
}

TEST_F(RollingTest, FileThatIsNotContinuedIsRolledAtItsFirstOpeningIfItIsWorthIt) {
    const struct {
        const char *append, *maxFileSize, *content;
        bool rolled;
    } rows[] = {{"f", "1000", "more than 1%", true},
                {"f", "1000", "just 1% it", false},
                {"f", "0", "x", true},
                {"t", "1000", "more than 1%", false},
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
