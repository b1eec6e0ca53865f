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

TEST(Path, VerbatimPathsAreAbsoluteBehindThePrefix) {
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"", L""},
        {L"C:/a/../b.", L"\\\\?\\C:\\b"},
        {L"\\\\host\\share\\a", L"\\\\?\\UNC\\host\\share\\a"},
        {L"\\\\?\\C:\\a.", L"\\\\?\\C:\\a."},
        {L"NUL", L"\\\\.\\NUL"},
    };
    for (const auto& [path, verbatim] : rows) EXPECT_EQ(VerbatimPath(path), verbatim);
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
