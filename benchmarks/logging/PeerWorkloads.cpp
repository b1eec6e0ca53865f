// Loggers that the product is measured beside. They need the compiler's posix thread model, so they are a
// program of their own. Each writes the product's line through its own formatting.

#include "benchmarks/logging/Workload.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <memory>
#include <utility>

using namespace WindowsAgentCommon;

namespace {

spdlog::logger FileLogger(const char* file) {
    spdlog::logger logger(bench::kCategory, std::make_shared<spdlog::sinks::basic_file_sink_mt>(file));
    // %l is lower case and has no width of its own that would give "INFO ", so the level is plain text.
    logger.set_formatter(std::make_unique<spdlog::pattern_formatter>("%m-%d %H:%M:%S.%e INFO  %n : %v",
                                                                     spdlog::pattern_time_type::local, "\n"));
    logger.set_level(spdlog::level::info);
    return logger;
}

void Log(spdlog::logger& logger, int calls) {
    bench::LogLines(calls, [&](int event, const char* channel, int milliseconds, int depth) {
        logger.info("Event {} from channel {} took {} ms, queue depth {}", event, channel, milliseconds,
                    depth);
    });
}

void SpdlogOneThread(const bench::Run& run) {
    spdlog::logger logger = FileLogger(run.file);
    bench::TimeRounds(run, [&](int calls) {
        Log(logger, calls);
        logger.flush();
    });
}

void SpdlogTwoThreads(const bench::Run& run) {
    spdlog::logger logger = FileLogger(run.file);
    bench::TimeRounds(run, [&](int calls) {
        bench::InTwoThreads([&] { Log(logger, calls / 2); });
        logger.flush();
    });
}

void SpdlogDisabled(const bench::Run& run) {
    spdlog::logger logger = FileLogger(run.file);
    bench::TimeRounds(run, [&](int calls) {
        bench::RepeatLine(calls, [&](int event, const char* channel, int milliseconds, int depth) {
            logger.debug("Event {} from channel {} took {} ms, queue depth {}", event, channel, milliseconds,
                         depth);
        });
    });
}

/// GCC does not inline what checks the level in debug(), although it is in the header; here the check is
/// inline.
void SpdlogCheck(const bench::Run& run) {
    spdlog::logger logger = FileLogger(run.file);
    bench::TimeRounds(run, [&](int calls) {
        bench::RepeatLine(calls, [&](int event, const char* channel, int milliseconds, int depth) {
            if (!logger.should_log(spdlog::level::debug)) return;
            logger.debug("Event {} from channel {} took {} ms, queue depth {}", event, channel, milliseconds,
                         depth);
        });
    });
}

void Log4cplusOneThread(const bench::Run& run) {
    const log4cplus::Initializer initializer;
    log4cplus::helpers::Properties properties;
    properties.setProperty("File", run.file);
    properties.setProperty("ImmediateFlush", "false");
    properties.setProperty("BufferSize", "10000");  // the product's
    properties.setProperty("TextMode", "Binary");
    const log4cplus::SharedAppenderPtr appender(new log4cplus::FileAppender(properties));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%m-%d %H:%M:%S.%q} %-5p %c : %m%n"));
    log4cplus::Logger logger = log4cplus::Logger::getInstance(bench::kCategory);
    logger.addAppender(appender);
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    // It has no call that writes out its buffer; closing the appender does, after the rounds.
    bench::TimeRounds(run, [&](int calls) {
        bench::LogLines(calls, [&](int event, const char* channel, int milliseconds, int depth) {
            LOG4CPLUS_INFO_FMT(logger, bench::kFormat, event, channel, milliseconds, depth);
        });
    });
    logger.closeNestedAppenders();
}

const bench::Workload kSpdlogOneThread("spdlog-one-thread", SpdlogOneThread);
const bench::Workload kSpdlogTwoThreads("spdlog-two-threads", SpdlogTwoThreads);
const bench::Workload kSpdlogDisabled("spdlog-disabled", SpdlogDisabled);
const bench::Workload kSpdlogCheck("spdlog-check", SpdlogCheck);
const bench::Workload kLog4cplusOneThread("log4cplus-one-thread", Log4cplusOneThread);

}  // namespace

int main(int argc, char** argv) { return bench::Workload::Main(argc, argv); }
