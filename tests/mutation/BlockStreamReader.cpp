// Inputs are the binary form of a configuration block.

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "tests/mutation/Reader.h"
#include "tests/support/ByteSource.h"

#include <sstream>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

void Read(const char* bytes, std::size_t size) {
    ByteSource source(bytes, size);
    std::istream stream(&source);
    EnvironmentBlock block, copy;
    if (!block.ReadFrom(stream)) return Require(block.Entries().empty(), "a refused stream left entries");
    std::stringstream saved;
    Require(block.SaveTo(saved) && saved.str().size() <= size, "more was read than is there");
    Require(copy.ReadFrom(saved) && copy.Entries() == block.Entries(), "what was read is not read again");
}

std::vector<std::string> Examples() {
    EnvironmentBlock block;
    std::ostringstream small, large;
    block.SetArrayValue("a", {"1", "", "2"});
    block.SaveTo(small);
    for (unsigned int i = 0; i < 40; ++i) block.SetIntegerValue(std::string(i * 5, 'n'), i);
    block.SetStringValue("longest", std::string(4084 - 7, 'x'));
    block.SaveTo(large);
    return {small.str(), large.str()};
}

// The block, its copy, and the stream between them.
const Registration kRegistered({"BlockStream", Examples, Read, 2 * 8 + 8});

}  // namespace
