#include "foundation/Win32Handle.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

namespace WindowsAgentCommon::detail {
namespace {

std::vector<int> closed;

// Closes nothing but keeps the account, and spoils the last error as a closing call may.
struct CountingTraits {
    using Value = int;
    static Value Invalid() noexcept { return -1; }
    static void Close(Value value) noexcept {
        closed.push_back(value);
        ::SetLastError(ERROR_INVALID_HANDLE);
    }
};

using CountingHandle = UniqueHandle<CountingTraits>;
using Values = std::vector<int>;

static_assert(!std::is_copy_constructible_v<CountingHandle> && !std::is_copy_assignable_v<CountingHandle>);
static_assert(!std::is_convertible_v<int, CountingHandle> && !std::is_convertible_v<CountingHandle, bool>);

TEST(Win32Handle, ClosesWhatItOwnsOnceAndKeepsTheLastError) {
    closed.clear();
    ::SetLastError(ERROR_DISK_FULL);
    {
        CountingHandle handle(1);
        handle.Reset(0);
        handle.Reset(0);
        EXPECT_EQ(Values({1}), closed);
        EXPECT_TRUE(static_cast<bool>(handle)) << "zero is a valid value here";
        CountingHandle moved(std::move(handle));
        const CountingHandle& emptied = moved;
        CountingHandle assigned(2);
        assigned = std::move(moved);
        EXPECT_EQ(Values({1, 2}), closed);
        CountingHandle& self = assigned;
        assigned = std::move(self);
        EXPECT_EQ(0, assigned.Get());
        EXPECT_EQ(Values({1, 2}), closed);
        EXPECT_FALSE(emptied);
        CountingHandle given(3);
        EXPECT_EQ(3, given.Release());
        EXPECT_FALSE(given);
    }
    EXPECT_EQ(Values({1, 2, 0}), closed);
    EXPECT_EQ(static_cast<DWORD>(ERROR_DISK_FULL), ::GetLastError());
}

TEST(Win32Handle, EachKindKnowsItsInvalidValue) {
    EXPECT_EQ(nullptr, KernelHandle().Get());
    EXPECT_EQ(nullptr, ServiceHandle().Get());
    EXPECT_EQ(nullptr, LocalMemory().Get());
    EXPECT_EQ(INVALID_HANDLE_VALUE, FileHandle().Get());
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindHandle().Get());
    EXPECT_FALSE(KernelHandle(nullptr));
    EXPECT_FALSE(FileHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(FindHandle(nullptr)) << "null is no invalid value of this kind";
}

TEST(Win32Handle, SystemObjectsAreFreeOnceTheirOwnersAreGone) {
    wchar_t folder[MAX_PATH] = {};
    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(0u, ::GetTempPathW(MAX_PATH, folder));
    ASSERT_NE(0u, ::GetTempFileNameW(folder, L"cor", 0, path));
    const auto openAlone = [&path] {
        return FileHandle(::CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    };
    HANDLE event = nullptr;
    DWORD flags = 0;
    {
        const FileHandle file = openAlone();
        EXPECT_TRUE(static_cast<bool>(file));
        EXPECT_FALSE(openAlone());
        const KernelHandle owner(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        event = owner.Get();
        EXPECT_TRUE(::GetHandleInformation(event, &flags));
    }
    EXPECT_TRUE(openAlone());
    EXPECT_TRUE(::DeleteFileW(path)) << ::GetLastError();
    EXPECT_FALSE(::GetHandleInformation(event, &flags));
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
