// A program that logs under stress, and ends in all manner of ways. Arguments: what to do, a folder to do it
// in, the number of the process.

#include "WindowsAgentCommon/Encoding.h"
#include "tests/logging/StressLog.h"
#include "tests/support/AllocationCounter.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

using namespace CorvaneLogger;
using test::Category;
using test::Counts;

namespace {

class Threads {
public:
    void Start(std::function<void()> body) {
        bodies_.push_back(std::make_unique<std::function<void()>>(std::move(body)));
        handles_.push_back(::CreateThread(nullptr, 0, Run, bodies_.back().get(), 0, nullptr));
    }
    void Join() {
        for (const HANDLE handle : handles_) {
            ::WaitForSingleObject(handle, INFINITE);
            ::CloseHandle(handle);
        }
    }

private:
    static DWORD WINAPI Run(void* body) { return (*static_cast<std::function<void()>*>(body))(), 0; }

    std::vector<std::unique_ptr<std::function<void()>>> bodies_;
    std::vector<HANDLE> handles_;
};

// Threads that go on when main returns, with all that they use.
Threads& EndlessThreads() { return *std::make_unique<Threads>().release(); }

test::CloseAtEnd closeAtEnd;

// --- a configuration that changes under threads ---

/// Takes lines in memory, and counts those that are not whole.
class Checker : public LogDst {
public:
    Checker() : LogDst("checker", "checker") {}
    void log(int, const char* category, const char* line, unsigned length, const char* message) override {
        const std::string text(line, length);
        const std::size_t at = text.size() - std::strlen(message);
        const bool whole = text.compare(at - 3, 3, " : ") == 0 && text.compare(6, at - 9, category) == 0 &&
                           text.compare(text.size() - 5, 5, " end\n") == 0;
        if (!whole) ++torn;
    }
    std::atomic<int> torn{0};
};

void ChangeEverything(LogDstFile& file, Checker& checker, int round) {
    CV_Logger& registry = CV_Logger::TheLogger();
    LogDst* const slots[3][4] = {{&file}, {&file, &checker}, {&checker, &file}};
    registry.flushDsts();
    const int level = round % 2 == 0 ? kLevelInfo : kLevelTrace;
    registry.addBaseLogger("Stress", level)->SetDests(slots[round % 3]);
    registry.addBaseLogger(Category(round % 16), level)->SetDests(slots[(round + 1) % 3]);
    registry.FixBaseLoggers();
    if (round % 64 == 0 && round < 64 * 20) file.RollLogs();
}

int ManyThreads() {
    LogDstFile& file = test::UseFile("1300000");
    Checker checker;
    std::atomic<int> running{16}, rounds{0};
    CV_Logger::TheLogger().open();
    Threads threads;
    for (int thread = 0; thread < 16; ++thread) {
        threads.Start([thread, &running, &rounds] {
            ALogger& logger = CV_Logger::Logger(Category(thread));
            for (int line = 0; line < 50'000; ++line) {
                logger.Info(test::kLineFormat, 0, thread, line);
                while (line == 25'000 && rounds < 16) ::SwitchToThread();  // changes must not come too late
            }
            --running;
        });
    }
    while (running > 0) ChangeEverything(file, checker, rounds++);
    threads.Join();
    CV_Logger::TheLogger().close();
    return checker.torn == 0 ? 0 : 2;
}

// --- a process to be killed ---

/// Two threads log, flush, and tell the lines that were flushed: "thread count".
int UntilKilled(int process) {
    test::UseFile("20000");
    CV_Logger::TheLogger().open();
    const auto work = [process](int thread) {
        ALogger& logger = CV_Logger::Logger(Category(thread));
        for (int line = 0;;) {
            for (const int stop = line + 50; line < stop; ++line)
                logger.Info(test::kLineFormat, process, thread, line);
            CV_Logger::TheLogger().flushDsts();
            const std::string told = std::to_string(thread) + " " + std::to_string(line) + "\n";
            DWORD written = 0;
            ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), told.data(), static_cast<DWORD>(told.size()),
                        &written, nullptr);
        }
    };
    EndlessThreads().Start([&work] { work(0); });
    work(1);
    return 0;
}

