// A program that logs under stress, and ends in all manner of ways. Arguments: what to do, a folder to do it
// in, the number of the process.

#include "WindowsAgentCommon/Encoding.h"
#include "tests/logging/StressLog.h"
#include "tests/support/HeapMeter.h"
#include "tests/support/Thread.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

using namespace CorvaneLogger;
using namespace WindowsAgentCommon::test;
using namespace CorvaneLogger::test;

namespace {

/// Starts a thread that goes on when main returns.
void StartEndless(std::function<void()> work) {
    static auto& threads = *std::make_unique<std::vector<std::unique_ptr<Thread>>>().release();
    threads.push_back(std::make_unique<Thread>(std::move(work)));
}

int ManyThreads() {
    CV_Logger& registry = CV_Logger::TheLogger();
    LogDstFile& file = UseFile("1300000");
    LogDst nothing("nothing", "x");
    LogDst* const slots[3][4] = {{&file}, {&file, &nothing}, {&nothing, &file}};
    std::atomic<int> running{16}, rounds{0};
    registry.open();
    std::vector<std::unique_ptr<Thread>> threads;
    for (int thread = 0; thread < 16; ++thread)
        threads.push_back(std::make_unique<Thread>([thread, &running, &rounds] {
            ALogger& logger = CV_Logger::Logger(Category(thread));
            for (int line = 0; line < 50'000; ++line) {
                Log(logger, 0, thread, line);
                while (line == 25'000 && rounds < 16) ::SwitchToThread();  // changes must not come too late
            }
            --running;
        }));
    for (int round = 0; running > 0; round = ++rounds) {
        const int level = round % 2 == 0 ? kLevelInfo : kLevelTrace;
        registry.flushDsts();
        registry.addBaseLogger("Stress", level)->SetDests(slots[round % 3]);
        registry.addBaseLogger(Category(round % 16), level)->SetDests(slots[(round + 1) % 3]);
        registry.FixBaseLoggers();
        if (round % 64 == 0 && round < 64 * 20) file.RollLogs();
    }
    threads.clear();
    return registry.close();
}

/// Two threads log, flush, and tell the lines that were flushed: "thread count".
int UntilKilled(int process) {
    UseFile("20000");
    CV_Logger::TheLogger().open();
    const auto work = [process](int thread) {
        ALogger& logger = CV_Logger::Logger(Category(thread));
        for (int line = 0;;) {
            for (const int stop = line + 50; line < stop; ++line) Log(logger, process, thread, line);
            CV_Logger::TheLogger().flushDsts();
            const std::string told = std::to_string(thread) + " " + std::to_string(line) + "\n";
            DWORD written = 0;
            ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), told.data(), static_cast<DWORD>(told.size()),
                        &written, nullptr);
        }
    };
    StartEndless([&work] { work(0); });
    work(1);
    return 0;
}

// --- ends ---

struct AtEnd {
    bool closes = false;
    ~AtEnd() try {
        if (!closes) return;
        LogAndCount(0, 0);
        CV_Logger::TheLogger().close();
    } catch (...) {  // the count tells
        return;
    }
} atEnd;

// Four threads, each with its thousandth line behind it, in the middle of logging and rolling.
void LogForEver() {
    UseFile("1000000");
    for (int thread = 0; thread < 4; ++thread)
        StartEndless([thread] {
            for (;;) LogAndCount(0, thread);
        });
    for (int thread = 0; thread < 4; ++thread)
        while (Count(0, thread) < 1000) ::SwitchToThread();
}

// A thread that waits, within the destination's lock, for a file that cannot be renamed.
void RollForEver(LogDstFile& file) {
    ::CreateFileW(L"main.log", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                  nullptr);
    StartEndless([&file] {
        for (;;) file.RollLogs();
    });
    for (std::string word; word != "Renaming";)
        for (std::ifstream told("logger.log"); word != "Renaming" && told >> word;) continue;
}

int End(const std::string& mode) {
    CV_Logger& registry = CV_Logger::TheLogger();
    LogDstFile& file = UseFile("0");
    if (mode != "never-opened") registry.open();
    for (int line = 0; line < 100; ++line) LogAndCount(0, 0);
    if (mode == "closed") registry.close(), registry.close(), LogAndCount(0, 0);
    if (mode == "logging") LogForEver();
    if (mode == "rolling") RollForEver(file);
    atEnd.closes = mode == "closes-static";
    return 0;
}

// --- allocations ---

int AllocationsOfLines(const char* instant, LogDst* only) {
    std::map<std::string, std::string> params = {{"Instant", instant}, {"Prefix", "%m-%d %H:%M:%S"}};
    LogDst* const destinations[4] = {only};
    only->setup(params);
    CV_Logger::TheLogger().findBaseLogger("root", false)->SetDests(destinations);
    ALogger& logger = CV_Logger::Logger("Allocations");
    int before = 0;
    for (int line = -1; line < 1000; ++line) {
        if (line == 0) before = HeapMeter::Allocations();
        logger.Info("%d %s %I64d %5.2f %ls", line, "text", -5'000'000'000LL, 3.14159, L"wide");
    }
    return HeapMeter::Allocations() - before;
}

int Allocations() {
    const HeapMeter meter;
    LogDst *const file = &UseFile("0"), *const console = CV_Logger::TheLogger().findLogDst("console");
    const int buffered = AllocationsOfLines("false", file), instant = AllocationsOfLines("true", file),
              onConsole = AllocationsOfLines("true", console), before = HeapMeter::Allocations();
    WindowsAgentCommon::ToUTF8(std::wstring(1000, L'x'));
    std::printf("%d %d %d %s", buffered, instant, onConsole,
                HeapMeter::Allocations() > before ? "counts" : "blind");
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
