// Inputs are text files with the lines of a configuration block. The library's calls for the file get the
// input, so that no disk is in the way.

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ImportPatch.h"

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

std::string_view g_rest;

HANDLE WINAPI Open(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    return ::CreateEventW(nullptr, TRUE, FALSE, nullptr);  // something to close
}

BOOL WINAPI SizeOfInput(HANDLE, LARGE_INTEGER* size) {
    size->QuadPart = static_cast<LONGLONG>(g_rest.size());
    return TRUE;
}

BOOL WINAPI ReadInput(HANDLE, void* bytes, DWORD size, DWORD* got, OVERLAPPED*) {
    *got = static_cast<DWORD>(g_rest.copy(static_cast<char*>(bytes), size));
    g_rest.remove_prefix(*got);
    return TRUE;
}

void Read(const char* bytes, std::size_t size) {
    const ImportPatch openPatch(L"CorvaneCommon.dll", "CreateFileW", Open);
    const ImportPatch sizePatch(L"CorvaneCommon.dll", "GetFileSizeEx", SizeOfInput);
    const ImportPatch readPatch(L"CorvaneCommon.dll", "ReadFile", ReadInput);
    g_rest = {bytes, size};
    EnvironmentBlock block;
    Require(block.ReadFrom(std::wstring(L"x")) && g_rest.empty(), "the file was not read");
    std::size_t found = 0;
    for (const auto& [name, value] : block.Entries()) {
        found += name.size() + 1 + value.size();
        Require((name + value).find('\n') == std::string::npos, "more than a line");
    }
    Require(found <= size, "more was found than is there");
}

std::vector<std::string> Examples() {
    return {"a=1\r\nb=2\r\n\r\n c \t= 3 \r\na=4", std::string(300, '\n') + "=\n==\n\r=\r\n",
            std::string(2000, 'n') + "=" + std::string(2000, 'v') + "\r\n" + std::string("\0=\0\n", 4)};
}

const Registration kRegistered({"BlockText", Examples, Read, 64});

}  // namespace
