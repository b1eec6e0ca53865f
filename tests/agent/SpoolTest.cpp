#include "agent/road/Spool.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/agent/RoadFakes.h"
#include "tests/support/TempFolder.h"

namespace CorvaneAgent {
namespace {

using test::BatchOf;
using test::Lines;
using test::Numbered;
using Result = Spool::AppendResult;

constexpr const wchar_t* kFirst = L"0000000001.spool";

class SpoolTest : public testing::Test {
protected:
    /// Begins anew with what is in the folder, as after a restart.
    SpoolPosition Open(SpoolPosition position = {}) {
        spool_.reset();
        disk_.used = 0;
        for (int i = 1; i < 20; ++i) disk_.used += Size(i);
        spool_ =
            std::make_unique<Spool>(options_, disk_, WindowsAgentCommon::GetLoggerFactory().GetLog("Test"));
        EXPECT_EQ(spool_->Open(position), 0U);
        return position;
    }
    std::size_t Size(int number) {
        const std::wstring name =
            (number < 10 ? L"000000000" : L"00000000") + std::to_wstring(number) + L".spool";
        return folder_.Has(name) ? folder_.Read(name).size() : 0;
    }
    Lines ReadAll(SpoolPosition position = {}) {
        Lines lines;
        LineBatch batch;
        while (spool_->Read(position, 64, batch)) test::AddLinesOf(batch, lines);
        return lines;
    }
    bool IsAccounted() { return disk_.used == spool_->GetBytes(); }

    test::FakeDisk disk_;
    WindowsAgentCommon::test::TempFolder folder_;
    Spool::Options options_{folder_.Path(), 10'000, 100};
    std::unique_ptr<Spool> spool_;
};

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(SpoolTest, GivesBackEveryByteInOrderAcrossSegmentsAndRestarts) {
    Lines all = {"", std::string("a\0b\r\n", 5), std::string(300, 'x')};
    Open();
    ASSERT_EQ(spool_->Append(BatchOf(all)), Result::kWritten);
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(spool_->Append(BatchOf(Numbered(i * 3, 3))), Result::kWritten);
        if (i == 2) Open();
    }
    EXPECT_EQ(ReadAll(), all + Numbered(0, 15));
    EXPECT_TRUE(IsAccounted());
    EXPECT_GE(spool_->GetBytesBehind({}), 15U * 18);

    SpoolPosition position;
    LineBatch batch;
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(spool_->Read(position, 64, batch));
    const Lines rest = ReadAll(position);
    spool_->Release(position);
    EXPECT_EQ(ReadAll(), ReadAll({position.segment, 0}));
    EXPECT_TRUE(IsAccounted());
    EXPECT_EQ(ReadAll(Open(position)), rest) << "the position survives a restart";
}

TEST_F(SpoolTest, WritesTheDocumentedBytes) {
    Open();
    ASSERT_EQ(spool_->Append(BatchOf({"ab", "0123456789"})), Result::kWritten);
    EXPECT_EQ(folder_.Read(kFirst), std::string("CVSPOOL1\1\0\0\0\0\0\0\0\2\0\0\0\x3A\x5A\x50\x23"
                                                "ab\n\0\0\0\xEC\x0C\x82\x46"
                                                "0123456789",
                                                44));
}

TEST_F(SpoolTest, CutsATornEndWhereverItWasTorn) {
    Open();
    ASSERT_EQ(spool_->Append(BatchOf({"one", "two", "three"})), Result::kWritten);
    spool_.reset();
    const std::string whole = folder_.Read(kFirst);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        folder_.Write(kFirst, whole.substr(0, size));
        Open();
        const std::size_t records = (size >= 27) + (size >= 38);
        const Lines lines = {"one", "two"};
        EXPECT_EQ(ReadAll(), Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(records)));
        EXPECT_TRUE(IsAccounted());
        ASSERT_EQ(spool_->Append(BatchOf({"four"})), Result::kWritten);
        EXPECT_EQ(ReadAll().back(), "four");
        EXPECT_EQ(ReadAll().size(), records + 1);
        spool_.reset();
        ::DeleteFileW(folder_.Path(L"0000000002.spool").c_str());
        ::DeleteFileW(folder_.Path(L"0000000001.spool").c_str());
    }
}

TEST_F(SpoolTest, DamageCostsAtMostTheRestOfItsSegment) {
    Open();
    ASSERT_EQ(spool_->Append(BatchOf({"one", "two", "three"})), Result::kWritten);
    ASSERT_EQ(spool_->Append(BatchOf({std::string(90, 'b'), "after"})), Result::kWritten);
    spool_.reset();
    const std::string whole = folder_.Read(kFirst);
    std::vector<std::string> rows;
    for (std::size_t i = 0; i < whole.size(); ++i)
        for (const char bits : {'\x01', '\xFF'}) {
            rows.push_back(whole);
            rows.back()[i] = static_cast<char>(rows.back()[i] ^ bits);
        }
    rows.push_back(whole.substr(0, 20) + std::string(500, '\0'));
    rows.push_back(whole.substr(0, 30));
    rows.push_back("");
    for (std::size_t row = 0; row < rows.size(); ++row) {
        SCOPED_TRACE(row);
        folder_.Write(kFirst, rows[row]);
        Open();
        Lines lines = ReadAll();
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(lines.back(), "after");
        lines.resize(lines.size() - 2);
        const Lines before = {"one", "two", "three"};
        ASSERT_LT(lines.size(), 3U);
        EXPECT_EQ(lines, Lines(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(lines.size())));
        EXPECT_GE(spool_->GetDamagedCount(), rows[row].empty() ? 0U : 1U);
    }
}

