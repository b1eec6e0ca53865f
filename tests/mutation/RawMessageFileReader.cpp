// Inputs are raw message files. The system's calls are replaced, so that no disk is in the way.

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/RawMessageFile.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

#include <cstring>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

std::string_view g_rest;
std::size_t g_size = 0;

BOOL WINAPI SizeOfInput(HANDLE, LARGE_INTEGER* size) {
    size->QuadPart = static_cast<LONGLONG>(g_size);
    return TRUE;
}

BOOL WINAPI ReadInput(HANDLE, void* bytes, DWORD size, DWORD* got, OVERLAPPED*) {
    *got = static_cast<DWORD>(g_rest.copy(static_cast<char*>(bytes), size));
    g_rest.remove_prefix(*got);
    return TRUE;
}

void Read(const char* bytes, std::size_t size) {
    static const TempFolder folder;
    static const Log log(CorvaneLogger::CV_Logger::Logger("Code.RawMessageFile"));
    CorvaneLogger::CV_Logger::TheLogger().addBaseLogger("root", CorvaneLogger::kLevelFatal);
    g_rest = {bytes, size};
    g_size = size;
    const ImportPatch sizePatch(L"CorvaneCommon.dll", "GetFileSizeEx", &SizeOfInput);
    const ImportPatch readPatch(L"CorvaneCommon.dll", "ReadFile", &ReadInput);
    folder.Write(L"x", "");
    std::map<unsigned long, std::wstring> messages;
    const bool whole = RawMessageFile::Load(folder.Path(L"x"), messages, log);
    std::size_t needed = 4;
    for (const auto& message : messages) needed += 8 + 2 * message.second.size();
    Require(messages.empty() || needed <= size, "more was read than is there");
    DWORD count = 0;
    if (size >= sizeof count) std::memcpy(&count, bytes, sizeof count);
    Require(!whole || (size >= sizeof count && messages.size() <= count), "a file that is none was read");
}

std::vector<std::string> Examples() {
    std::string file(1, 20);
    file.append(3, '\0');
    for (char key = 0; key < 20; ++key) {
        file += {key, 0, 0, 0, key, 0, 0, 0};
        file.append(2U * static_cast<unsigned char>(key), 'x');
    }
    return {std::string(4, '\0'), file};
}

// The file's bytes, and a node of the map for each 8 of them.
const Registration kRegistered({"RawMessageFile", Examples, Read, 16});

}  // namespace
