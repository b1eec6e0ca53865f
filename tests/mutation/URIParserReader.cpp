// Inputs are URIs in UTF-16, as text and as names of backing files; nothing is opened.

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "WindowsAgentCommon/URIParser.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ImportPatch.h"

#include <cwchar>
#include <cwctype>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

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

void Read(const char* bytes, std::size_t size) {
    CorvaneLogger::CV_Logger::TheLogger().addBaseLogger("root", CorvaneLogger::kLevelFatal);
    std::wstring text(size / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes, text.size() * sizeof(wchar_t));
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

std::vector<std::string> Examples() {
    std::vector<std::string> examples;
    for (const std::wstring text :
         {L"file:///C:/x/%D0%B6%20.dat", L"file://localhost/C:/x", L"file://server/share/a",
          L"file:////s/t/u", L"res://box:8080/a/b?x=1#top", L"C:\\data\\x"})
        examples.emplace_back(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    return examples;
}

const Registration kRegistered({"URIParser", Examples, Read, 64});

}  // namespace