TEST_F(SpoolTest, WhatIsFullHasRoomAgainOnceItIsReadOrDropped) {
    options_.capacity = 250;
    Open();
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(0, 4))), Result::kWritten);
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(4, 4))), Result::kWritten);
    EXPECT_EQ(spool_->Append(BatchOf(Numbered(8, 4))), Result::kFull);
    EXPECT_EQ(spool_->Append(BatchOf({std::string(250, 'x')})), Result::kTooLarge);
    EXPECT_TRUE(IsAccounted());

    SpoolPosition position;
    LineBatch batch;
    ASSERT_TRUE(spool_->Read(position, 20, batch));
    std::uint64_t lost = 0;
    ASSERT_TRUE(spool_->DropOldest(position, lost));
    EXPECT_EQ(lost, 3U) << "of four, one was read";
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(8, 4))), Result::kWritten);
    EXPECT_EQ(ReadAll(position), Numbered(4, 8));

    while (spool_->Read(position, 20, batch)) {
    }
    spool_->Release(position);
    disk_.capacity = disk_.used;
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(12, 4))), Result::kWritten) << "the disk manager's limit";
    EXPECT_EQ(ReadAll(position), Numbered(12, 4));
    EXPECT_TRUE(IsAccounted());
}

TEST_F(SpoolTest, ASegmentThatCannotBeDeletedKeepsItsRoomUntilItCan) {
    Open();
    for (int i = 0; i < 3; ++i) ASSERT_EQ(spool_->Append(BatchOf(Numbered(i * 5, 5))), Result::kWritten);
    std::uint64_t lost = 0;
    {
        const Handle inspector =
            OwnFile(::CreateFileW(folder_.Path(kFirst).c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(spool_->DropOldest({}, lost));
        EXPECT_EQ(lost, 5U);
        EXPECT_EQ(disk_.used, spool_->GetBytes() + Size(1));
        EXPECT_EQ(ReadAll(), Numbered(5, 10));
    }
    disk_.capacity = disk_.used;
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(15, 1))), Result::kWritten);
    EXPECT_TRUE(IsAccounted());
    EXPECT_FALSE(folder_.Has(kFirst));
}

TEST_F(SpoolTest, ANumberIsNotUsedAgainWhenItsSegmentIsGone) {
    Open();
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(0, 4))), Result::kWritten);
    SpoolPosition position;
    LineBatch batch;
    while (spool_->Read(position, 500, batch)) {
    }
    std::uint64_t lost = 0;
    ASSERT_TRUE(spool_->DropOldest(position, lost));
    EXPECT_EQ(lost, 0U);
    Open(position);
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(4, 2))), Result::kWritten);
    EXPECT_EQ(ReadAll(position), Numbered(4, 2));
}

TEST_F(SpoolTest, APositionInsideARecordGoesBackToTheSegmentsBeginning) {
    Open();
    ASSERT_EQ(spool_->Append(BatchOf(Numbered(0, 3))), Result::kWritten);
    EXPECT_EQ(ReadAll(Open({1, 16 + 18})), Numbered(1, 2));
    for (const std::uint64_t offset : {17ULL, 35ULL, 69ULL, 1ULL << 40}) {
        SCOPED_TRACE(offset);
        EXPECT_EQ(ReadAll(Open({1, offset})), Numbered(0, 3));
    }
}

TEST_F(SpoolTest, AWriteThatFailsHalfwayLeavesNothingBehind) {
    Open();
    for (int row = 0; row < 3; ++row) {
        SCOPED_TRACE(row);
        {
            const test::HalfWrites patch(row % 2);
            if (row % 2 == 1) {
                ASSERT_EQ(spool_->Append(BatchOf(Numbered(row * 2, 1))), Result::kWritten);
            }
            EXPECT_EQ(spool_->Append(BatchOf({"lost"})), Result::kFailed);
        }
        EXPECT_EQ(spool_->GetAppendError(), static_cast<unsigned long>(ERROR_DISK_FULL));
        EXPECT_TRUE(IsAccounted());
        if (row % 2 == 0) {
            ASSERT_EQ(spool_->Append(BatchOf(Numbered(row * 2, 1))), Result::kWritten);
        }
        ASSERT_EQ(spool_->Append(BatchOf(Numbered(row * 2 + 1, 1))), Result::kWritten);
    }
    EXPECT_EQ(ReadAll(), Numbered(0, 6));
    Open();
    EXPECT_EQ(ReadAll(), Numbered(0, 6));
}

}  // namespace
}  // namespace CorvaneAgent
