#include "agent/collectors/LineFollower.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace CorvaneAgent {
namespace {

using WindowsAgentCommon::test::TempFolder;
using Change = LineFollower::Change;
using Lines = std::vector<std::string>;

class LineFollowerTest : public testing::Test {
public:
    Lines Read(LineFollower& follower, bool final = false) {
        Lines lines;
        while (follower.Next(final) == LineFollower::Result::kLine) lines.emplace_back(follower.GetLine());
        return lines;
    }
    Lines Read(bool final = false) { return Read(*follower_, final); }

    void Append(const std::string& bytes, const wchar_t* name = L"a.log") {
        std::FILE* const file = ::_wfopen(folder_.Path(name).c_str(), L"ab");
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
    void Rename(const wchar_t* to) {
        ASSERT_TRUE(::MoveFileW(folder_.Path(L"a.log").c_str(), folder_.Path(to).c_str()));
    }
    void Start(const FilePosition* position = nullptr, bool fromStart = true) {
        follower_ = std::make_unique<LineFollower>(folder_.Path(L"a.log"));
        ASSERT_EQ(0u, follower_->Open(position, fromStart));
    }

    TempFolder folder_;
    std::unique_ptr<LineFollower> follower_;
};

TEST_F(LineFollowerTest, ReadsLinesInEveryEncodingWhereverTheyAreCut) {
    const std::string text = "one\r\n\r\nt\xC3\xA4wo\nx\ny\r";
    const Lines expected = {"one", "", "t\xC3\xA4wo", "x"};
    std::string little = "\xFF\xFE", big = "\xFE\xFF";
    for (const char16_t unit : std::u16string(u"one\r\n\r\nt\u00E4wo\nx\ny\r")) {
        little.append({static_cast<char>(unit), '\0'});
        big.append({'\0', static_cast<char>(unit)});
    }
    for (const std::string& bytes : {text, "\xEF\xBB\xBF" + text, little, big}) {
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            SCOPED_TRACE(testing::Message() << bytes.size() << " cut at " << cut);
            folder_.Write(L"a.log", bytes.substr(0, cut));
            Start();
            Lines lines = Read();
            Append(bytes.substr(cut));
            for (const std::string& line : Read()) lines.push_back(line);
            ASSERT_EQ(expected, lines);
            EXPECT_EQ(Lines{"y"}, Read(true));
        }
    }
}

TEST_F(LineFollowerTest, FinishesARotatedFileBeforeTheNew) {
    folder_.Write(L"a.log", "1\n2\n");
    Start();
    EXPECT_EQ((Lines{"1", "2"}), Read());
    Append("3\n4");
    Rename(L"a.log.1");
    EXPECT_EQ(Lines{"3"}, Read());  // nobody has the name yet
    Append("5\n6", L"a.log.1");
    folder_.Write(L"a.log", "7\n");
    EXPECT_EQ((Lines{"45", "6", "7"}), Read());
    EXPECT_EQ(Change::kRotated, follower_->TakeChange());
    EXPECT_EQ(Change::kNone, follower_->TakeChange());
}

TEST_F(LineFollowerTest, BeginsAgainWhenTheFileIsTruncatedOrBeginsOtherwise) {
    for (const std::string now : {"", "n", "new line that is longer than before"}) {
        SCOPED_TRACE(now);
        folder_.Write(L"a.log", "old line\n");
        Start();
        EXPECT_EQ(Lines{"old line"}, Read());
        folder_.Write(L"a.log", now.empty() ? now : now + "\n");
        EXPECT_EQ(now.empty() ? Lines{} : Lines{now}, Read());
        EXPECT_EQ(Change::kTruncated, follower_->TakeChange());
    }
}

TEST_F(LineFollowerTest, LetsADeletedFileGo) {
    folder_.Write(L"a.log", "1\n2");
    Start();
    EXPECT_EQ(Lines{"1"}, Read());
    // A folder in its place is refused with the same code as a file whose deletion waits for the last handle.
    Rename(L"b.log");
    ASSERT_TRUE(::CreateDirectoryW(folder_.Path(L"a.log").c_str(), nullptr));
    EXPECT_EQ(Lines{"2"}, Read());
    EXPECT_FALSE(follower_->IsOpen());
}

TEST_F(LineFollowerTest, LooksForARenamedFileOnce) {
    folder_.Write(L"a.log", "1\n");
    Start();
    Read();
    const FilePosition position = follower_->GetPosition();
    follower_->Close();
    const std::wstring away = folder_.Path(L"d");
    ::CreateDirectoryW(away.c_str(), nullptr);
    Rename(L"d\\a.log");
    EXPECT_NE(0u, follower_->Open(&position, true));
    ASSERT_TRUE(::MoveFileW((away + L"\\a.log").c_str(), folder_.Path(L"b.log").c_str()));
    EXPECT_NE(0u, follower_->Open(&position, true));
}

TEST_F(LineFollowerTest, ContinuesAfterARestart) {
    const std::string old = "1\n2\n3\n4\n";
    const struct {
        const char* what;
        void (*between)(LineFollowerTest&);
        Lines expected;
        Change change;
    } rows[] = {
        {"nothing", [](LineFollowerTest&) {}, {"3", "4"}, Change::kResumed},
        {"renamed", [](LineFollowerTest& t) { t.Rename(L"b.log"); }, {"3", "4"}, Change::kRenamed},
        {"rotated",
         [](LineFollowerTest& t) {
             t.Rename(L"c.log");
             t.folder_.Write(L"a.log", "1\n9\n");
         },
         {"3", "4", "1", "9"},
         Change::kRenamed},
        {"replaced",
         [](LineFollowerTest& t) { t.folder_.Write(L"a.log", "5\n6\n7\n8\n9\n"); },
         {"5", "6", "7", "8", "9"},
         Change::kVanished},
        {"shorter", [](LineFollowerTest& t) { t.folder_.Write(L"a.log", "1\n"); }, {"1"}, Change::kVanished},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        folder_.Write(L"a.log", old);
        Start();
        ASSERT_EQ(LineFollower::Result::kLine, follower_->Next(false));
        ASSERT_EQ(LineFollower::Result::kLine, follower_->Next(false));
        FilePosition position, same;
        ASSERT_TRUE(position.FromText(follower_->GetPosition().ToText()));
        EXPECT_EQ(2u, position.ordinal);
        follower_->Close();
        row.between(*this);
        follower_ = std::make_unique<LineFollower>(folder_.Path(L"a.log"));
        ASSERT_EQ(0u, follower_->Open(&position, true));
        EXPECT_EQ(row.change, follower_->TakeChange());
        EXPECT_EQ(row.expected, Read());
    }
}

TEST_F(LineFollowerTest, BeginsBehindWhatThereIs) {
    const struct {
        std::string before, after;
        Lines expected;
    } rows[] = {{"1\n2\n", "3\n", {"3"}},
                {"1\n2", "2\n3\n", {"3"}},
                {"", "1\n", {"1"}},
                {std::string("\xFF\xFE"
                             "1\0\n\0",
                             6),
                 std::string("2\0\n\0", 4),
                 {"2"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.before);
        folder_.Write(L"a.log", row.before);
        Start(nullptr, false);
        EXPECT_EQ(Lines{}, Read());
        Append(row.after);
        EXPECT_EQ(row.expected, Read());
    }
}

TEST_F(LineFollowerTest, CutsALineThatIsTooLong) {
    const std::size_t most = LineFollower::kLongestLine;
    for (const std::size_t size : {most, most + 1, most + 2, 5 * most}) {
        SCOPED_TRACE(size);
        folder_.Write(L"a.log", std::string(size, 'x') + "\r\nnext\n");
        Start();
        ASSERT_EQ(LineFollower::Result::kLine, follower_->Next(false));
        EXPECT_EQ(size > most, follower_->IsCut());
        EXPECT_EQ(size > most ? std::string(most, 'x') + "[cut]" : std::string(size, 'x'),
                  follower_->GetLine());
        EXPECT_EQ(Lines{"next"}, Read());
        EXPECT_EQ(2u, follower_->GetPosition().ordinal);
    }
}

TEST(FilePositionTest, RefusesWhatItDidNotWrite) {
    FilePosition position;
    for (const char* const text :
         {"", "1", "1 2 3 4 5", "1 2 3 4 5 6 7", "1 2 3 4 5 x", "-1 2 3 4 5 6", "1 2 3 4294967296 5 6",
          "1 2 3 4 1025 6", "99999999999999999999 2 3 4 5 6"})
        EXPECT_FALSE(position.FromText(text)) << text;
    EXPECT_TRUE(position.FromText("18446744073709551615 2 3 4 5 6"));
}

}  // namespace
}  // namespace CorvaneAgent
