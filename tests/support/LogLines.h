#pragma once

#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/LogDst.h"

#include <string>

namespace WindowsAgentCommon::test {

/// A base logger at trace level whose lines can be read, as "<level> <message>" and a line feed each.
struct LogLines : CorvaneLogger::LogDst {
    LogLines() : LogDst("lines", "Lines") { base.AddDest(this); }
    bool accept(int) override { return true; }
    void log(int level, const char*, const char*, unsigned int, const char* message) override {
        text += std::to_string(level) + " " + message;
    }

    CorvaneLogger::BaseLogger base{"Code", CorvaneLogger::kLevelTrace};
    std::string text;
};

}  // namespace WindowsAgentCommon::test
