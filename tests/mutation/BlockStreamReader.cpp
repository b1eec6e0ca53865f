// Inputs are the binary form of a configuration block.

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/mutation/Reader.h"

#include <sstream>
#include <streambuf>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

/// Bytes where they lie, so that reading past them is a fault.
class Source : public std::streambuf {
public:
    Source(const char* bytes, std::size_t size) {
        char* const begin = const_cast<char*>(bytes);
        setg(begin, begin, begin + size);
    }
};

void Read(const char* bytes, std::size_t size) {
    Source source(bytes, size);
    std::istream stream(&source);
    EnvironmentBlock block, copy;
    if (!block.ReadFrom(stream)) return Require(block.Entries().empty(), "a refused stream left entries");
    std::stringstream saved;
    Require(block.SaveTo(saved) && saved.str().size() <= size, "more was read than is there");
    Require(copy.ReadFrom(saved), "what was read cannot be read again");
    Require(copy.Entries() == block.Entries(), "what was read changed on its way through a stream");
}

std::vector<std::string> Examples() {
    EnvironmentBlock small, large;
    small.SetArrayValue("a", {"1", "", "2"});
    small.SetStringValue("", "b");
    for (unsigned int i = 0; i < 40; ++i) large.SetIntegerValue(std::string(i * 5, 'n'), i);
    large.SetStringValue("longest", std::string(4084 - 7, 'x'));
    std::ostringstream first, second;
    small.SaveTo(first);
    large.SaveTo(second);
    return {first.str(), second.str()};
}

// The block, its copy, and the stream between them.
const Registration kRegistered({"BlockStream", Examples, Read, 2 * 8 + 8});

}  // namespace
