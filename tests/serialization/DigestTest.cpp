#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon {
namespace {

using test::GuardedBuffer;
using test::TempFolder;

// Expected values: the digests' own published examples, and coreutils for the long one.
TEST(Digest, FilesAndBuffersGiveTheKnownSums) {
    const TempFolder temp;
    const struct {
        std::string bytes;
        const char *md5, *sha256;
    } rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72",
         "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {std::string(1'000'000, 'a'), "7707d6ae4e027c70eea2a935c2296f21",
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.md5);
        temp.Write(L"f", row.bytes);
        std::string hex, ofFile;
        const auto size = static_cast<unsigned int>(row.bytes.size());
        const GuardedBuffer buffer(row.bytes.data(), row.bytes.size());
        EXPECT_EQ(MD5Sum(buffer.Data<void>(), size, hex), 0U);
        EXPECT_EQ(hex, row.md5);
        EXPECT_EQ(MD5Sum(temp.Path(L"f"), ofFile), 0U);
        EXPECT_EQ(ofFile, row.md5);
        EXPECT_EQ(SHA256Sum(buffer.Data<void>(), size), row.sha256);
        EXPECT_EQ(SHA256Sum(temp.Path(L"f")), row.sha256);
    }
    std::string kept = "kept";
    EXPECT_EQ(MD5Sum(temp.Path(L"none"), kept), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(MD5Sum(nullptr, 1, kept), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(kept, "kept");
    EXPECT_EQ(SHA256Sum(temp.Path(L"none")), "");
    EXPECT_EQ(SHA256Sum(nullptr, 1), "");
}

TEST(Base64, BytesBecomeTextWithoutLineBreaksAndComeBack) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xFB\xFF\xBF", "+/+/"}};
    for (const auto& [bytes, text] : rows) {
        std::string encoded = "old";
        std::vector<unsigned char> decoded{1};
        const GuardedBuffer buffer(bytes.data(), bytes.size());
        EXPECT_NE(
            EncodeBase64(buffer.Data<unsigned char>(), static_cast<unsigned long>(bytes.size()), encoded),
            0U);
        EXPECT_EQ(encoded, text);
        EXPECT_NE(DecodeBase64(" " + text + "\r\n", decoded), 0U);
        EXPECT_EQ(std::string(decoded.begin(), decoded.end()), bytes);
    }
    for (const std::size_t size : {1023U, 1024U, 1025U, 3'000'001U}) {
        std::vector<unsigned char> bytes(size), decoded;
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * i >> 3U);
        std::string encoded;
        EXPECT_NE(EncodeBase64(bytes.data(), static_cast<unsigned long>(size), encoded), 0U);
        EXPECT_EQ(encoded.size(), (size + 2) / 3 * 4);
        EXPECT_NE(DecodeBase64(encoded, decoded), 0U);
        EXPECT_TRUE(decoded == bytes) << size;
    }
}

TEST(Base64, BadTextGivesZeroAndKeepsTheOutput) {
    std::vector<unsigned char> out{1, 2};
    const std::string good(4000, 'A');
    for (const std::string& text :
         {std::string("Z"), std::string("Zg"), std::string("Zg="), std::string("Zm9v="), std::string("===="),
          std::string("Z==="), std::string("Zg==Zg=="), std::string("Zm\n9v"), std::string("Zm9-"),
          std::string("Zm9\xFF"), std::string("Zm9\0", 4), good + "?AAA", "?AAA" + good}) {
        EXPECT_EQ(DecodeBase64(text, out), 0U) << text.substr(0, 10);
        EXPECT_EQ(out.size(), 2U);
    }
    std::string text = "kept";
    EXPECT_EQ(EncodeBase64(nullptr, 1, text), 0U);
    EXPECT_EQ(text, "kept");
}

}  // namespace
}  // namespace WindowsAgentCommon
