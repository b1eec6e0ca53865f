#pragma once

#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/LogDstFile.h"

#include <array>
#include <atomic>
#include <stdexcept>

#include <windows.h>

namespace CorvaneLogger::test {

/// Every line of the programs under stress tells its process, its thread and its number among theirs, and has
/// an end by which a torn one is known.
constexpr char kLineFormat[] = "%d %d %d end";

/// The category of a thread's lines.
inline std::string Category(int thread) { return "Stress.Sub" + std::to_string(thread); }

/// Makes "main.log" in the working folder, buffered, without time stamps and with all rolled files kept, the
/// only destination of root.
inline LogDstFile& UseFile(const char* maxFileSize) {
    CV_Logger& registry = CV_Logger::TheLogger();
    LogDst* const file = registry.addDest("main", "RollingFile");
    std::map<std::string, std::string> params = {
        {"Prefix", ""}, {"Instant", "false"}, {"MaxFileSize", maxFileSize}, {"MaxIndex", "100000"}};
    file->setup(params);
    LogDst* const only[4] = {file};
    registry.findBaseLogger("root", false)->SetDests(only);
    return static_cast<LogDstFile&>(*file);
}

/// How many lines of each thread (four per process) were logged, in the file "counts" of the working folder:
/// mapped, so that the test can read it however the process ended. Stays mapped.
class Counts {
public:
    static constexpr int kThreads = 4;

    Counts() {
        const HANDLE file =
            ::CreateFileW(L"counts", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                          nullptr, OPEN_ALWAYS, 0, nullptr);
        const HANDLE mapping = ::CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 64, nullptr);
        if (file != INVALID_HANDLE_VALUE)
            counts_ = static_cast<std::atomic<int>*>(::MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
        ::CloseHandle(mapping);
        ::CloseHandle(file);
        if (counts_ == nullptr) throw std::runtime_error("no counts");
    }

    std::atomic<int>& Of(int process, int thread) { return counts_[process * kThreads + thread]; }

    void Log(int process, int thread) {
        std::atomic<int>& count = Of(process, thread);
        CV_Logger::Logger(Category(thread)).Info(kLineFormat, process, thread, count.load());
        ++count;
    }

private:
    std::atomic<int>* counts_ = nullptr;
};

/// Closes the registry when static objects are destroyed.
struct CloseAtEnd {
    bool wanted = false;
    Counts* counts = nullptr;  // where to count a line before; null for none
    ~CloseAtEnd() {
        if (counts != nullptr) counts->Log(0, 0);
        if (wanted) CV_Logger::TheLogger().close();
    }
};

}  // namespace CorvaneLogger::test
