#include "services/RecordWriter.h"

#include "WindowsAgentCommon/AceRuntime.h"
#include "foundation/Path.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thread.h"

#include <gtest/gtest.h>

#include <new>

#include <windows.h>

using namespace WindowsAgentCommon;
using detail::RecordWriter;

namespace {

ACE_Auto_Event* moved = nullptr;
std::atomic<int> moves[128];  // by the first letter of the record

BOOL WINAPI FailingMove(const wchar_t*, const wchar_t* to, DWORD) {
    ++moves[wcsrchr(to, L'\\')[1]];
    moved->signal();
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST(RecordWriter, TriesAgainAtIntervalsOfTheSteadyClockWithoutKeepingOthersWaiting) {
    const test::TempFolder folder;
    test::FakeClock clock;
    ACE_Auto_Event event;
    moved = &event;
    for (std::atomic<int>& each : moves) each = 0;
    EnsureAceInitialized();
    RecordWriter writer;
    const test::ImportPatch patch(nullptr, "MoveFileExW", &FailingMove);
    writer.Open(detail::VerbatimPath(folder.Path(L"")));
    {
        const test::Thread thread([&] { writer.Run(); });
        const std::unique_ptr<RecordWriter, void (*)(RecordWriter*)> closing(
            &writer, [](RecordWriter* it) { it->Close(); });
        // Seconds that pass, the record that is saved then, how often the first one has been tried.
        const std::tuple<int, wchar_t, int> rows[] = {{0, L'a', 1}, {29, L'b', 1}, {0, L'b', 1},
                                                      {1, L'c', 2}, {29, L'd', 2}, {30, L'e', 3}};
        for (const auto& [seconds, record, tries] : rows) {
            SCOPED_TRACE(static_cast<char>(record));
            clock.AdvanceSeconds(seconds);
            clock.SetBySeconds(3600);  // which must not matter
            EXPECT_EQ(0u, writer.Put({record}, "name", std::make_shared<std::string>("x")));
            while (moves[record] == 0 || moves[L'a'] < tries) event.wait();
            EXPECT_EQ(tries, moves[L'a']);
        }
        EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, writer.Flush());
        EXPECT_EQ(4, moves[L'a']) << "a flush does not wait for the interval";
        EXPECT_EQ(5u, writer.GetStatus().records);
    }
    EXPECT_EQ(7, moves[L'a']);
    EXPECT_EQ(200, clock.SleptMilliseconds());
}

void* NoMemory(std::size_t) { return nullptr; }

TEST(RecordWriter, RefusesWithoutMemoryAndAccountsForNothing) {
    EnsureAceInitialized();
    RecordWriter writer;
    writer.Open(L"");
    const std::wstring file = L"f";
    const auto bytes = std::make_shared<std::string>(1000, 'x');
    {
        const test::ImportPatch patch(L"libstdc++-6.dll", "malloc", &NoMemory);
        EXPECT_THROW(writer.Put(file, "name", bytes), std::bad_alloc);
    }
    EXPECT_EQ(0u, writer.GetStatus().bytes + writer.GetStatus().records);
}

}  // namespace
