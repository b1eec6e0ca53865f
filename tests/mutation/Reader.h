#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace WindowsAgentCommon::test {

/// Something that reads bytes which may be anything. One source file each: examples, a reading function, and
/// in NameReader.cpp, at namespace scope
///     const Registration kRegistered({"Name", Examples, Read, 32});
struct Reader {
    const char* name;

    /// Valid inputs; mutations begin with them.
    std::vector<std::string> (*examples)();

    /// Reads one input as the product does, and looks at every result. bytes: size bytes that end at an
    /// inaccessible page. Failures that the product may report are caught here; what escapes is a fault.
    void (*read)(const char* bytes, std::size_t size);

    /// The most bytes of memory that reading may hold at a time for each byte of input, beside 64 KiB.
    std::size_t memoryPerByte;
};

/// Lists a reader; the program's main runs all that are listed.
class Registration {
public:
    explicit Registration(const Reader& reader) { All().push_back(reader); }

    static std::vector<Reader>& All() {
        static std::vector<Reader> readers;
        return readers;
    }
};

/// Throws a std::logic_error that says what when condition does not hold.
void Require(bool condition, const char* what);

}  // namespace WindowsAgentCommon::test