// --- ends ---

// Four threads, each with its thousandth line behind it, in the middle of logging and rolling.
void LogForEver(Counts& counts) {
    test::UseFile("1000000");
    Threads& threads = EndlessThreads();
    for (int thread = 0; thread < Counts::kThreads; ++thread)
        threads.Start([thread, counts]() mutable {
            for (;;) counts.Log(0, thread);
        });
    for (int thread = 0; thread < Counts::kThreads; ++thread)
        while (counts.Of(0, thread) < 1000) ::SwitchToThread();
}

// A thread that waits, within the destination's lock, for a file that cannot be renamed.
void RollForEver(LogDstFile& file) {
    ::CreateFileW(L"main.log", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                  nullptr);
    EndlessThreads().Start([&file] {
        for (;;) file.RollLogs();
    });
    for (std::string told; told.find("Renaming") == std::string::npos;) {
        std::ifstream stream("logger.log");
        told.assign(std::istreambuf_iterator<char>(stream), {});
    }
}

int End(const std::string& mode) {
    static Counts counts;
    CV_Logger& registry = CV_Logger::TheLogger();
    LogDstFile& file = test::UseFile("0");
    if (mode != "never-opened") registry.open();
    for (int line = 0; line < 100; ++line) counts.Log(0, 0);
    if (mode == "closed" || mode == "closed-twice") registry.close();
    if (mode == "closed-twice") registry.close();
    if (mode == "closed") counts.Log(0, 0);
    if (mode == "closes-static") closeAtEnd = {true, &counts};
    if (mode == "logging") LogForEver(counts);
    if (mode == "rolling") RollForEver(file);
    return 0;
}

// --- allocations ---

int AllocationsOfLines(const char* instant, LogDst* only) {
    LogDstFile& file = test::UseFile("0");
    std::map<std::string, std::string> params = {{"Instant", instant}, {"Prefix", "%m-%d %H:%M:%S"}};
    file.setup(params);
    LogDst* const destinations[4] = {only != nullptr ? only : &file};
    CV_Logger::TheLogger().findBaseLogger("root", false)->SetDests(destinations);
    ALogger& logger = CV_Logger::Logger("Allocations");
    int before = 0;
    for (int line = -1; line < 1000; ++line) {
        if (line == 0) before = WindowsAgentCommon::test::AllocationCounter::Count();
        logger.Info("%d %s %I64d %5.2f %ls", line, "text", -5'000'000'000LL, 3.14159, L"wide");
    }
    return WindowsAgentCommon::test::AllocationCounter::Count() - before;
}

int Allocations() {
    using Counter = WindowsAgentCommon::test::AllocationCounter;
    for (const wchar_t* dll :
         {L"CorvaneCommon.dll", L"libstdc++-6.dll", L"libACE.dll", L"libgcc_s_dw2-1.dll"})
        if (!Counter::Watch(dll)) return 1;
    LogDst* const console = CV_Logger::TheLogger().findLogDst("console");
    const int buffered = AllocationsOfLines("false", nullptr), instant = AllocationsOfLines("true", nullptr),
              onConsole = AllocationsOfLines("true", console), before = Counter::Count();
    WindowsAgentCommon::ToUTF8(std::wstring(1000, L'x'));
    std::printf("%d %d %d %s", buffered, instant, onConsole, Counter::Count() > before ? "counts" : "blind");
    return 0;
}

}  // namespace

int main(int count, char** arguments) try {
    if (count < 3 || !::SetCurrentDirectoryA(arguments[2])) return 1;
    const std::string mode = arguments[1];
    if (mode == "many-threads") return ManyThreads();
    if (mode == "until-killed") return UntilKilled(std::atoi(arguments[3]));
    if (mode == "allocations") return Allocations();
    return End(mode);
} catch (...) {
    return 1;
}
