#include "agent/road/Destination.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "agent/road/FileSink.h"
#include "tests/agent/RoadFakes.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

namespace CorvaneAgent {
namespace {

using test::BatchOf;
using test::Lines;
using test::Numbered;
using test::PayloadOf;
using WindowsAgentCommon::test::TempFolder;
using WindowsAgentCommon::test::Thread;

WindowsAgentCommon::Log TestLog() { return WindowsAgentCommon::GetLoggerFactory().GetLog("Test"); }

// --- the file ---

class FileSinkTest : public testing::Test {
protected:
    void Make(std::uint64_t maxBytes = 0, const wchar_t* name = L"events.log") {
        sink_ =
            std::make_unique<FileSink>(FileSink::Options{"test", folder_.Path(name), maxBytes, 2}, TestLog());
    }
    bool Write(const Lines& lines) { return sink_->Write(BatchOf(lines)); }
    std::string Read(const wchar_t* name = L"events.log") { return folder_.Read(name); }

    const TempFolder folder_;
    std::unique_ptr<FileSink> sink_;
};

TEST_F(FileSinkTest, ALineBreakNeverMakesARecordOfItsOwn) {
    Make(0, L"new\\events.log");
    ASSERT_TRUE(Write({"plain", ""}));
    ASSERT_TRUE(Write({"a\r\n<13>forged", "b\n", "\\n", std::string("z\0", 2)}));
    EXPECT_EQ(Read(L"new\\events.log"), "plain\n\na\\r\\n<13>forged\nb\\n\n\\n\nz" + std::string("\0\n", 2));
}

TEST_F(FileSinkTest, ATornLineOfAnEarlierProcessIsCutOff) {
    const std::string foreign(2U << 20, 'x');
    const struct {
        std::string before, after;
    } rows[] = {{"", "new\n"},
                {"whole\n", "whole\nnew\n"},
                {"whole\nto", "whole\nnew\n"},
                {foreign, foreign + "\nnew\n"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before.substr(0, 20));
        sink_.reset();
        folder_.Write(L"events.log", row.before);
        Make();
        ASSERT_TRUE(Write({"new"}));
        EXPECT_EQ(Read(), row.after);
    }
}

TEST_F(FileSinkTest, RollsAndKeepsSoManyFilesOrGrowsOnWhenItCannot) {
    Make(20);
    const auto write = [this](int first, int end) {
        for (; first < end; ++first) ASSERT_TRUE(Write(Numbered(first, 1)));
    };
    write(0, 7);
    EXPECT_EQ(Read() + Read(L"events.log.1") + Read(L"events.log.2"), "event 1006\nevent 1005\nevent 1004\n");
    EXPECT_FALSE(folder_.Has(L"events.log.3"));
    {
        const Handle reader =
            OwnFile(::CreateFileW(folder_.Path(L"events.log").c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
        write(7, 9);
    }
    EXPECT_EQ(Read(), "event 1006\nevent 1007\nevent 1008\n");
    EXPECT_EQ(Read(L"events.log.2"), "event 1005\n");
}

TEST_F(FileSinkTest, AFullDiskBlocksTheWriteUntilItIsCancelled) {
    FileSink sink({"test", L"Z:\\dev\\full", 0, 1}, TestLog());
    const auto status = [&](const char* name) {
        WindowsAgentCommon::EnvironmentBlock block;
        sink.AddStatus("", block);
        return test::Text(block, name);
    };
    bool written = true;
    {
        const Thread writer([&] { written = sink.Write(BatchOf({"waits"})); });
        EXPECT_TRUE(test::Until([&] { return status("State") == "failing"; }));
        EXPECT_TRUE(writer.IsAtWork());
        sink.Cancel();
    }
    EXPECT_FALSE(written);
    EXPECT_EQ(status("Sent"), "0");
}

TEST_F(FileSinkTest, AWriteThatFailsHalfwayIsTakenBackAndDoneAgain) {
    Make();
    ASSERT_TRUE(Write(Numbered(0, 2)));
    const test::HalfWrites patch(0);
    ASSERT_TRUE(Write(Numbered(2, 2)));
    EXPECT_EQ(Read(), "event 1000\nevent 1001\nevent 1002\nevent 1003\n");
}

// --- queue and workers ---

/// Keeps the lines; closed, it blocks.
struct GateSink : Sink {
    void Start() override {}
    bool Write(const LineBatch& batch) override {
        test::Until([this] { return open || cancelled; });
        const test::Guard guard(lock);
        if (cancelled) return false;
        test::AddLinesOf(batch, lines);
        return true;
    }
    void Tick(std::int64_t) override {}
    void Cancel() override { cancelled = true; }
    void Stop(std::int64_t) override {}
    void AddStatus(const std::string&, WindowsAgentCommon::EnvironmentBlock&) const override {}
    Lines Written() {
        const test::Guard guard(lock);
        return lines;
    }
    std::atomic<bool> open{true}, cancelled{false};
    ACE_Thread_Mutex lock;
    Lines lines;
};

class DestinationTest : public testing::Test {
protected:
    void Make(std::size_t capacity, unsigned int workers) {
        auto sink = std::make_unique<GateSink>();
        sink_ = sink.get();
        destination_ = std::make_unique<Destination>(Destination::Options{"test", capacity, workers},
                                                     std::move(sink), TestLog());
        destination_->Start(factory_);
    }
    /// As a collector does: tries again while the road is full.
    void Send(const std::string& text) {
        ASSERT_TRUE(test::Until([&] { return destination_->Send(PayloadOf(text)).IsQueued(); }));
    }
    std::uint64_t Status(const std::string& name) {
        WindowsAgentCommon::EnvironmentBlock status;
        destination_->AddStatus(status);
        return test::Value(status, "test." + name);
    }

    test::FakeFactory factory_;
    std::unique_ptr<Destination> destination_;
    GateSink* sink_ = nullptr;
};

TEST_F(DestinationTest, KeepsTheOrderWithSeveralWorkersAndLosesNothingWhenFull) {
    Make(10'000, 4);
    sink_->open = false;
    int sent = 0;
    while (destination_->Send(PayloadOf(Numbered(sent, 1)[0])).IsQueued()) ++sent;
    EXPECT_EQ(sent, 10'000);
    for (int second = 1; second <= 10; ++second) destination_->Tick(second * 1000);
    EXPECT_EQ(Status("Workers"), 4U) << "the queue is full";
    EXPECT_FALSE(destination_->WaitUntilSafe(1));
    sink_->open = true;
    for (; sent < 20'000; ++sent) Send(Numbered(sent, 1)[0]);
    EXPECT_TRUE(destination_->WaitUntilSafe(30'000));
    EXPECT_EQ(sink_->Written(), Numbered(0, 20'000));
    EXPECT_EQ(Status("Queued"), 0U);
    for (int second = 11; second <= 60; ++second) destination_->Tick(second * 1000);
    EXPECT_EQ(Status("Workers"), 1U) << "the queue is empty";
    Send("alone");
    EXPECT_TRUE(test::Until([this] { return sink_->Written().back() == "alone"; })) << "without a full batch";
}

TEST_F(DestinationTest, AnEventThatCannotBeRenderedIsCountedAndSkipped) {
    Make(1000, 2);
    for (const char* const text : {"one", "damaged", "damaged", "two"}) Send(text);
    EXPECT_TRUE(destination_->WaitUntilSafe(30'000));
    EXPECT_EQ(sink_->Written(), (Lines{"one", "two"}));
    EXPECT_EQ(Status("Dropped.Damaged"), 2U);
}

TEST_F(DestinationTest, LackOfMemoryDropsNothingAndConfirmsNothing) {
    Make(1000, 2);
    test::FakeBuilder::scarce = 3;
    for (const char* const text : {"one", "large", "two"}) Send(text);
    EXPECT_TRUE(destination_->WaitUntilSafe(30'000));
    EXPECT_EQ(sink_->Written(), (Lines{"one", "large", "two"}));
    EXPECT_EQ(Status("Dropped.Damaged"), 0U);
    test::FakeBuilder::scarce = INT_MAX;
    Send("large");
    EXPECT_TRUE(test::Until([] { return test::FakeBuilder::scarce < INT_MAX; }));
    destination_->Stop(0, 0);
    EXPECT_FALSE(destination_->WaitUntilSafe(0));
    test::FakeBuilder::scarce = 0;
}

TEST_F(DestinationTest, LargePayloadsFillTheQueueByTheirBytes) {
    Make(100'000, 2);
    sink_->open = false;
    const std::string large(8U << 20, 'x');
    int sent = 0;
    while (destination_->Send(PayloadOf(large)).IsQueued()) ++sent;
    EXPECT_EQ(sent, 2) << "16 MiB";
    sink_->open = true;
}

TEST_F(DestinationTest, StoppingWritesWhatIsQueuedAndTakesNothingNew) {
    Make(1000, 2);
    for (int i = 0; i < 500; ++i) Send(Numbered(i, 1)[0]);
    destination_->Stop(INT64_MAX, INT64_MAX);
    EXPECT_EQ(sink_->Written(), Numbered(0, 500));
    EXPECT_TRUE(destination_->Send(PayloadOf("late")).IsFailure());
    EXPECT_TRUE(destination_->WaitUntilSafe(0));
}

TEST_F(DestinationTest, WhatCouldNotBeWrittenUntilTheEndIsNeverSafe) {
    Make(1000, 2);
    sink_->open = false;
    for (int i = 0; i < 600; ++i) Send(Numbered(i, 1)[0]);
    destination_->Stop(0, 0);
    EXPECT_FALSE(destination_->WaitUntilSafe(0));
    EXPECT_TRUE(sink_->Written().empty());
}

}  // namespace
}  // namespace CorvaneAgent
