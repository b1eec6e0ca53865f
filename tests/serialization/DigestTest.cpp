#include "WindowsAgentCommon/FileUtil.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

using namespace WindowsAgentCommon;

namespace {

using test::GuardedBuffer;
using test::TempFolder;

// Expected values: the digests' own published examples, and coreutils for the long one.
TEST(Digest, FilesAndBuffersGiveTheKnownSums) {
    const TempFolder temp;
    const std::tuple<std::string, const char*, const char*> rows[] = {
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
        EXPECT_TRUE(hex == md5 && ofFile == md5) << hex;
        EXPECT_EQ(SHA256Sum(buffer.Data<void>(), size), sha256);
        EXPECT_EQ(SHA256Sum(temp.Path(L"f")), sha256);
    }
    std::string kept = "kept";
    EXPECT_EQ(MD5Sum(temp.Path(L"none"), kept), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(MD5Sum(nullptr, 1, kept), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(kept + SHA256Sum(temp.Path(L"none")) + SHA256Sum(nullptr, 1), "kept");
}

TEST(Base64, BytesBecomeTextWithoutLineBreaksAndComeBackButBadTextDoesNot) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
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
         {std::string("Zg="), std::string("Zm9v="), std::string("===="), std::string("Zg==Zg=="),
          std::string("Zm\n9v"), std::string("Zm9-"), std::string("Zm9\0", 4), good + "?AAA", "?AAA" + good})
        EXPECT_EQ(DecodeBase64(text, decoded), 0U) << text.substr(0, 10);
    EXPECT_EQ(encoded.size() + decoded.size(), 7'000'000U);  // as they were
}

}  // namespace
