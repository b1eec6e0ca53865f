#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <cstring>
#include <sstream>

using namespace WindowsAgentCommon;

namespace {

using test::GuardedBuffer;
using test::ImportPatch;
using test::TempFolder;
using testing::Pair;
using Lines = std::vector<std::string>;
using Props = std::multimap<std::string, std::string>;

TEST(TextFile, TextComesBackAsItIsAndLinesEndAtLineFeeds) {
    const TempFolder temp;
    const std::wstring path = temp.Path(L"f");
    const std::pair<std::string, Lines> rows[] = {
        {"", {}},
        {"\n", {""}},
        {"a\r\nb\n", {"a", "b"}},
        {"\r\n\r\n\nx", {"", "", "", "x"}},
        {"a\rb\r\r\nc\r", {"a\rb\r", "c\r"}},
        {"\xEF\xBB\xBFk\n", {"\xEF\xBB\xBFk"}},
        {std::string("z\0z\n\0", 5), {std::string("z\0z", 3), std::string(1, '\0')}},
        {std::string(300'000, 'l') + "\n", {std::string(300'000, 'l')}}};
    for (const auto& [bytes, expected] : rows) {
        SCOPED_TRACE(bytes.substr(0, 9));
        std::string text = "old";
        Lines lines{"old"};
        EXPECT_TRUE(SaveTextFile(path, bytes) && temp.Read(L"f") == bytes);
        EXPECT_TRUE(ReadTextFile(path, text) && text == bytes);
        EXPECT_TRUE(ReadTextFile(path, lines) && lines == expected);
    }
    Lines lines{"a", "b"}, many(50'000, "line"), back;
    EXPECT_TRUE(SaveTextFile(path, lines) && temp.Read(L"f") == "a\r\nb\r\n");
    EXPECT_TRUE(SaveTextFile(path, many) && ReadTextFile(path, back) && back == many);
    EXPECT_FALSE(SaveTextFile(temp.Path(L"no\\f"), "x"));
}

LONGLONG g_size = 0;  // of a file that holds line feeds only

BOOL WINAPI Size(HANDLE, LARGE_INTEGER* size) { return size->QuadPart = g_size, TRUE; }

BOOL WINAPI Feeds(HANDLE, void* bytes, DWORD count, DWORD* got, OVERLAPPED*) {
    std::memset(bytes, '\n', *got = count);
    return TRUE;
}

void ExpectUnread(const std::wstring& path, unsigned long error) {
    SCOPED_TRACE(g_size);
    std::string text = "kept";
    Lines lines{"kept"};
    Props props{{"kept", ""}};
    EXPECT_TRUE(ReadTextFile(path, text) || text == "kept");
    EXPECT_FALSE(ReadTextFile(path, lines));
    EXPECT_EQ(ReadPropFile(path, props), error);
    EXPECT_EQ(lines.at(0) + props.begin()->first, "keptkept");
}

TEST(TextFile, WhatCannotBeReadOrDoesNotFitLeavesTheOutputAlone) {
    const TempFolder temp;
    temp.Write(L"f", "");
    ExpectUnread(temp.Path(L"none"), ERROR_FILE_NOT_FOUND);
    const ImportPatch measure(L"CorvaneCommon.dll", "GetFileSizeEx", &Size);
    const ImportPatch read(L"CorvaneCommon.dll", "ReadFile", &Feeds);
    for (const LONGLONG size :
         {(1LL << 32U) + 1, (1LL << 31U) - 2, 90'000'000LL}) {  // beyond strings, memory, vectors
        g_size = size;
        ExpectUnread(temp.Path(L"f"), ERROR_NOT_ENOUGH_MEMORY);
    }
}

TEST(PropFile, LinesWithAnEqualsSignBecomeTrimmedPairs) {
    const TempFolder temp;
    Props props{{"had", "1"}};
    temp.Write(
        L"p",
        "\xEF\xBB\xBFkey = a=b\r\n\r\nno sign\n\tt\tt\t=\t1\t2\t\nkey=second\n = nameless\nbare\r=x\rend=1");
    EXPECT_EQ(ReadPropFile(temp.Path(L"p"), props), 0U);
    EXPECT_THAT(props, testing::ElementsAre(Pair("", "nameless"), Pair("bare", "x\rend=1"), Pair("had", "1"),
                                            Pair("key", "a=b"), Pair("key", "second"), Pair("t t", "1 2")));
}

// Expected values: the digests' own published examples, and coreutils for the long one.
TEST(Digest, FilesAndBuffersGiveTheKnownSums) {
    const TempFolder temp;
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {std::string(1'000'000, 'a'), "7707d6ae4e027c70eea2a935c2296f21",
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& [bytes, md5, sha256] : rows) {
        temp.Write(L"f", bytes);
        std::string hex, ofFile;
        const auto size = static_cast<unsigned int>(bytes.size());
        const GuardedBuffer buffer(bytes.data(), bytes.size());
        EXPECT_EQ(MD5Sum(buffer.Data<void>(), size, hex) | MD5Sum(temp.Path(L"f"), ofFile), 0U);
        EXPECT_EQ(hex + ofFile, md5 + md5);
        EXPECT_EQ(SHA256Sum(buffer.Data<void>(), size) + SHA256Sum(temp.Path(L"f")), sha256 + sha256);
    }
    std::string kept = "kept";
    EXPECT_EQ(MD5Sum(temp.Path(L"none"), kept), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(MD5Sum(nullptr, 1, kept), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(kept + SHA256Sum(temp.Path(L"none")) + SHA256Sum(nullptr, 1), "kept");
}

TEST(Base64, BytesBecomeTextWithoutLineBreaksAndComeBackButBadTextDoesNot) {
    using namespace std::string_literals;
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"\xFB\xFF\xBF", "+/+/"},
        {std::string(1025, '\0'), std::string(1367, 'A') + "="},
        {std::string(3'000'000, '\0'), std::string(4'000'000, 'A')}};
    std::vector<unsigned char> decoded{1};
    std::string encoded;
    for (const auto& [bytes, text] : rows) {
        const GuardedBuffer buffer(bytes.data(), bytes.size());
        EXPECT_NE(EncodeBase64(buffer.Data<unsigned char>(), bytes.size(), encoded), 0U);
        EXPECT_TRUE(encoded == text) << encoded.substr(0, 10);
        EXPECT_NE(DecodeBase64(" " + text + "\r\n", decoded), 0U);
        EXPECT_TRUE(std::string(decoded.begin(), decoded.end()) == bytes);
    }
    EXPECT_EQ(EncodeBase64(nullptr, 1, encoded), 0U);
    const std::string good(4000, 'A');
    for (const std::string& text :
         {"Zg="s, "Zm9v="s, "===="s, "Zg==Zg=="s, "Zm\n9v"s, "Zm9-"s, "Zm9\0"s, good + "?AAA", "?AAA" + good})
        EXPECT_EQ(DecodeBase64(text, decoded), 0U) << text.substr(0, 10);
    EXPECT_EQ(encoded.size() + decoded.size(), 7'000'000U);  // as they were
}

// Compresses badly, so that the compressed file has a middle.
std::string Noise(std::size_t size) {
    std::string bytes;
    unsigned state = 1;
    while (bytes.size() < size) bytes += static_cast<char>((state = state * 1664525U + 1013904223U) >> 24U);
    return bytes;
}

TEST(Compression, ARoundTripKeepsEveryByteUnderAnyName) {
    const TempFolder temp;
    const std::wstring deep =
        temp.Path(L"\x0436\x4e2d\\" + std::wstring(200, L'd') + L"\\" + std::wstring(100, L'd'));
    ASSERT_EQ(CreateDirectoryRecursive(deep), 0U);
    for (const std::size_t size : {0U, 1U, 65536U, 300'000U}) {
        SCOPED_TRACE(size);
        const std::string bytes = Noise(size);
        temp.Write(L"source", bytes);
        EXPECT_EQ(GZip(temp.Path(L"source"), deep + L"\\\x0436.gz"), 0U);
        std::ostringstream out;
        EXPECT_EQ(GUnZip(deep + L"\\\x0436.gz", out), 0U);
        EXPECT_TRUE(out.str() == bytes);
    }
    EXPECT_EQ(DeleteDirectoryContents(temp.Path(), nullptr), 0U);
}

TEST(Compression, CutOrDamagedFilesAreNeverTakenForWhole) {
    const TempFolder temp;
    const auto unpack = [&](const std::string& bytes) {
        temp.Write(L"bad.gz", bytes);
        std::ostringstream out;
        const unsigned long error = GUnZip(temp.Path(L"bad.gz"), out);
        EXPECT_EQ(GUnZip(temp.Path(L"bad.gz"), temp.Path(L"target")), error);
        return error;
    };
    const auto pack = [&](std::size_t size) {
        temp.Write(L"source", Noise(size));
        EXPECT_EQ(GZip(temp.Path(L"source"), temp.Path(L"good.gz")), 0U);
        return temp.Read(L"good.gz");
    };
    const std::string small = pack(20);
    for (std::size_t size = 0; size < small.size(); ++size)
        EXPECT_EQ(unpack(small.substr(0, size)), DWORD{ERROR_HANDLE_EOF}) << size;
    std::string damaged = pack(200'000);
    EXPECT_EQ(unpack(damaged.substr(0, damaged.size() - 70'000)), DWORD{ERROR_HANDLE_EOF});
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
    EXPECT_EQ(unpack(damaged), DWORD{ERROR_INVALID_DATA});
    EXPECT_EQ(unpack("plain text"), 0U);
    EXPECT_EQ(temp.Read(L"target"), "plain text");
}

TEST(Compression, FailuresAreReportedAndCostNoData) {
    const TempFolder temp;
    const std::wstring source = temp.Path(L"source"), old = temp.Path(L"old.gz"),
                       good = temp.Path(L"good.gz");
    temp.Write(L"source", Noise(500'000));
    temp.Write(L"old.gz", "old");
    EXPECT_EQ(GZip(temp.Path(L"none"), old) | GUnZip(temp.Path(L"none"), old), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(temp.Read(L"old.gz"), "old");
    EXPECT_EQ(GZip(source, temp.Path(L"SOURCE")), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(temp.Read(L"source").size(), 500'000U);
    EXPECT_EQ(GZip(source, temp.Path(L"no\\x.gz")), DWORD{ERROR_PATH_NOT_FOUND});
    ASSERT_EQ(GZip(source, good), 0U);
    EXPECT_EQ(GUnZip(good, good), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_GT(temp.Read(L"good.gz").size(), 20U);
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    EXPECT_EQ(GUnZip(good, out), DWORD{ERROR_WRITE_FAULT});

    const std::wstring full = L"Z:\\dev\\full";  // the host's device that is always full; Wine alone has it
    if (!SaveTextFile(full, "")) GTEST_SKIP() << "no such device";
    EXPECT_EQ(GUnZip(good, full), DWORD{ERROR_DISK_FULL});
    EXPECT_FALSE(SaveTextFile(full, "x"));
    for (const std::size_t size : {10U, 500'000U}) {
        temp.Write(L"source", Noise(size));
        EXPECT_EQ(GZip(source, full), DWORD{ERROR_DISK_FULL}) << size;
    }
}

}  // namespace
