#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "tests/support/FakeClock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

TEST(SettingTime, MissingTimesHaveSymbolicDefaults) {
    const test::FakeClock clock;  // 2026-03-01 12:00:00
    const std::multimap<std::string, std::string> entries = {{"bad", "x"},
                                                             {"good", "20181212.145337.1234567"}};
    const EnvironmentBlockHelper helper(entries);
    const SYSTEMTIME nines = {9, 9, 9, 9, 9, 9, 9, 9};
    const std::tuple<const char*, const char*, bool, std::int64_t, SYSTEMTIME> rows[] = {
        {"good", "ZERO", true, 131891000171234567, {2018, 12, 9, 12, 14, 53, 37, 123}},
        {"bad", "NOW", true, 0, {}},
        {"none", "NOW", false, test::FakeClock::kStart, {2026, 3, 0, 1, 12, 0, 0, 0}},
        {"none", "ZERO", false, 0, {}},
        {"none", "now", false, 9, nines},
        {"none", nullptr, false, 9, nines}};
    for (const auto& [name, spec, found, ticks, system] : rows) {
        SCOPED_TRACE(std::string(name) + " " + (spec != nullptr ? spec : "null"));
        FILETIME file = {9, 0};
        SYSTEMTIME parts = nines;
        EXPECT_EQ(found, helper.GetDateTime(name, file, spec));
        EXPECT_EQ(found, helper.GetDateTime(name, parts, spec));
        EXPECT_EQ(0, std::memcmp(&ticks, &file, sizeof file));
        EXPECT_EQ(0, std::memcmp(&system, &parts, sizeof parts));
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
