// What the end of the process writes out when it finds a thread that was ended in the middle of writing.

#include "CorvaneLogger/LogDstFile.h"
#include "logging/FileWrite.h"
#include "logging/RegistryAccess.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace CorvaneLogger {
namespace {

LogDstFile* destination;
std::uint32_t reached;  // bytes that the ended thread got into the file

std::uint32_t Write(void* file, const void* bytes, std::uint32_t size, unsigned long& error) {
    DWORD written = 0;
    error = ::WriteFile(file, bytes, size, &written, nullptr) ? ERROR_SUCCESS : ::GetLastError();
    return written;
}

std::uint32_t WriteUntilTheEnd(void* file, const void* bytes, std::uint32_t size, unsigned long& error) {
    detail::ReplaceFileWrite(Write);
    Write(file, bytes, reached, error);
    detail::FileAccess::Finish(*destination);
    return size;
}

TEST(ProcessEnd, WritesWhatAnEndedThreadDidNot) {
    const WindowsAgentCommon::test::TempFolder folder;
    ::SetCurrentDirectoryW(folder.Path().c_str());  // for "logger.log"
    const std::string line = "a line that is written once\n", lines = line + line + line;
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, line.size(), lines.size()}) {
        SCOPED_TRACE(bytes);
        folder.Write(L"end.log", "before\n");
        {
            LogDstFile file("end", "");
            std::map<std::string, std::string> params = {
                {"Folder", folder.Narrow()}, {"Prefix", ""}, {"Instant", "false"}};
            file.setup(params);
            destination = &file;
            reached = static_cast<std::uint32_t>(bytes);
            for (int count = 0; count < 3; ++count)
                file.log(300, "", line.c_str(), static_cast<unsigned>(line.size()), line.c_str());
            detail::ReplaceFileWrite(WriteUntilTheEnd);
            file.flush(false);
            detail::ReplaceFileWrite(nullptr);
        }
        EXPECT_EQ("before\n" + lines, folder.Read(L"end.log"));
    }
    ::SetCurrentDirectoryW(L"\\");
}

}  // namespace
}  // namespace CorvaneLogger
