// The logger in processes that race, are killed and end.

#include "WindowsAgentCommon/AgentPaths.h"
#include "WindowsAgentCommon/Formatting.h"
#include "tests/support/Program.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <map>
#include <random>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using test::Program;
using test::RunProgram;
using test::TempFolder;

using Writer = std::pair<int, int>;  // process, thread

/// What the files of a folder hold, from the oldest rolled file to the live one.
class Lines {
public:
    Lines() = default;
    explicit Lines(const TempFolder& folder) { TakeAll(folder); }

    void TakeAll(const TempFolder& folder) {
        unfinishedRoll = folder.Has(L"main_0.log");
        TakeRolled(folder, 0);
        if (folder.Has(L"main.log")) Take(folder.Read(L"main.log"));
    }

    /// Takes the rolled files from an index on, and deletes them.
    void TakeRolled(const TempFolder& folder, int from) {
        std::vector<int> indexes;
        WIN32_FIND_DATAW entry;
        const detail::FindHandle search(::FindFirstFileW(folder.Path(L"main_*.log").c_str(), &entry));
        for (BOOL found = static_cast<bool>(search); found; found = ::FindNextFileW(search.Get(), &entry))
            indexes.push_back(::_wtoi(entry.cFileName + std::wcslen(L"main_")));
        std::sort(indexes.rbegin(), indexes.rend());
        for (const int index : indexes) {
            if (index < from) break;
            const std::wstring name = L"main_" + std::to_wstring(index) + L".log";
            Take(folder.Read(name));
            ++rolled;
            ::DeleteFileW(folder.Path(name).c_str());
        }
    }

    std::map<Writer, int> counts;  // numbered from 0, each once and in order
    std::vector<std::string> faults;
    int torn = 0;  // each the last line of a process
    std::size_t rolled = 0;
    bool unfinishedRoll = false;

private:
    void Take(const std::string& text) {
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.find('\n', at), text.size());
            TakeLine(text.substr(at, end - at), end < text.size());
            at = end + 1;
        }
    }

    void TakeLine(const std::string& line, bool ended) {
        int category = 0, process = 0, thread = 0, number = 0;
        std::string whole;
        const bool read = std::sscanf(line.c_str(), "INFO  Stress.Sub%d : %d %d %d end", &category, &process,
                                      &thread, &number) == 4;
        if (!read || !ended ||
            Format(whole, "INFO  Stress.Sub%d : %d %d %d end", thread, process, thread, number) != line) {
            ++torn;
            tornProcess_ = process_;
            // The piece of a line that a killed process began is the beginning of one, and nothing else.
            if (line.find(" end") != std::string::npos || line.find("INFO", 1) != std::string::npos)
                faults.push_back("glued: " + line);
            return;
        }
        process_ = process;
        if (process == tornProcess_) faults.push_back("behind a torn line: " + line);
        if (number != counts[{process, thread}]++) faults.push_back("not the next one: " + line);
    }

    int process_ = 0, tornProcess_ = -1;
};

std::wstring Arguments(const wchar_t* mode, const TempFolder& folder) {
    return std::wstring(mode) + L" \"" + folder.Path(L".\"");
}

