#pragma once

#include "CorvaneLogger/ALogger.h"
#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/LogDst.h"

#include <string>

namespace WindowsAgentCommon::test {

/// A base logger at trace level whose lines can be read, as "<level> <message>" and a line feed each.
struct LogLines : CorvaneLogger::LogDst {
    LogLines() : LogDst("lines", "Lines") { base.AddDest(this); }
    /// What is logged under the category comes here as long as the object lives.
    explicit LogLines(const std::string& category) : LogLines() {
        logger_ = &CorvaneLogger::CV_Logger::Logger(category);
        before_ = logger_->Base();
        logger_->Reset(&base);
    }
    ~LogLines() override {
        if (logger_ != nullptr) logger_->Reset(before_);
    }
    bool accept(int) override { return true; }
    void log(int level, const char*, const char*, unsigned int, const char* message) override {
        text += std::to_string(level) + " " + message;
    }

    CorvaneLogger::BaseLogger base{"Code", CorvaneLogger::kLevelTrace};
    std::string text;

private:
    CorvaneLogger::ALogger* logger_ = nullptr;
    CorvaneLogger::BaseLogger* before_ = nullptr;
};

}  // namespace WindowsAgentCommon::test
