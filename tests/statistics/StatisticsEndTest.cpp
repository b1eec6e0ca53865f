#include "WindowsAgentCommon/CV_Statistics.h"
#include "WindowsAgentCommon/SimpleEPS.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace WindowsAgentCommon;

namespace {

// Beside a thread that waits for its minute and one that may be anywhere, with locks of ours.
void EndWithoutClose() {
    CV_Statistics& stats = CV_Statistics::TheStats();
    stats.Init();
    stats.open();
    const auto stat = Reg_SimpleEPS("Channel1");
    std::atomic<int> rounds{0};
    const test::Thread counting([&] {
        for (;; ++rounds) {
            stat->Add(1);
            stats.Find("Channel1");
        }
    });
    while (rounds < 1000) ::Sleep(0);  // Wine crashes when the process ends while threads begin
    ::ExitProcess(7);
}

TEST(StatisticsEnd, ProcessEndsWithoutClose) {
    const test::TempFolder folder;
    ::SetCurrentDirectoryW(folder.Path().c_str());
    EXPECT_EXIT(EndWithoutClose(), testing::ExitedWithCode(7), "");
    ::SetCurrentDirectoryW(L"\\");
}

}  // namespace
