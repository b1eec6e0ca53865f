#pragma once

#include <string>
#include <vector>

#include "tests/support/ImportPatch.h"
#include "tests/support/TempFolder.h"

namespace WindowsAgentCommon::test {

/// Something that reads bytes which may be anything: examples, a reading function, and at namespace scope
///     const Registration kName({"Name", Examples, Read, 32});
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

/// While it lives, CorvaneCommon.dll finds the input in every file that it reads, so that no disk is in the
/// way. One at a time.
class FileInput {
public:
    FileInput(const char* bytes, std::size_t size) {
        rest_ = {bytes, size};
        size_ = size;
    }

    /// Whether it was read to its end.
    static bool IsRead() { return rest_.empty(); }

    /// A file that is there.
    static std::wstring Path() {
        static const TempFolder folder;
        folder.Write(L"x", "");
        return folder.Path(L"x");
    }

private:
    static BOOL WINAPI Size(HANDLE, LARGE_INTEGER* size) {
        size->QuadPart = static_cast<LONGLONG>(size_);
        return TRUE;
    }
    static BOOL WINAPI Read(HANDLE, void* bytes, DWORD size, DWORD* got, OVERLAPPED*) {
        *got = static_cast<DWORD>(rest_.copy(static_cast<char*>(bytes), size));
        rest_.remove_prefix(*got);
        return TRUE;
    }

    static inline std::string_view rest_;
    static inline std::size_t size_ = 0;
    const ImportPatch<decltype(Size)> sizePatch_{L"CorvaneCommon.dll", "GetFileSizeEx", Size};
    const ImportPatch<decltype(Read)> readPatch_{L"CorvaneCommon.dll", "ReadFile", Read};
};

/// Inputs in UTF-16.
inline std::wstring TextOf(const char* bytes, std::size_t size) {
    std::wstring text(size / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes, text.size() * sizeof(wchar_t));
    return text;
}
inline std::vector<std::string> BytesOf(std::initializer_list<std::wstring> texts) {
    std::vector<std::string> all;
    for (const std::wstring& text : texts)
        all.emplace_back(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    return all;
}

}  // namespace WindowsAgentCommon::test
