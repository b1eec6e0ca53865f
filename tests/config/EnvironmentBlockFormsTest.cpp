#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <sstream>

namespace WindowsAgentCommon {
namespace {

using Map = std::multimap<std::string, std::string>;
using namespace std::string_literals;

/// A record with whatever lengths are stated.
std::string Record(std::uint32_t length, std::uint32_t keyLength, const std::string& key,
                   std::uint32_t valueLength, const std::string& value) {
    const auto bytes = [](std::uint32_t number) {
        return std::string(reinterpret_cast<const char*>(&number), sizeof number);
    };
    return bytes(length) + bytes(keyLength) + key + bytes(valueLength) + value;
}

/// A stream buffer over bytes that end at an inaccessible page, or at a failure.
class Source : public std::streambuf {
public:
    Source(const std::string& bytes, bool fails) : bytes_(std::string_view(bytes)), fails_(fails) {
        setg(bytes_.Data(), bytes_.Data(), bytes_.Data() + bytes.size());
    }

protected:
    int_type underflow() override { return fails_ ? throw std::runtime_error("gone") : traits_type::eof(); }

private:
    test::GuardedBuffer bytes_;
    bool fails_;
};

TEST(EnvironmentBlockForms, BinaryFormIsAsDocumented) {
    EXPECT_EQ(0xAAAA0001, EnvironmentBlock::m_wMagicValue | EnvironmentBlock::m_wCurrentVersion);
    EnvironmentBlock block;
    block.SetStringValue("b", "");
    block.SetStringValue("a", "1");
    std::ostringstream stream;
    EXPECT_TRUE(block.SaveTo(stream));
    EXPECT_EQ("\1\0\xAA\xAA"s + Record(14, 1, "a", 1, "1") + Record(13, 1, "b", 0, ""), stream.str());
    stream.setstate(std::ios::eofbit);
    EXPECT_FALSE(block.SaveTo(stream));
}

TEST(EnvironmentBlockForms, EveryRecordSurvivesTheWindow) {
    EnvironmentBlock block, copy;
    for (unsigned int i = 0; i < 100; ++i)
        block.SetArrayValue(std::string(i, '\xFF'), {std::string(i * 40, '\0'), "", "b", "a"});
    block.SetStringValue("n", std::string(4083, 'x'));  // the longest
    std::stringstream stream;
    EXPECT_TRUE(block.SaveTo(stream));
    EXPECT_TRUE(copy.ReadFrom(stream));
    EXPECT_EQ(block.Entries(), copy.Entries());
}

TEST(EnvironmentBlockForms, HostileStreamsEndWhereTheyGoWrong) {
    const std::string header = "\1\0\xAA\xAA"s, one = Record(14, 1, "k", 1, "v"), good = header + one;
    const std::string longest(4084, 'x');
    std::string many = header;
    for (int i = 0; i < 300; ++i) many += one;
    const struct {
        const char* name;
        std::string bytes;
        std::size_t entries;
        DWORD error = 0;
        bool result = true, fails = false;
    } rows[] = {
        {"half a header", header.substr(0, 3), 0, 0, false},
        {"version bit clear", "\0\0\xAA\xAA"s + one, 0, 222, false},
        {"magic bit clear", "\1\0\xAA\x2A"s + one, 0, 222, false},
        {"more bits than needed", "\xFF\xFF\xFF\xFF" + one, 1},
        {"length 0", good + "\0\0\0\0"s + one, 1},
        {"length 11", good + Record(11, 0, "", 0, "") + one, 1},
        {"length 4096", good + Record(4096, 0, "", 4084, longest) + one, 3},
        {"length 4097", good + Record(4097, 0, "", 4085, longest + "x") + one, 1},
        {"length 4 GB - 1", good + Record(0xFFFFFFFF, 1, "k", 1, "v") + one, 1},
        {"slack in a record", good + Record(16, 1, "k", 1, "v..") + one, 3},
        {"key up to the value's length", good + Record(14, 3, "k", 1, "v") + one, 1},
        {"key of 4 GB - 8", good + Record(14, 0xFFFFFFF8, "k", 1, "v") + one, 1},
        {"key past a full window", header + Record(4096, 4085, longest, 0, "") + one, 0},
        {"value past the record", good + Record(14, 1, "k", 2, "v") + one, 1},
        {"value of 4 GB - 1", good + Record(14, 1, "k", 0xFFFFFFFF, "v") + one, 1},
        {"cut in a length", good + one.substr(0, 3), 1},
        {"cut in a record", good + one.substr(0, 13), 1},
        {"out of order", header + Record(12, 0, "", 0, "") + one + Record(12, 0, "", 0, "") + one, 4},
        {"fails in its second window", many, 292, 0, true, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Source source(row.bytes, row.fails);
        std::istream stream(&source);
        EnvironmentBlock block;
        block.SetStringValue("old", "");
        ::SetLastError(0);
        EXPECT_EQ(row.result, block.ReadFrom(stream));
        EXPECT_EQ(row.error, ::GetLastError());
        EXPECT_EQ(row.entries, block.Entries().size());
        block.SetStringValue("old", "");
        stream.setstate(std::ios::eofbit);
        EXPECT_FALSE(block.ReadFrom(stream));
        EXPECT_EQ(1U, block.ValueCount("old"));
    }
}

TEST(EnvironmentBlockForms, TextLinesAreAdded) {
    const std::string name(99999, 'n'), value(99999, 'v');
    const struct {
        std::string text;
        Map added;
    } rows[] = {
        {"", {}},
        {"a=1\r\nb=", {{"a", "1"}, {"b", ""}}},
        {"a\n\n\r\n#\n=\n", {{"", ""}}},
        {" \t\v\fa b\t = 1 \t\r\r\n", {{"a b", " 1 \t"}}},
        {"a=b=c\n==\n\r\r \r=\r\r", {{"", "="}, {"", ""}, {"a", "b=c"}}},
        {"a=2\na=1\nold=new\n", {{"a", "2"}, {"a", "1"}, {"old", "new"}}},
        {"\xFF\0=\0\x80\n="s, {{"", ""}, {"\xFF\0"s, "\0\x80"s}}},
        {name + "=" + value, {{name, value}}},
    };
    const test::TempFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        folder.Write(L"in.txt", row.text);
        EnvironmentBlock block;
        block.SetStringValue("old", "kept");
        EXPECT_TRUE(block.ReadFrom(folder.Path(L"in.txt")));
        Map expected{{"old", "kept"}};
        for (const auto& entry : row.added) expected.insert(entry);
        EXPECT_EQ(expected, block.Entries());
    }
    EnvironmentBlock block;
    block.SetArrayValue("k", {"1%s", "\0"s});
    EXPECT_FALSE(block.ReadFrom(folder.Path(L"missing.txt")));
    EXPECT_FALSE(block.SaveTo(folder.Path(L"missing\\out.txt")));
    EXPECT_TRUE(block.SaveTo(folder.Path(L"out.txt")));
    EXPECT_EQ("k=1%s\r\nk=\0\r\n"s, folder.Read(L"out.txt"));
}

}  // namespace
}  // namespace WindowsAgentCommon