TEST(LoggingProcess, ThreadsLoseTearAndReorderNoLineWhileEverythingChanges) {
    const TempFolder folder;
    ASSERT_EQ("", RunProgram(BinFile(L"logging-host.exe"), Arguments(L"many-threads", folder)));
    const Lines lines(folder);
    EXPECT_EQ(std::vector<std::string>(), lines.faults);
    EXPECT_EQ(0, lines.torn);
    EXPECT_FALSE(lines.unfinishedRoll);
    EXPECT_LE(20U, lines.rolled);
    for (int thread = 0; thread < 16; ++thread) EXPECT_EQ(50'000, lines.counts.at({0, thread}));
}

/// Takes over what a process told: "thread count" in each line, the last of which may be cut off.
void TakeTold(const std::string& told, int process, std::map<Writer, int>& flushed) {
    for (std::size_t at = 0, end; (end = told.find('\n', at)) != std::string::npos; at = end + 1) {
        int thread = 0, count = 0;
        ASSERT_EQ(2, std::sscanf(told.c_str() + at, "%d %d", &thread, &count));
        flushed[{process, thread}] = count;
    }
}

TEST(LoggingProcess, KilledAtAnyMomentKeepsEveryFlushedLine) {
    const TempFolder folder;
    folder.Write(L"main.log", "INFO  Stress.Sub0 : 0 0 0 en");
    std::mt19937 random(20'260'301);
    std::map<Writer, int> flushed;
#ifdef _GLIBCXX_ASSERTIONS
    constexpr int kKills =
        100;  // the hardened run traces the heap, with which each start takes three times as long
#else
    constexpr int kKills = 200;
#endif
    int inRolls = 0;
    Lines lines;
    for (int process = 1; process <= kKills; ++process) {
        Program host(BinFile(L"logging-host.exe"),
                     Arguments(L"until-killed", folder) + L" " + std::to_wstring(process));
        std::string told;
        for (auto reads = random() % 5 + 1; reads > 0; --reads) told += host.Read();
        for (auto turns = random() % 20'000; turns > 0; --turns) ::SwitchToThread();  // into the work
        host.Kill();
        for (std::string rest = host.Read(); !rest.empty(); rest = host.Read()) told += rest;
        host.Wait();
        if (folder.Has(L"main_0.log") || !folder.Has(L"main.log")) ++inRolls;
        TakeTold(told, process, flushed);
        if (process % 10 == 0) lines.TakeRolled(folder, 1);  // rolls take long when there are many
    }
    lines.TakeAll(folder);

    EXPECT_EQ(std::vector<std::string>(), lines.faults);
    EXPECT_LE(1, lines.torn);
    EXPECT_LT(20U, lines.rolled);
    EXPECT_LT(static_cast<unsigned>(kKills), flushed.size());
    for (const auto& [writer, count] : flushed) EXPECT_LE(count, lines.counts.at(writer)) << writer.first;
    EXPECT_LT(0, inRolls);
    RecordProperty("inRolls", inRolls);
    RecordProperty("torn", lines.torn);
    RecordProperty("rolled", static_cast<int>(lines.rolled));
}

/// Lets a program end, and looks for every line that it counted.
void ExpectEndWithAllLines(const wchar_t* program, const wchar_t* mode) {
    const TempFolder folder;
    EXPECT_EQ("", RunProgram(BinFile(program), Arguments(mode, folder)));
    Lines lines(folder);
    EXPECT_EQ(std::vector<std::string>(), lines.faults);
    EXPECT_EQ(0, lines.torn);
    const std::string bytes = folder.Read(L"counts");
    ASSERT_EQ(64U, bytes.size());
    int counts[16];
    std::memcpy(counts, bytes.data(), sizeof counts);
    EXPECT_LE(100, counts[0]);
    // A thread that was ended between a line and its counting has one more.
    for (int at = 0; at < 16; ++at) {
        const int found = lines.counts[{at / 4, at % 4}];
        EXPECT_TRUE(found == counts[at] || found == counts[at] + 1) << found << " of " << counts[at];
    }
}

TEST(LoggingProcess, EndsByItselfWithAllLinesWritten) {
    for (const wchar_t* mode : {L"never-opened", L"open", L"closed", L"closed-twice", L"closes-static",
                                L"rolling", L"rolling", L"rolling"}) {
        SCOPED_TRACE(mode);
        ExpectEndWithAllLines(L"logging-host.exe", mode);
    }
    for (const wchar_t* mode : {L"closes-in-a-dll", L"unloads-open", L"unloads-after-close"}) {
        SCOPED_TRACE(mode);
        ExpectEndWithAllLines(L"logging-loader.exe", mode);
    }
}

TEST(LoggingProcess, EndsBesideThreadsThatLogWithAllLinesWritten) {
    for (int run = 0; run < 15; ++run) ExpectEndWithAllLines(L"logging-host.exe", L"logging");
}

TEST(LoggingProcess, ALineAllocatesNothing) {
    const TempFolder folder;
    const std::string output = RunProgram(BinFile(L"logging-host.exe"), Arguments(L"allocations", folder));
    EXPECT_EQ("0 0 0 counts", output.substr(output.rfind('\n') + 1));
}

}  // namespace
}  // namespace WindowsAgentCommon
