// Inputs are backing files. The system's calls are replaced, so that no disk is in the way.

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "serialization/RegistryRecords.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

std::string_view g_input;

BOOL WINAPI SizeOfInput(HANDLE, LARGE_INTEGER* size) {
    size->QuadPart = static_cast<LONGLONG>(g_input.size());
    return TRUE;
}

BOOL WINAPI ReadInput(HANDLE, void* bytes, DWORD size, DWORD* got, OVERLAPPED*) {
    *got = static_cast<DWORD>(g_input.copy(static_cast<char*>(bytes), size));
    return TRUE;
}

void Read(const char* bytes, std::size_t size) {
    static const TempFolder folder;
    CorvaneLogger::CV_Logger::TheLogger().addBaseLogger("root", CorvaneLogger::kLevelFatal);
    g_input = {bytes, size};
    const ImportPatch sizePatch(L"CorvaneCommon.dll", "GetFileSizeEx", &SizeOfInput);
    const ImportPatch readPatch(L"CorvaneCommon.dll", "ReadFile", &ReadInput);
    folder.Write(L"x", "");
    StringRegistry registry;
    const bool attached = registry.BackByFile(L"file:///" + folder.Path(L"x"));

    detail::RegistryRecords records(g_input);
    detail::RegistryRecord record{};
    std::size_t whole = 0;
    while (records.Next(record)) {
        std::string text;
        unsigned int key = 0;
        whole += detail::kRegistryHeadSize + record.text.size();
        Require(registry.GetKey(std::string(record.text), key), "a whole record's text is not found");
        Require(registry.GetString(record.key, text), "a whole record's key is not found");
    }
    Require(whole + records.RestSize() == size, "bytes between the records were passed over");
    Require(attached == records.RestIsCutOff(),
            "a file that is no backing file was attached, or one refused");
    registry.RegisterString("one more");
}

std::vector<std::string> Examples() {
    std::string three, many;
    for (const char* text : {"abc", "", "a text that is longer than short strings are"})
        detail::AppendRegistryRecord(three, {static_cast<unsigned int>(three.size()), text});
    for (unsigned int key = 0; key < 100; ++key) detail::AppendRegistryRecord(many, {key * 0x01010101, "t"});
    return {"", three, many, three + std::string(20, '\0')};
}

const Registration kRegistered({"StringRegistry", Examples, Read, 16});

}  // namespace
