#pragma once

#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/LogDstFile.h"

#include <stdexcept>

#include <windows.h>

namespace CorvaneLogger::test {

/// Every line of the programs under stress tells its process, its thread and its number among theirs, and has
/// an end by which a torn one is known.
inline void Log(ALogger& logger, int process, int thread, int number) {
    logger.Info("%d %d %d end", process, thread, number);
}
inline std::string Category(int thread) { return "Stress.Sub" + std::to_string(thread); }

/// Makes "main.log" in the working folder, buffered, without time stamps and with all rolled files kept, the
/// only destination of root.
inline LogDstFile& UseFile(const char* maxFileSize) {
    CV_Logger& registry = CV_Logger::TheLogger();
    LogDst* const only[4] = {registry.addDest("main", "RollingFile")};
    std::map<std::string, std::string> params = {
        {"Prefix", ""}, {"Instant", "false"}, {"MaxFileSize", maxFileSize}, {"MaxIndex", "100000"}};
    only[0]->setup(params);
    registry.findBaseLogger("root", false)->SetDests(only);
    return static_cast<LogDstFile&>(*only[0]);
}

/// How many lines of each thread (four per process) were logged, in the file "counts" of the working folder:
/// mapped, so that the test can read it however the process ended. Stays mapped.
inline std::atomic<int>& Count(int process, int thread) {
    static std::atomic<int>* const counts = [] {
        const HANDLE file =
            ::CreateFileW(L"counts", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                          nullptr, OPEN_ALWAYS, 0, nullptr);
        const HANDLE mapping = ::CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 64, nullptr);
        void* const view = ::MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0);
        ::CloseHandle(mapping);
        ::CloseHandle(file);
        if (view == nullptr) throw std::runtime_error("no counts");
        return static_cast<std::atomic<int>*>(view);
    }();
    return counts[process * 4 + thread];
}

inline void LogAndCount(int process, int thread) {
    std::atomic<int>& count = Count(process, thread);
    Log(CV_Logger::Logger(Category(thread)), process, thread, count);
    ++count;
}

}  // namespace CorvaneLogger::test
