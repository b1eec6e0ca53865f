#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/support/ByteSource.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

namespace WindowsAgentCommon {
namespace {

using Map = std::multimap<std::string, std::string>;
using namespace std::string_literals;

/// A record with whatever lengths are stated.
std::string Record(std::uint32_t length, std::uint32_t keyLength, const std::string& key,
                   std::uint32_t valueLength, const std::string& value) {
    const auto bytes = [](std::uint32_t number) { return std::string(reinterpret_cast<char*>(&number), 4); };
    return bytes(length) + bytes(keyLength) + key + bytes(valueLength) + value;
}

TEST(EnvironmentBlockForms, BinaryFormIsAsDocumented) {
    EnvironmentBlock block, copy;
    block.SetStringValue("b", "");
    block.SetStringValue("a", "1");
    std::stringstream stream;
    EXPECT_TRUE(block.SaveTo(stream));
    EXPECT_EQ("\1\0\xAA\xAA"s + Record(14, 1, "a", 1, "1") + Record(13, 1, "b", 0, ""), stream.str());
    for (unsigned int i = 0; i < 100; ++i)  // records across the edges of windows
        block.SetArrayValue(std::string(i, '\xFF'), {std::string(i * 40, '\0'), "", "b", "a"});
    block.SetStringValue("n", std::string(4083, 'x'));  // the longest
    stream.str("");
    EXPECT_TRUE(block.SaveTo(stream) && copy.ReadFrom(stream));
    EXPECT_FALSE(block.SaveTo(stream) || copy.ReadFrom(stream)) << "the stream is at its end";
    EXPECT_EQ(block.Entries(), copy.Entries());
}

TEST(EnvironmentBlockForms, HostileStreamsEndWhereTheyGoWrong) {
    const std::string header = "\1\0\xAA\xAA"s, one = Record(14, 1, "k", 1, "v"), good = header + one;
    const std::string longest(4084, 'x');
    std::string many = header;
    for (int i = 0; i < 300; ++i) many += one;
    // Name, bytes, entries, and the last error where they are refused; 1 where nothing sets it.
    const std::tuple<const char*, std::string, std::size_t, DWORD> rows[] = {
        {"half a header", header.substr(0, 3), 0, 1},
        {"version bit clear", "\0\0\xAA\xAA"s + one, 0, 222},
        {"magic bit clear", "\1\0\xAA\x2A"s + one, 0, 222},
        {"more bits than needed", "\xFF\xFF\xFF\xFF" + one, 1, 0},
        {"length 11", good + Record(11, 0, "", 0, "") + one, 1, 0},
        {"length 4097", good + Record(4097, 0, "", 4085, longest + "x") + one, 1, 0},
        {"slack in a record", good + Record(16, 1, "k", 1, "v..") + one, 3, 0},
        {"key up to the value's length", good + Record(14, 3, "k", 1, "v") + one, 1, 0},
        {"key of 4 GB - 8", good + Record(14, 0xFFFFFFF8, "k", 1, "v") + one, 1, 0},
        {"key past a full window", header + Record(4096, 4085, longest, 0, "") + one, 0, 0},
        {"value past the record", good + Record(14, 1, "k", 2, "v") + one, 1, 0},
        {"cut in a record", good + one.substr(0, 13), 1, 0},
        {"out of order", good + Record(12, 0, "", 0, "") + one, 3, 0},
        {"fails in its second window", many, 292, 0},
    };
    for (const auto& [name, input, entries, error] : rows) {
        SCOPED_TRACE(name);
        const test::GuardedBuffer bytes{std::string_view(input)};
        test::ByteSource source(bytes.Data(), input.size(), input == many);
        std::istream stream(&source);
        EnvironmentBlock block;
        block.SetStringValue("old", "");
        ::SetLastError(error == 0 ? 0 : 1);
        EXPECT_EQ(error == 0, block.ReadFrom(stream));
        EXPECT_EQ(error, ::GetLastError());
        EXPECT_EQ(entries, block.Entries().size());
    }
}

TEST(EnvironmentBlockForms, TextLinesAreAdded) {
    const std::pair<std::string, Map> rows[] = {
        {"", {}},
        {"a\n\n\r\n#\n=", {{"", ""}}},
        {" \t\v\fa b\t = 1 \t\r\r\n", {{"a b", " 1 \t"}}},
        {"a=b=c\n==\n\r\r \r=\r\r", {{"", "="}, {"", ""}, {"a", "b=c"}}},
        {"a=2\na=1\nold=new\n", {{"a", "2"}, {"a", "1"}, {"old", "new"}}},
        {"\xFF\0=\0\x80\n="s, {{"", ""}, {"\xFF\0"s, "\0\x80"s}}},
    };
    const test::TempFolder folder;
    EnvironmentBlock out;
    for (const auto& [text, added] : rows) {
        SCOPED_TRACE(text);
        folder.Write(L"in.txt", text);
        EnvironmentBlock block;
        block.SetStringValue("old", "kept");
        EXPECT_TRUE(block.ReadFrom(folder.Path(L"in.txt")));
        Map expected{{"old", "kept"}};
        expected.insert(added.begin(), added.end());
        EXPECT_EQ(expected, block.Entries());
    }
    out.SetArrayValue("k", {"1%s", "\0"s});
    EXPECT_FALSE(out.ReadFrom(folder.Path(L"missing.txt")) || out.SaveTo(folder.Path(L"missing\\out.txt")));
    EXPECT_TRUE(out.SaveTo(folder.Path(L"out.txt")));
    EXPECT_EQ("k=1%s\r\nk=\0\r\n"s, folder.Read(L"out.txt"));
}

}  // namespace
}  // namespace WindowsAgentCommon
