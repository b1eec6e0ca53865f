#include "WindowsAgentCommon/LinearRegressionAlgo.h"

#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <limits>

using namespace WindowsAgentCommon;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
using Line = std::pair<double, double>;

TEST(LinearRegressionAlgo, FitsALineThroughTheSamplesItStillHas) {
    const std::tuple<const char*, unsigned int, std::vector<Line>, Line, Line> rows[] = {
        {"one", 4, {{1, 2}}, {0, 0}, {0, 0}},
        {"the oldest drops out", 3, {{0, 99}, {1, 2}, {2, 4}, {3, 6}}, {2, 0}, {2, 4}},
        {"no line", 4, {{0, 1}, {0, 3}, {4, 5}, {4, 7}}, {1, 2}, {2, 4}},
        {"no room", 0, {{1, 2}, {2, 4}}, {0, 0}, {0, 0}},
        {"equal x", 4, {{5, 1}, {5, 2}, {5, 6}}, {kInfinity, kInfinity}, {5, 3}},
        {"equal x, rounded mean", 3, {{.1, 1}, {.1, 2}, {.1, 6}}, {kInfinity, kInfinity}, {.1 + 1e-17, 3}},
    };
    ::_control87(_PC_53, _MCW_PC);  // the precision in most compilers' programs
    for (const auto& [what, capacity, samples, line, averages] : rows) {
        SCOPED_TRACE(what);
        LinearRegressionAlgo regression(capacity);
        for (const auto& [x, y] : samples) regression.AddSample(x, y);
        EXPECT_EQ(regression.GetSampleCount(), std::min<std::size_t>(samples.size(), capacity));
        EXPECT_EQ(regression.Compute(), line);
        EXPECT_EQ(Line(regression.GetXRollingAverage(), regression.GetYRollingAverage()), averages);
        regression.Clear();
        EXPECT_EQ(regression.Compute(), Line(0, 0));
        EXPECT_EQ(regression.GetSampleCount(), 0u);
    }
}

TEST(LinearRegressionAlgo, SetDataReplacesAllOrNothing) {
    LinearRegressionAlgo regression(2);
    regression.AddSample(1, 1);
    EXPECT_FALSE(regression.SetData({1, 2}, {1, 2, 3}));
    EXPECT_EQ(regression.GetSampleCount(), 1u);
    EXPECT_TRUE(regression.SetData({1, 2, 3}, {5, 3, 1}));
    EXPECT_EQ(regression.Compute(), Line(-2, 7));
    EXPECT_TRUE(regression.SetData({7, 8}, {1, 2}));
    for (int i = 0; i < 2; ++i) regression.AddSample(9, 3);  // the capacity has grown to 3 and stays there
    EXPECT_EQ(regression.GetSampleCount(), 3u);
    EXPECT_TRUE(regression.SetData({}, {}));
    EXPECT_EQ(regression.Compute(), Line(0, 0));
}

TEST(LinearRegressionAlgo, CopiesHaveSamplesOfTheirOwnAndAveragesUseADerivedFit) {
    struct Derived : LinearRegressionAlgo {
        using LinearRegressionAlgo::LinearRegressionAlgo;
        Line Compute() override { return ++calls, LinearRegressionAlgo::Compute(); }
        int calls = 0;
    } first(3);
    for (int i = 0; i < 5; ++i) first.AddSample(i, i * i);
    LinearRegressionAlgo second(first);
    second = *&second;
    second.AddSample(5, 25);
    EXPECT_EQ(second.GetXRollingAverage(), 4);
    EXPECT_EQ(Line(first.GetXRollingAverage(), first.GetYRollingAverage()), Line(3, 29.0 / 3));
    EXPECT_EQ(first.calls, 2);
}

TEST(LinearRegressionAlgo, NoReaderSeesHalfASampleAndAssigningBothWaysDoesNotLock) {
    LinearRegressionAlgo first(8), second(8);
    bool odd = false;
    const test::Thread feeding([&] {
        for (int i = 0; i < 5000; ++i) {
            first.AddSample(i, i);
            if (i % 10 == 0) first = second;
        }
    });
    while (feeding.IsAtWork()) {
        const double slope = first.Compute().first;
        odd = odd || (slope != 1 && slope != 0);
        second = first;
    }
    EXPECT_FALSE(odd);
}

}  // namespace
