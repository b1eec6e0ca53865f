// Inputs are arguments in UTF-16, with "|" between them.

#include "tests/config/SampleCommandLine.h"
#include "tests/mutation/Reader.h"

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

void Read(const char* bytes, std::size_t size) {
    std::wstring texts(size / sizeof(wchar_t), L'\0');
    std::memcpy(texts.data(), bytes, texts.size() * sizeof(wchar_t));
    SampleCommandLine line;
    if (line.Parse(texts) == "failed") return;
    Require(line.Verify(), "the end is not the end");
    std::size_t found = 0;
    for (const wchar_t* name : SampleCommandLine::kNames) {
        for (const std::wstring& value : line.GetParam(name)) {
            found += 1 + value.size();
            Require(texts.find(value) != std::wstring::npos, "a value was not given");
        }
    }
    Require(found <= texts.size(), "more was found than is there");
}

std::vector<std::string> Examples() {
    std::vector<std::string> examples;
    for (const std::wstring text : {L"--install|-f|a.txt|-f|b.txt|x|-i", L"-iuf|-i|--out=x|-oy|--|-q",
                                    L"-W|setup|-Wfile=a|--\u00e9tat|\u0416\xD800", L"-|-u"})
        examples.emplace_back(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    return examples;
}

const Registration kRegistered({"CommandLine", Examples, Read, 80});

}  // namespace
