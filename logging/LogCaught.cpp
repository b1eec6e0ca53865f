#include "logging/LogCaught.h"

#include "CorvaneLogger/CV_Logger.h"

#include <exception>

namespace CorvaneLogger::detail {
namespace {

void Log(const char* category, const char* what, const std::string& name, const char* reason) {
    CV_Logger::Logger(category).Error("%s %s: %s", what, name.c_str(), reason);
}

}  // namespace

void LogCaught(const char* category, const char* what, const std::string& name) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& failure) {
            Log(category, what, name, failure.what());
        } catch (...) {
            Log(category, what, name, "unknown exception");
        }
    } catch (...) {  // no memory for a logger
    }
}

}  // namespace CorvaneLogger::detail
