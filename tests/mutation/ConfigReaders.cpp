// What the configuration comes from: blocks in their two forms, and arguments.

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/config/SampleCommandLine.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ByteSource.h"

#include <sstream>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

void ReadStream(const char* bytes, std::size_t size) {
    ByteSource source(bytes, size);
    std::istream stream(&source);
    EnvironmentBlock block, copy;
    if (!block.ReadFrom(stream)) return Require(block.Entries().empty(), "a refused stream left entries");
    std::stringstream saved;
    Require(block.SaveTo(saved) && saved.str().size() <= size, "more was read than is there");
    Require(copy.ReadFrom(saved) && copy.Entries() == block.Entries(), "what was read is not read again");
}

std::vector<std::string> Streams() {
    EnvironmentBlock block;
    std::ostringstream small, large;
    block.SetArrayValue("a", {"1", "", "2"});
    block.SaveTo(small);
    for (unsigned int i = 0; i < 40; ++i) block.SetIntegerValue(std::string(i * 5, 'n'), i);
    block.SetStringValue("longest", std::string(4084 - 7, 'x'));
    block.SaveTo(large);
    return {small.str(), large.str()};
}

void ReadText(const char* bytes, std::size_t size) {
    const FileInput input(bytes, size);
    EnvironmentBlock block;
    Require(block.ReadFrom(FileInput::Path()) && FileInput::IsRead(), "the file was not read");
    std::size_t found = 0;
    for (const auto& [name, value] : block.Entries()) {
        found += name.size() + 1 + value.size();
        Require((name + value).find('\n') == std::string::npos, "more than a line");
    }
    Require(found <= size, "more was found than is there");
}

std::vector<std::string> Texts() {
    return {"a=1\r\nb=2\r\n\r\n c \t= 3 \r\na=4", std::string(300, '\n') + "=\n==\n\r=\r\n",
            std::string(2000, 'n') + "=" + std::string(2000, 'v') + "\r\n" + std::string("\0=\0\n", 4)};
}

void ReadArguments(const char* bytes, std::size_t size) {
    const std::wstring texts = TextOf(bytes, size);
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

std::vector<std::string> Arguments() {
    return BytesOf({L"--install|-f|a.txt|-f|b.txt|x|-i", L"-iuf|-i|--out=x|-oy|--|-q",
                    L"-W|setup|-Wfile=a|--\u00e9tat|\u0416\xD800", L"-|-u"});
}

// The block, its copy, and the stream between them.
const Registration kStream({"BlockStream", Streams, ReadStream, 2 * 8 + 8});
const Registration kText({"BlockText", Texts, ReadText, 64});
const Registration kArguments({"CommandLine", Arguments, ReadArguments, 80});

}  // namespace
