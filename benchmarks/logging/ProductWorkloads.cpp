// The product's logger with a file destination.

#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/LogDstFile.h"
#include "benchmarks/logging/Workload.h"

#include <map>
#include <string>

using namespace WindowsAgentCommon;
using CorvaneLogger::ALogger;
using CorvaneLogger::CV_Logger;

namespace {

ALogger& FileLogger(const char* file, const char* instant) {
    CV_Logger& registry = CV_Logger::TheLogger();
    CorvaneLogger::BaseLogger* const base = registry.addBaseLogger("Code", 300);  // INFO
    CorvaneLogger::LogDst* const destination = registry.addDest("bench-file", "RollingFile");
    std::map<std::string, std::string> params{
        {"File", file}, {"Instant", instant}, {"MaxFileSize", "0"}, {"Append", "true"}};
    destination->setup(params);
    base->AddDest(destination);
    return CV_Logger::Logger(bench::kCategory);
}

void Log(ALogger& logger, int calls) {
    bench::LogLines(calls, [&](int event, const char* channel, int milliseconds, int depth) {
        logger.Info(bench::kFormat, event, channel, milliseconds, depth);
    });
}

void OneThread(const bench::Run& run) {
    ALogger& logger = FileLogger(run.file, "false");
    bench::TimeRounds(run, [&](int calls) {
        Log(logger, calls);
        CV_Logger::TheLogger().flushDsts();
    });
}

void TwoThreads(const bench::Run& run) {
    ALogger& logger = FileLogger(run.file, "false");
    bench::TimeRounds(run, [&](int calls) {
        bench::InTwoThreads([&] { Log(logger, calls / 2); });
        CV_Logger::TheLogger().flushDsts();
    });
}

void Disabled(const bench::Run& run) {
    ALogger& logger = FileLogger(run.file, "false");
    bench::TimeRounds(run, [&](int calls) {
        bench::RepeatLine(calls, [&](int event, const char* channel, int milliseconds, int depth) {
            logger.Debug(bench::kFormat, event, channel, milliseconds, depth);
        });
    });
}

void Instant(const bench::Run& run) {
    ALogger& logger = FileLogger(run.file, "true");
    bench::TimeRounds(run, [&](int calls) { Log(logger, calls); });
}

const bench::Workload kOneThread("product-one-thread", OneThread);
const bench::Workload kTwoThreads("product-two-threads", TwoThreads);
const bench::Workload kDisabled("product-disabled", Disabled);
const bench::Workload kInstant("product-instant", Instant);

}  // namespace
