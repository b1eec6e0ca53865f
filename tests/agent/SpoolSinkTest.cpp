#include "agent/road/SpoolSink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>

#include "agent/sdk/Clock.h"
#include "tests/agent/RoadFakes.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

namespace CorvaneAgent {
namespace {

using test::BatchOf;
using test::Lines;
using test::Numbered;
using WindowsAgentCommon::test::Thread;

std::atomic<int> seconds{0};

std::int64_t FakeTime() noexcept { return seconds * 1000LL; }

class SpoolSinkTest : public testing::Test {
protected:
    SpoolSinkTest() {
        options_.name = "test";
        options_.spool = {folder_.Path(L"spool\\"), 1U << 20, 4096};
        options_.resendWindow = 100;
        options_.lowWaterMark = 100;
        options_.highWaterMark = 200;
    }
    void Start() {
        sender_ = std::make_shared<test::FakeSender>();
        record_ = std::make_shared<test::FakeRecord>();
        record_->block = kept_;
        sink_ = std::make_unique<SpoolSink>(options_, disk_, sender_, record_, log_);
        sink_->Start();
    }
    /// Ends it as a kill at this moment would: what it keeps while it ends is forgotten.
    void Kill() {
        kept_ = record_->Saved();
        sink_.reset();
    }
    void Stop() {
        sink_->Cancel();
        sink_->Stop(SteadyMilliseconds());
        Kill();
    }
    std::uint64_t Status(const std::string& name) {
        WindowsAgentCommon::EnvironmentBlock status;
        sink_->AddStatus("", status);
        return test::Value(status, name);
    }

