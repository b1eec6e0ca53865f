// A raw message file of 100,000 texts of 60 characters beside plain WriteFile and ReadFile of the same bytes.

#include "WindowsAgentCommon/RawMessageFile.h"

#include "CorvaneLogger/CV_Logger.h"

#include "benchmarks/Benchmark.h"
#include "tests/support/TempFolder.h"

#include <cstdlib>
#include <memory>

using namespace WindowsAgentCommon;

namespace {

using Messages = std::map<unsigned long, std::wstring>;

void Require(bool condition, const char* what) {
    if (condition) return;
    std::printf("failed: %s\n", what);
    std::exit(1);
}

void PlainWrite(const std::wstring& path, const std::string& bytes) {
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    Require(::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr), "writing");
    ::CloseHandle(file);
}

// The bytes, in memory of their own, as a caller would hold them.
std::unique_ptr<char[]> PlainRead(const std::wstring& path) {
    const HANDLE file =
        ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    LARGE_INTEGER size = {};
    ::GetFileSizeEx(file, &size);
    std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(size.QuadPart)]);
    DWORD got = 0;
    Require(::ReadFile(file, bytes.get(), static_cast<DWORD>(size.QuadPart), &got, nullptr), "reading");
    ::CloseHandle(file);
    return bytes;
}

// The least that a table of these texts costs: its nodes, texts and their end.
void PlainReadIntoTable(const std::wstring& path, Messages& messages) {
    const std::unique_ptr<char[]> bytes = PlainRead(path);
    const char* at = bytes.get() + 4;
    for (DWORD left = *reinterpret_cast<const DWORD*>(bytes.get()); left > 0; --left) {
        const auto* const head = reinterpret_cast<const DWORD*>(at);
        messages.emplace_hint(messages.end(), head[0],
                              std::wstring(reinterpret_cast<const wchar_t*>(at + 8), head[1]));
        at += 8 + 2 * head[1];
    }
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what is thrown ends the benchmark
int main(int argc, char** argv) {
    bench::Comparison comparison(argc, argv);
    const test::TempFolder temp;
    const std::wstring path = temp.Path(L"ours"), peer = temp.Path(L"peer");
    const Log log(CorvaneLogger::CV_Logger::Logger("Code.RawMessageFile"));
    Messages messages;
    for (unsigned long key = 0; key < 100'000; ++key) messages[key] = std::wstring(60, L'x');
    Require(RawMessageFile::Save(path, messages, log), "preparing");
    const std::string bytes = temp.Read(L"ours");

    comparison.Run(
        "Save 100,000 texts", "WriteFile", 1,
        [&] { Require(RawMessageFile::Save(path, messages, log), "Save"); }, [&] { PlainWrite(peer, bytes); },
        101);
    Messages loaded;  // emptied outside the timed part: that is its owner's work
    const auto load = [&] { Require(RawMessageFile::Load(path, loaded, log), "Load"); };
    const auto empty = [&] { loaded.clear(); };
    comparison.Run(
        "Load 100,000 texts", "ReadFile", 1, load, [&] { PlainRead(path); }, 51, empty);
    comparison.Run(
        "Load 100,000 texts", "ReadFile into a table", 1, load, [&] { PlainReadIntoTable(path, loaded); }, 51,
        empty);
}
