// The logger in processes that race, are killed and end.

#include "WindowsAgentCommon/AgentPaths.h"
#include "tests/support/Program.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

using test::Program;
using test::RunProgram;
using test::TempFolder;

/// What the files of a folder hold, from the oldest rolled file to the live one.
struct Lines {
    std::map<std::pair<int, int>, int> counts;  // of process and thread: from 0, each once and in order
    std::string faults;
    int torn = 0, rolled = 0;  // torn: each the last line of a process

    /// Takes the rolled files from an index on, and deletes them.
    void TakeRolled(const TempFolder& folder, int from) {
        std::vector<int> indexes;
        for (const std::wstring& name : folder.Files(L"main_*.log"))
            indexes.push_back(std::stoi(name.substr(5)));
        std::sort(indexes.rbegin(), indexes.rend());
        for (const int index : indexes) {
            if (index < from) break;
            const std::wstring name = L"main_" + std::to_wstring(index) + L".log";
            Take(folder.Read(name));
            ++rolled;
            ::DeleteFileW(folder.Path(name).c_str());
        }
    }

    Lines& TakeAll(const TempFolder& folder) {
        TakeRolled(folder, 0);
        if (folder.Has(L"main.log")) Take(folder.Read(L"main.log"));
        return *this;
    }

private:
    void Take(const std::string& text) {
        for (std::size_t at = 0, end; at < text.size(); at = end) {
            end = std::min(text.find('\n', at), text.size() - 1) + 1;
            TakeLine(text.substr(at, end - at));
        }
    }

    void TakeLine(const std::string& line) {
        int process = -1, thread = -1, number = -1;
        std::sscanf(line.c_str(), "INFO  Stress.Sub%*d : %d %d %d", &process, &thread, &number);
        const std::string ofThread = std::to_string(thread) + ' ';
        const std::string whole = "INFO  Stress.Sub" + ofThread + ": " + std::to_string(process) + ' ' +
                                  ofThread + std::to_string(number) + " end\n";
        if (line != whole) {
            ++torn;
            tornProcess_ = process_;
            // The piece of a line that a killed process began is the beginning of one, and nothing else.
            if (line.find(" end") != line.npos || line.find("INFO", 1) != line.npos)
                faults += "glued: " + line;
            return;
        }
        process_ = process;
        if (process == tornProcess_) faults += "behind a torn line: " + line;
        if (number != counts[{process, thread}]++) faults += "not the next one: " + line;
    }

    int process_ = 0, tornProcess_ = -1;
};

std::wstring Arguments(const wchar_t* mode, const TempFolder& folder) {
    return std::wstring(mode) + L" \"" + folder.Path(L".\"");
}

TEST(LoggingProcess, ThreadsLoseTearAndReorderNoLineWhileEverythingChanges) {
    const TempFolder folder;
    ASSERT_EQ("", RunProgram(BinFile(L"logging-host.exe"), Arguments(L"many-threads", folder)));
    EXPECT_FALSE(folder.Has(L"main_0.log"));
    const Lines lines = Lines().TakeAll(folder);
    EXPECT_EQ("", lines.faults);
    EXPECT_EQ(0, lines.torn);
    EXPECT_LE(20, lines.rolled);
    for (int thread = 0; thread < 16; ++thread) EXPECT_EQ(50'000, lines.counts.at({0, thread}));
}

TEST(LoggingProcess, KilledAtAnyMomentKeepsEveryFlushedLine) {
    constexpr int kKills = 200;
    const TempFolder folder;
    folder.Write(L"main.log", "INFO  Stress.Sub0 : 0 0 0 en");
    std::mt19937 random(20'260'301);
    int inRolls = 0;
    Lines lines;
    std::map<std::pair<int, int>, int> flushed;
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
        for (std::size_t at = 0, end; (end = told.find('\n', at)) != told.npos; at = end + 1) {
            int thread = 0, count = 0;
            ASSERT_EQ(2, std::sscanf(told.c_str() + at, "%d %d", &thread, &count));
            flushed[{process, thread}] = count;
        }
        if (process % 10 == 0) lines.TakeRolled(folder, 1);  // rolls take long when there are many
    }
    lines.TakeAll(folder);
    EXPECT_EQ("", lines.faults);
    EXPECT_LE(1, lines.torn);
    EXPECT_LT(20, lines.rolled);
    EXPECT_LT(0, inRolls);
    EXPECT_LT(static_cast<unsigned>(kKills), flushed.size());
    for (const auto& [writer, count] : flushed) EXPECT_LE(count, lines.counts[writer]) << writer.first;
}

/// Lets a program end, and looks for every line that it counted.
void ExpectEndWithAllLines(const wchar_t* program, const wchar_t* mode) {
    SCOPED_TRACE(mode);
    const TempFolder folder;
    EXPECT_EQ("", RunProgram(BinFile(program), Arguments(mode, folder)));
    Lines lines = Lines().TakeAll(folder);
    EXPECT_EQ("", lines.faults);
    EXPECT_EQ(0, lines.torn);
    const std::string bytes = folder.Read(L"counts");
    int counts[16];
    ASSERT_EQ(sizeof counts, bytes.size());
    std::memcpy(counts, bytes.data(), sizeof counts);
    EXPECT_LE(100, counts[0]);
    // A thread that was ended between a line and its counting has one more.
    for (int at = 0; at < 16; ++at) {
        const int found = lines.counts[{at / 4, at % 4}];
        EXPECT_TRUE(found == counts[at] || found == counts[at] + 1) << found << " of " << counts[at];
    }
}

TEST(LoggingProcess, EndsByItselfWithAllLinesWritten) {
    for (const wchar_t* mode :
         {L"never-opened", L"open", L"closed", L"closes-static", L"rolling", L"rolling"})
        ExpectEndWithAllLines(L"logging-host.exe", mode);
    for (const wchar_t* mode :
         {L"closes-in-a-dll", L"unloads-open", L"unloads-after-close", L"unloads-beside-a-scheduler"})
        ExpectEndWithAllLines(L"logging-loader.exe", mode);
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