    WindowsAgentCommon::Log log_ = WindowsAgentCommon::GetLoggerFactory().GetLog("Test");
    test::FakeDisk disk_;
    WindowsAgentCommon::test::TempFolder folder_;
    SpoolSink::Options options_;
    std::shared_ptr<test::FakeSender> sender_;
    std::shared_ptr<test::FakeRecord> record_;
    WindowsAgentCommon::EnvironmentBlock kept_;
    std::unique_ptr<SpoolSink> sink_;
};

/// The lines without those that came before.
Lines FirstTimes(const Lines& lines) {
    Lines first;
    std::map<std::string, bool> seen;
    for (const std::string& line : lines)
        if (!std::exchange(seen[line], true)) first.push_back(line);
    return first;
}

TEST_F(SpoolSinkTest, ALossRepeatsAtMostTheWindowAndLosesNothing) {
    Start();
    ASSERT_TRUE(sink_->Write(BatchOf(Numbered(0, 3000))));
    ASSERT_TRUE(sender_->WaitUntilAsked());
    EXPECT_EQ(Status("SpoolBytes"), 3000U * 18) << "some are in hand";
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        const std::size_t before = sender_->Received().size();
        sender_->Connect(false);
        while (sender_->Received().size() < before + 600) {
            ASSERT_TRUE(sender_->WaitForQueue());
            ASSERT_LE(sender_->GetQueuedBytes(), options_.highWaterMark);
            sender_->Deliver();
        }
        ASSERT_TRUE(sender_->WaitForQueue());
        const std::uint64_t resent = Status("Resent");
        sender_->Lose(9);  // 90 bytes, within the window
        ASSERT_TRUE(test::Until([&] { return Status("Resent") > resent; }));
    }
    sender_->Connect(true);
    ASSERT_TRUE(sender_->WaitForLast(Numbered(2999, 1)[0]));
    const Lines received = sender_->Received();
    EXPECT_EQ(FirstTimes(received), Numbered(0, 3000));
    const std::size_t most = (100 + 200 + 4096) / 10 + 2;
    EXPECT_LE(received.size(), 3000 + 5 * most);
}

TEST_F(SpoolSinkTest, AKillAtAnyMomentLosesNothing) {
    Lines all, received;
    const auto take = [&] {
        const Lines more = sender_->Received();
        received.insert(received.end(), more.begin(), more.end());
    };
    for (int round = 0; round < 30; ++round) {
        Start();
        if (round % 3 != 0) sender_->Connect(round % 3 == 1);
        for (int i = 0; i < 10; ++i) {
            const Lines lines = Numbered(round * 100 + i * 10, 10);
            all.insert(all.end(), lines.begin(), lines.end());
            ASSERT_TRUE(sink_->Write(BatchOf(lines)));
            if (i == round % 10) sender_->Deliver();
        }
        if (round % 2 == 0) {
            Kill();
        } else {
            Stop();
        }
        take();
    }
    Start();
    sender_->Connect(true);
    all.push_back("last");
    ASSERT_TRUE(sink_->Write(BatchOf({"last"})));
    ASSERT_TRUE(sender_->WaitForLast(all.back()));
    take();
    EXPECT_EQ(FirstTimes(received), all);
}

TEST_F(SpoolSinkTest, ARestartContinuesAtTheConfirmedPositionAndAFailureToKeepItIsToldOnce) {
    WindowsAgentCommon::test::LogLines lines;  // of one thread only, the feeder
    log_ = WindowsAgentCommon::GetLoggerFactory().GetLog("SpoolSinkTest");
    log_->Reset(&lines.base);
    ReplaceSteadyClock(FakeTime);
    Start();
    sender_->Connect(true);
    record_->error = ERROR_DISK_FULL;
    ASSERT_TRUE(sink_->Write(BatchOf(Numbered(0, 10))));
    ASSERT_TRUE(sender_->WaitFor(10));
    const auto passing = [](auto condition) { return test::Until([&] { return ++seconds, condition(); }); };
    ASSERT_TRUE(passing([&] { return Status("PositionErrors") >= 3; }));
    record_->error = 0;
    ASSERT_TRUE(passing([&] { return record_->Saved().ValueAvailable("Offset"); }));
    sender_->Disconnect();
    ASSERT_TRUE(sink_->Write(BatchOf(Numbered(10, 10))));
    Stop();
    const auto level = [](int number) { return std::to_string(number) + " The position in the spool of "; };
    EXPECT_EQ(lines.text, level(CorvaneLogger::kLevelError) +
                              "destination test cannot be kept, error 112: trying again\n" +
                              level(CorvaneLogger::kLevelInfo) + "destination test is kept again\n");
    Start();
    sender_->Connect(true);
    ASSERT_TRUE(sender_->WaitFor(10));
    EXPECT_EQ(sender_->Received(), Numbered(10, 10));
    sink_.reset();
    ReplaceSteadyClock(nullptr);
}

TEST_F(SpoolSinkTest, DropOldestNeverBlocksAndCountsWhatItDrops) {
    options_.dropOldest = true;
    options_.spool = {folder_.Path(L"spool\\"), 4096, 512};
    Start();
    for (int i = 0; i < 50; ++i) ASSERT_TRUE(sink_->Write(BatchOf(Numbered(i * 20, 20))));
    ASSERT_TRUE(sink_->Write(BatchOf({std::string(5000, 'x'), "last"})));
    EXPECT_EQ(Status("Dropped.Oversize"), 1U);
    const std::uint64_t dropped = Status("Dropped.SpoolFull");
    EXPECT_GT(dropped, 700U);
    sender_->Connect(true);
    ASSERT_TRUE(sender_->WaitFor(static_cast<std::size_t>(1001 - dropped)));
    const Lines received = sender_->Received();
    EXPECT_EQ(received.size() + dropped, 1001U);
    EXPECT_TRUE(std::is_sorted(received.begin(), received.end()))
        << "some of the first may be in hand already";
    EXPECT_EQ(received.back(), "last");
}

TEST_F(SpoolSinkTest, WhatIsInHandWhenItsSegmentIsDroppedCountsAsDroppedAfterALoss) {
    options_.dropOldest = true;
    options_.spool = {folder_.Path(L"spool\\"), 4096, 512};
    Start();
    sender_->Connect(false);
    ASSERT_TRUE(sink_->Write(BatchOf(Numbered(0, 20))));
    ASSERT_TRUE(test::Until([&] { return Status("Sent") >= 20; }));
    ASSERT_TRUE(sink_->Write(BatchOf(Numbered(20, 40))));  // some are in hand behind a full sender
    ASSERT_TRUE(sender_->WaitUntilAsked());
    for (int i = 3; i < 20; ++i) ASSERT_TRUE(sink_->Write(BatchOf(Numbered(i * 20, 20))));
    const std::uint64_t before = Status("Dropped.SpoolFull");
    sender_->Lose(0);
    ASSERT_TRUE(test::Until([&] { return Status("Dropped.SpoolFull") > before; }));
    const std::uint64_t dropped = Status("Dropped.SpoolFull");
    sender_->Connect(true);
    ASSERT_TRUE(sender_->WaitForLast(Numbered(399, 1)[0]));
    EXPECT_EQ(sender_->Received().size() + dropped, 400U);
}

TEST_F(SpoolSinkTest, DroppingIsOneAlarmThatStaysForFifteenSeconds) {
    options_.dropOldest = true;
    disk_.capacity = 1000;
    Start();
    const auto alarm = [&] {
        WindowsAgentCommon::EnvironmentBlock status;
        sink_->AddStatus("", status);
        return test::Text(status, "SpoolAlarm");
    };
    std::int64_t now = 1'000'000;
    for (int i = 0; i < 10; ++i) ASSERT_TRUE(sink_->Write(BatchOf(Numbered(i * 20, 20))));
    EXPECT_GT(Status("Dropped.SpoolFull"), 0U);
    sink_->Tick(now);
    EXPECT_EQ(alarm(), "warning");
    sink_->Tick(now + 14'000);
    EXPECT_EQ(alarm(), "warning") << "there is room, but for how long";
    sink_->Tick(now + 15'000);
    EXPECT_EQ(alarm(), "normal");
}

TEST_F(SpoolSinkTest, BlockWaitsUntilThereIsRoomAndLosesNothing) {
    options_.spool = {folder_.Path(L"spool\\"), 4096, 512};
    options_.resendWindow = 0;
    Start();
    {
        const Thread writer([this] {
            for (int i = 0; i < 50; ++i) EXPECT_TRUE(sink_->Write(BatchOf(Numbered(i * 20, 20))));
        });
        ASSERT_TRUE(test::Until([&] { return Status("SpoolTotalBytes") > 3000; }));
        EXPECT_TRUE(writer.IsAtWork());
        sender_->Connect(true);
    }
    ASSERT_TRUE(sender_->WaitFor(1000));
    EXPECT_EQ(sender_->Received(), Numbered(0, 1000));
    EXPECT_EQ(Status("Dropped.SpoolFull"), 0U);

    sender_->Disconnect();
    std::atomic<bool> written{true};
    {
        const Thread writer([&] {
            while (sink_->Write(BatchOf(Numbered(0, 20)))) {
            }
            written = false;
        });
        ASSERT_TRUE(test::Until([&] { return Status("SpoolTotalBytes") > 3000; }));
        sink_->Cancel();
    }
    EXPECT_FALSE(written);
}

}  // namespace
}  // namespace CorvaneAgent
