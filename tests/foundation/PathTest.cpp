#include "foundation/Path.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon::detail {
namespace {

TEST(Path, LongPathsAndOnlyThoseGetThePrefixThatLiftsTheLimit) {
    const std::wstring name(250, L'n');
    const struct {
        std::wstring path, system;
    } rows[] = {
        {L"", L""},
        {L"a.log", L"a.log"},
        {L"C:\\a\\..\\b", L"C:\\a\\..\\b"},
        {L"C:\\x\\..\\" + name, L"\\\\?\\C:\\" + name},
        {L"C:/y/" + name, L"\\\\?\\C:\\y\\" + name},
        {L"\\\\host\\share\\" + name, L"\\\\?\\UNC\\host\\share\\" + name},
        {L"\\\\?\\C:\\" + name, L"\\\\?\\C:\\" + name},
        {L"\\\\.\\pipe\\" + name, L"\\\\.\\pipe\\" + name},
    };
    for (const auto& row : rows) EXPECT_EQ(SystemPath(row.path), row.system);
}

TEST(Path, AbsolutePathsAreMadeWithoutLookingAtTheDisk) {
    EXPECT_EQ(AbsolutePath(L"C:\\none\\.\\x\\../y.log"), L"C:\\none\\y.log");
    EXPECT_EQ(AbsolutePath(L""), L"");
    const std::wstring full = AbsolutePath(std::wstring(400, L'x'));
    EXPECT_EQ(full.substr(1, 2), L":\\");
    EXPECT_GT(full.size(), 400U);
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
