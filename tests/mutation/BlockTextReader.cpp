// Inputs are text files with the lines of a configuration block. No file is made: the library's calls for it
// get the input, which is many times faster.

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ImportPatch.h"

#include <algorithm>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

struct {
    const char* bytes;
    std::size_t size, at;
} g_file;

HANDLE WINAPI Open(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    g_file.at = 0;
    return ::CreateEventW(nullptr, TRUE, FALSE, nullptr);  // something to close
}

BOOL WINAPI Size(HANDLE, LARGE_INTEGER* size) {
    size->QuadPart = static_cast<LONGLONG>(g_file.size);
    return TRUE;
}

BOOL WINAPI ReadPart(HANDLE, void* out, DWORD count, DWORD* got, OVERLAPPED*) {
    *got = std::min<DWORD>(count, g_file.size - g_file.at);
    std::memcpy(out, g_file.bytes + g_file.at, *got);
    g_file.at += *got;
    return TRUE;
}

void Read(const char* bytes, std::size_t size) {
    const ImportPatch open(L"CorvaneCommon.dll", "CreateFileW", Open);
    const ImportPatch measure(L"CorvaneCommon.dll", "GetFileSizeEx", Size);
    const ImportPatch read(L"CorvaneCommon.dll", "ReadFile", ReadPart);
    g_file = {bytes, size, 0};
    EnvironmentBlock block;
    Require(block.ReadFrom(std::wstring(L"block.txt")) && g_file.at == size, "the file was not read");
    std::size_t found = 0;
    for (const auto& [name, value] : block.Entries()) {
        found += name.size() + 1 + value.size();
        Require(name.find_first_of("=\n") == std::string::npos && value.find('\n') == std::string::npos,
                "a name or value goes beyond its line");
        Require(name.empty() || (name.front() != ' ' && name.back() != '\t'), "a name is not trimmed");
    }
    Require(found <= size, "more was found than is there");
}

std::vector<std::string> Examples() {
    return {"a", "a=1\r\nb=2\r\n\r\n c \t= 3 \r\na=4", std::string(300, '\n') + "=\n==\n\r=\r\n",
            std::string(2000, 'n') + "=" + std::string(2000, 'v') + "\r\n" + std::string("\0=\0\n", 4)};
}

const Registration kRegistered({"BlockText", Examples, Read, 64});

}  // namespace
