#include "WindowsAgentCommon/EnvironmentBlockHelper.h"
#include "tests/support/FakeClock.h"

#include <gtest/gtest.h>

#include <cstring>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

TEST(SettingTime, MissingTimesHaveSymbolicDefaults) {
    const test::FakeClock clock;  // 2026-03-01 12:00:00
    const std::multimap<std::string, std::string> entries = {{"bad", "x"},
                                                             {"good", "20181212.145337.1234567"}};
    const EnvironmentBlockHelper helper(entries);
    const struct {
        const char *name, *spec;
        bool found;
        std::int64_t ticks;
        SYSTEMTIME system;
    } rows[] = {{"good", "ZERO", true, 131891000171234567, {2018, 12, 9, 12, 14, 53, 37, 123}},
                {"bad", "NOW", true, 0, {}},
                {"none", "NOW", false, test::FakeClock::kStart, {2026, 3, 0, 1, 12, 0, 0, 0}},
                {"none", "ZERO", false, 0, {}},
                {"none", "now", false, 9, {9, 9, 9, 9, 9, 9, 9, 9}},
                {"none", nullptr, false, 9, {9, 9, 9, 9, 9, 9, 9, 9}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + (row.spec != nullptr ? row.spec : "null"));
        FILETIME file = {9, 0};
        EXPECT_EQ(row.found, helper.GetDateTime(row.name, file, row.spec));
        std::int64_t ticks = 0;
        std::memcpy(&ticks, &file, sizeof ticks);
        EXPECT_EQ(row.ticks, ticks);
        SYSTEMTIME system = {9, 9, 9, 9, 9, 9, 9, 9};
        EXPECT_EQ(row.found, helper.GetDateTime(row.name, system, row.spec));
        EXPECT_EQ(0, std::memcmp(&row.system, &system, sizeof system));
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
