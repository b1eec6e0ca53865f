#pragma once

#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/LogDst.h"

#include <string>

namespace WindowsAgentCommon::test {

/// A base logger at trace level whose lines can be read, as "<level> <message>" and a line feed each.
struct LogLines : CorvaneLogger::LogDst {
    LogLines() : LogDst("lines", "Lines") { base.AddDest(this); }
    /// Takes the lines of a category of the registry as long as it lives.
    explicit LogLines(const std::string& category) : LogLines() {
        CorvaneLogger::CV_Logger::Logger(category).Reset(&base);
        isInRegistry = true;
    }
    ~LogLines() override {
        if (isInRegistry) CorvaneLogger::CV_Logger::TheLogger().FixBaseLoggers();
    }
    bool accept(int) override { return true; }
    void log(int level, const char*, const char*, unsigned int, const char* message) override {
        text += std::to_string(level) + " " + message;
    }

    CorvaneLogger::BaseLogger base{"Code", CorvaneLogger::kLevelTrace};
    std::string text;
    bool isInRegistry = false;
};

}  // namespace WindowsAgentCommon::test
