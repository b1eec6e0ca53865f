#include "WindowsAgentCommon/BacklogMonitor.h"

#include "tests/support/LogLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

using namespace WindowsAgentCommon;

namespace {

struct BacklogMonitorTest : ::testing::Test {
    test::LogLines lines;
    CorvaneLogger::ALogger logger{"Code.Backlog", &lines.base};
    Log log{logger};
    std::string text;
};

TEST_F(BacklogMonitorTest, DecidesByDispositionAndRatio) {
    const std::vector<double> xs = {0, 5, 10}, rising = {1, 2, 3}, falling = {3, 2, 1}, flat = {3, 3, 3};
    const std::tuple<std::vector<double>, unsigned int, unsigned int, const char*> rows[] = {
        {{}, 500, 4, "0 samples, slope   0.000, disposition 0 => falling behind"},
        {{5}, 400, 4, "only 1 samples, slope   0.000, disposition 0"},
        {falling, 400, 4, "3 samples, slope  -0.200, disposition -1 => falling behind"},
        {falling, 399, 4, "3 samples, slope  -0.200, disposition -1 => too many"},
        {rising, 21, 4, "3 samples, slope   0.200, disposition 1 => falling behind"},
        {rising, 20, 4, "3 samples, slope   0.200, disposition 1 => ok"},
        {rising, 7, 4, "3 samples, slope   0.200, disposition 1 => too many"},
        {flat, 8, 4, "3 samples, slope   0.000, disposition 0 => ok"},
        {flat, 0, 0, "3 samples, slope   0.000, disposition 0 => falling behind"},
    };
    for (const auto& [depths, messages, threads, end] : rows) {
        const std::string expected =
            std::to_string(threads) + " threads, " + std::to_string(messages) + " msgs in the Q, " + end;
        SCOPED_TRACE(expected);
        BacklogMonitor monitor(10);
        monitor.minimumSamples = 3;
        monitor.lowDispositionLimit = -1;
        monitor.SetData({xs.begin(), xs.begin() + static_cast<int>(depths.size())}, depths);
        lines.text.clear();
        const WHAT2DO advice = monitor.WhatToDo(messages, threads, log, text);
        EXPECT_EQ(text, expected);
        EXPECT_EQ(advice, expected.find("behind") != std::string::npos ? kBacklogFallingBehind
                          : expected.find("many") != std::string::npos ? kBacklogTooMany
                                                                       : kBacklogOk);
        const bool decided = text.find("=>") != std::string::npos;
        EXPECT_EQ(lines.text, (decided ? "400" : "500") + (" Backlog check: " + text + "\n"));
        EXPECT_EQ(monitor.GetSampleCount(), decided ? 0 : depths.size());
        EXPECT_EQ(monitor.GetDisposition() + monitor.GetSlope(), 0);
    }
}

TEST_F(BacklogMonitorTest, DispositionCountsFitsAndStaysInRange) {
    BacklogMonitor monitor(10);
    EXPECT_EQ(monitor.UpdateDisposition(), 0);
    monitor.SetData({0, 5, 10}, {3, 2, 1});
    for (int i = 0; i < 32767; ++i) monitor.UpdateDisposition();
    for (int twice = 0; twice < 2; ++twice) EXPECT_EQ(monitor.UpdateDisposition(), -32768);
    EXPECT_EQ(BacklogMonitor(monitor).GetDisposition(), -32768);
    EXPECT_EQ(BacklogMonitor(3).minimumSamples, 3u);  // what it holds is always enough
}

TEST_F(BacklogMonitorTest, DefaultsReactWithinAMinuteAndDoNotFlap) {
    // Of 4 threads, checked every 5 seconds: the decisions since a change of load (+ falling behind, o ok,
    // - too many, a blank for none), and how deep the queue is at the check of this number since it. Up to 11
    // checks lie before it, so that it meets every moment of a period.
    const std::pair<const char*, int (*)(int)> rows[] = {
        // an overload, after a drain
        {"[ o]{0,12}\\+[ +]*", [](int check) { return check < 0 ? 10 - 30 * check : 10 + 12 * check; }},
        // a drain; fewer than 8 messages are left from check 30 on
        {"[ o]{30,35}-[ -]*", [](int check) { return check < 0 ? 390 : std::max(0, 390 - 13 * check); }},
        // a burst
        {"[ o]*\\+?[ o]*", [](int check) { return check < 0 ? 10 : std::max(10, 300 - 60 * check); }},
        // noise
        {"[ o]*", [](int check) { return 8 + (check * check) % 13; }},
    };
    lines.base.SetLevel(CorvaneLogger::kLevelError);
    for (const auto& [good, depthAt] : rows)
        for (int trial = 0; trial < 24; ++trial) {
            BacklogMonitor monitor(64);
            std::string decisions;
            for (int check = -trial / 2; check < 60; ++check) {
                const auto depth = static_cast<unsigned int>(depthAt(check));
                monitor.AddSample(5.0 * check, depth);
                if (trial % 2 != 0) monitor.UpdateDisposition();
                const WHAT2DO advice = monitor.WhatToDo(depth, 4, log, text);
                if (check >= 0) decisions += monitor.GetSampleCount() == 0 ? "o+-"[advice] : ' ';
            }
            EXPECT_TRUE(std::regex_match(decisions, std::regex(good))) << good << " " << decisions;
        }
}

}  // namespace
