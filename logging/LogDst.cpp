#include "CorvaneLogger/LogDst.h"

#include "CorvaneLogger/CV_Logger.h"
#include "CorvaneLogger/Levels.h"
#include "foundation/Clock.h"
#include "foundation/Printf.h"
#include "logging/ProcessEnd.h"
#include "logging/SideFile.h"
#include "logging/TimeStamp.h"

#include <cstring>
#include <ctime>

#include "foundation/Win32.h"

namespace CorvaneLogger {
namespace {

constexpr char kDefaultPattern[] = "%H:%M:%S";
constexpr std::int64_t kSecondsTo1970 =
    WindowsAgentCommon::detail::kTicksTo1970 / WindowsAgentCommon::detail::kTicksPerSecond;

bool SameName(const std::string& name, const char* other) { return ::_stricmp(name.c_str(), other) == 0; }

}  // namespace

LogDst::LogDst(const std::string& name, const std::string& cls, const char* type)
    : name_(name),
      cls_(cls),
      type_(type),
      prefixPattern_{},
      prefix_{},
      prefixLen_(0),
      level_(kLevelTrace),
      lastStampMs_(-1),
      stampLen_(0) {
    std::memcpy(prefixPattern_, kDefaultPattern, sizeof kDefaultPattern);
}

LogDst::~LogDst() = default;

void LogDst::setup(std::map<std::string, std::string>& params) {
    bool tooLong = false;
    for (const auto& [name, value] : params) {
        if (SameName(name, "Prefix") || SameName(name, "ConversionPattern"))
            tooLong = !setPrefixPattern(value) || tooLong;
        else if (SameName(name, "Level"))
            level_ = CV_Logger::getLvl(value);
    }
    {
        const detail::LockUnlessEnding lock(lock_);
        if (lock) params_ = params;
    }
    if (tooLong) logToSelf(kLevelInfo, "INFO ", "Prefix is too long, max is 20");
}

// False when the pattern is too long.
bool LogDst::setPrefixPattern(const std::string& pattern) {
    if (pattern.size() >= kPatternSize) return false;
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return true;
    if (!detail::IsKnownPattern(pattern)) {
        detail::WriteSideFile(getPrefix(), "Prefix %s of %s has an unknown code", pattern.c_str(),
                              name_.c_str());
        return true;
    }
    std::memcpy(prefixPattern_, pattern.c_str(), pattern.size() + 1);
    lastStampMs_ = -1;
    return true;
}

bool LogDst::accept(int level) { return PlainLevel(level) <= level_; }

void LogDst::log(int, const char*, const char*, unsigned int, const char*) {}

void LogDst::flush(bool) {}

bool LogDst::getParam(const char* name, std::string& value) {
    const detail::LockUnlessEnding lock(lock_);
    if (!lock) return false;
    for (const auto& param : params_) {
        if (!SameName(param.first, name)) continue;
        value = param.second;
        return true;
    }
    return false;
}

bool LogDst::IsA(const char* type) const noexcept { return std::strcmp(type_, type) == 0; }

void LogDst::logToSelf(int level, const char* tag, const std::string& message) {
    const std::string start = std::string(tag) + " LogDst : ", line = start + message + "\n";
    log(level, "LogDst", line.c_str(), static_cast<unsigned>(line.size()), line.c_str() + start.size());
}

const char* LogDst::getPrefix() noexcept {
    using namespace WindowsAgentCommon::detail;
    if (prefixPattern_[0] == 0) {
        prefix_[0] = 0;
        prefixLen_ = 0;
        return prefix_;
    }
    // Multiplied, since this machine's 64-bit division costs more than the rest of the function.
    const std::int64_t now = SystemTicks(), passed = now - lastStampMs_ * kTicksPerMillisecond;
    if (passed < 0 || passed >= kTicksPerMillisecond) formatStamp(now / kTicksPerMillisecond);
    return prefix_;
}

void LogDst::formatStamp(std::int64_t milliseconds) noexcept {
    if (lastStampMs_ < 0 || milliseconds / 1000 != lastStampMs_ / 1000) {
        const std::tm local = detail::LocalTime(milliseconds / 1000 - kSecondsTo1970);
        stampLen_ =
            static_cast<std::uint32_t>(detail::FormatTime(prefix_, kStampSize, prefixPattern_, local));
    }
    const int fraction = static_cast<int>(milliseconds % 1000);
    char* at = prefix_ + stampLen_;
    *at++ = '.';
    *at++ = static_cast<char>('0' + fraction / 100);
    *at++ = static_cast<char>('0' + fraction / 10 % 10);
    *at++ = static_cast<char>('0' + fraction % 10);
    *at++ = ' ';
    *at = 0;
    prefixLen_ = static_cast<std::uint32_t>(at - prefix_);
    lastStampMs_ = milliseconds;
}

}  // namespace CorvaneLogger
