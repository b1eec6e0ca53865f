// The string registry's backing files, and the URIs that lead to them.

#include "WindowsAgentCommon/StringRegistry.h"
#include "WindowsAgentCommon/URIParser.h"
#include "serialization/RegistryRecords.h"
#include "tests/mutation/Reader.h"

#include <cwctype>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

void ReadFile(const char* bytes, std::size_t size) {
    const FileInput input(bytes, size);
    StringRegistry registry;
    const bool attached = registry.BackByFile(L"file:///" + FileInput::Path());

    detail::RegistryRecords records(std::string_view(bytes, size));
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
    Require(attached == records.RestIsCutOff(), "a file that is none was attached, or one refused");
    registry.RegisterString("one more");
}

std::vector<std::string> Files() {
    std::string three, many;
    for (const char* text : {"abc", "", "a text that is longer than short strings are"})
        detail::AppendRegistryRecord(three, {static_cast<unsigned int>(three.size()), text});
    for (unsigned int key = 0; key < 100; ++key) detail::AppendRegistryRecord(many, {key * 0x01010101, "t"});
    return {"", three, many, three + std::string(20, '\0')};
}

std::wstring g_opened;

HANDLE WINAPI RememberPath(const wchar_t* path, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    g_opened = path;
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

bool IsAbsoluteFilePath(std::wstring path) {
    if (path.compare(0, 8, L"\\\\?\\UNC\\") == 0) path.replace(0, 8, L"\\\\");
    if (path.compare(0, 4, L"\\\\?\\") == 0) path.erase(0, 4);
    if (path.find_first_of(L"/<>\"|?*") != std::wstring::npos || path.back() == L'\\') return false;
    if (path.compare(0, 2, L"\\\\") == 0) return path.compare(2, 2, L".\\") != 0 && path[2] != L'\\';
    return path.size() > 3 && std::iswalpha(path[0]) && path.compare(1, 2, L":\\") == 0 &&
           path.find(L':', 2) == std::wstring::npos;
}

// As texts and as names of backing files; nothing is opened.
void ReadUri(const char* bytes, std::size_t size) {
    const std::wstring text = TextOf(bytes, size);
    const URIParser uri(text);
    Require(uri.IsValid() && uri.GetURI() == text, "a text was not taken apart");
    std::wstring joined = uri.GetScheme();
    for (const std::wstring& part : {uri.GetAuthority(), uri.GetPath(), uri.GetQuery(), uri.GetFragment()})
        joined += part;
    Require(text.size() - joined.size() <= 5, "something of the text is in no component");

    const ImportPatch patch(L"CorvaneCommon.dll", "CreateFileW", &RememberPath);
    g_opened.clear();
    Require(!StringRegistry().BackByFile(text), "a file that was not opened was attached");
    Require(g_opened.empty() || IsAbsoluteFilePath(g_opened), "something else than a file was opened");
}

std::vector<std::string> Uris() {
    return BytesOf({L"file:///C:/x/%D0%B6%20.dat", L"file://localhost/C:/x", L"file://server/share/a",
                    L"file:////s/t/u", L"res://box:8080/a/b?x=1#top", L"C:\\data\\x"});
}

const Registration kFile({"StringRegistry", Files, ReadFile, 16});
const Registration kUri({"URIParser", Uris, ReadUri, 64});

}  // namespace
