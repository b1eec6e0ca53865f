#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <sstream>

namespace WindowsAgentCommon {
namespace {

using test::TempFolder;

// Compresses badly, so that the compressed file has a middle.
std::string Noise(std::size_t size) {
    std::string bytes;
    unsigned state = 1;
    while (bytes.size() < size) bytes += static_cast<char>((state = state * 1664525U + 1013904223U) >> 24U);
    return bytes;
}

TEST(Compression, ARoundTripKeepsEveryByteUnderAnyName) {
    const TempFolder temp;
    const std::wstring folder = temp.Path(L"\x0436\x4e2d");
    const std::wstring deep = folder + L"\\" + std::wstring(200, L'd') + L"\\" + std::wstring(100, L'd');
    ASSERT_EQ(CreateDirectoryRecursive(deep), 0U);
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 300'000U}) {
        SCOPED_TRACE(size);
        const std::string bytes = Noise(size);
        temp.Write(L"source", bytes);
        const std::wstring packed = deep + L"\\\x0436.gz";
        EXPECT_EQ(GZip(temp.Path(L"source"), packed), 0U);
        std::ostringstream out;
        EXPECT_EQ(GUnZip(packed, out), 0U);
        EXPECT_TRUE(out.str() == bytes);
        EXPECT_EQ(GUnZip(packed, temp.Path(L"target")), 0U);
        EXPECT_TRUE(temp.Read(L"target") == bytes);
    }
    EXPECT_EQ(DeleteDirectoryContents(folder, nullptr), 0U);
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
    temp.Write(L"source", Noise(20));
    ASSERT_EQ(GZip(temp.Path(L"source"), temp.Path(L"good.gz")), 0U);
    const std::string small = temp.Read(L"good.gz");
    for (std::size_t size = 0; size < small.size(); ++size)
        EXPECT_EQ(unpack(small.substr(0, size)), DWORD{ERROR_HANDLE_EOF}) << size;
    temp.Write(L"source", Noise(200'000));
    ASSERT_EQ(GZip(temp.Path(L"source"), temp.Path(L"good.gz")), 0U);
    std::string damaged = temp.Read(L"good.gz");
    EXPECT_EQ(unpack(damaged.substr(0, damaged.size() - 70'000)), DWORD{ERROR_HANDLE_EOF});
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
    EXPECT_EQ(unpack(damaged), DWORD{ERROR_INVALID_DATA});
    EXPECT_EQ(unpack("plain text"), 0U);
    EXPECT_EQ(temp.Read(L"target"), "plain text");
}

TEST(Compression, FailuresAreReportedAndCostNoData) {
    const TempFolder temp;
    temp.Write(L"source", std::string(100'000, 's'));
    temp.Write(L"old.gz", "old");
    EXPECT_EQ(GZip(temp.Path(L"none"), temp.Path(L"old.gz")), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(temp.Read(L"old.gz"), "old");
    EXPECT_EQ(GUnZip(temp.Path(L"none"), temp.Path(L"old.gz")), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(temp.Read(L"old.gz"), "old");
    EXPECT_EQ(GZip(temp.Path(L"source"), temp.Path(L"SOURCE")), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(temp.Read(L"source").size(), 100'000U);
    EXPECT_EQ(GZip(temp.Path(L"source"), temp.Path(L"no\\x.gz")), DWORD{ERROR_PATH_NOT_FOUND});
    ASSERT_EQ(GZip(temp.Path(L"source"), temp.Path(L"good.gz")), 0U);
    EXPECT_EQ(GUnZip(temp.Path(L"good.gz"), temp.Path(L"good.gz")), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_GT(temp.Read(L"good.gz").size(), 20U);
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    EXPECT_EQ(GUnZip(temp.Path(L"good.gz"), out), DWORD{ERROR_WRITE_FAULT});
}

// The host's device that is always full; Wine alone has it.
TEST(Compression, AFullDiskIsReported) {
    const std::wstring full = L"Z:\\dev\\full";
    if (!SaveTextFile(full, "")) GTEST_SKIP() << "no such device";
    const TempFolder temp;
    for (const std::size_t size : {10U, 500'000U}) {
        temp.Write(L"source", Noise(size));
        ASSERT_EQ(GZip(temp.Path(L"source"), temp.Path(L"good.gz")), 0U);
        EXPECT_EQ(GZip(temp.Path(L"source"), full), DWORD{ERROR_DISK_FULL}) << size;
        EXPECT_EQ(GUnZip(temp.Path(L"good.gz"), full), DWORD{ERROR_DISK_FULL}) << size;
        EXPECT_FALSE(SaveTextFile(full, Noise(size)));
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
