#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace WindowsAgentCommon;

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
