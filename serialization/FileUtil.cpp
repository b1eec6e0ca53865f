#include "WindowsAgentCommon/FileUtil.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "foundation/Path.h"
#include "foundation/Transcoding.h"
#include "serialization/EntryPath.h"
#include "serialization/FileAccess.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

constexpr char kFunction[] = "WindowsAgentCommon::BasicUnTar";  // what exceptions name, wherever they begin
constexpr char kBadHeader[] =
    "This does not appear to be a valid tar file, or the file is corrupt (file header checksum invalid).";
constexpr char kBadFolder[] =
    "An error occurred when trying to create an extracted directory (%s); extraction aborted. Reason: %s";
constexpr char kBadFile[] =
    "An error occurred when trying to create an extracted file (%s); extraction aborted. Reason: %s";
constexpr char kBadWrite[] =
    "An error occurred when trying to write one of the files in the archive (%s); extraction aborted. "
    "Reason: %s";

[[noreturn]] void Fail(int line, const char* format, const std::wstring& name, DWORD error) {
    std::string reason, message;
    GetLastErrorText(error, reason);
    Format(message, format, ToUTF8(name).c_str(), reason.c_str());
    throw KORException(__FILE__, kFunction, line, error, message);
}

[[noreturn]] void FailHeader(int line, DWORD error) {
    throw KORException(__FILE__, kFunction, line, error, kBadHeader);
}

constexpr std::size_t kBlock = 512;  // tar consists of blocks of this size

// A header block: fields at fixed places, texts that fill their field have no terminator.
class Header {
public:
    char* Bytes() noexcept { return bytes_; }
    char Type() const noexcept { return bytes_[156]; }
    bool Size(std::uint64_t& size) const noexcept { return Octal(124, 12, size); }

    // The stored sum counts the eight bytes of its own field as blanks. A block of zeros has the right sum.
    bool HasItsChecksum() const noexcept {
        std::uint64_t stored = 0;
        if (!Octal(148, 8, stored)) return false;
        const auto add = [](std::uint64_t sum, char byte) { return sum + static_cast<unsigned char>(byte); };
        std::uint64_t sum = std::accumulate(bytes_, bytes_ + 148, std::uint64_t{0}, add);
        sum = std::accumulate(bytes_ + 156, bytes_ + kBlock, sum, add);
        return stored == (stored != 0 ? sum + 256 : sum);
    }

    std::wstring Name() const {
        std::string name = Text(0, 100);
        // Only POSIX archives have the prefix; others use its place for something else.
        const std::string prefix =
            std::memcmp(bytes_ + 257, "ustar", 6) == 0 ? Text(345, 155) : std::string();
        if (!prefix.empty()) name.insert(0, prefix + '/');
        const int length = static_cast<int>(name.size());
        const bool isUtf8 =
            ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name.data(), length, nullptr, 0) != 0;
        return detail::WideText(isUtf8 ? CP_UTF8 : CP_ACP, name.data(), name.size()).Take();
    }

private:
    std::string Text(std::size_t offset, std::size_t length) const {
        const char* const begin = bytes_ + offset;
        return std::string(begin, std::find(begin, begin + length, '\0'));
    }

    // Blanks, octal digits, then the field's end, a blank or a zero.
    bool Octal(std::size_t offset, std::size_t length, std::uint64_t& value) const noexcept {
        const char* next = bytes_ + offset;
        const char* const end = next + length;
        while (next != end && *next == ' ') ++next;
        for (value = 0; next != end && *next >= '0' && *next <= '7'; ++next)
            value = value * 8 + static_cast<std::uint64_t>(*next - '0');
        return next == end || *next == ' ' || *next == '\0';
    }

    char bytes_[kBlock];
};

// The archive's bytes in big pieces.
class ArchiveReader {
public:
    explicit ArchiveReader(detail::FileHandle file)
        : file_(std::move(file)), buffer_(new char[detail::kFilePiece]) {}

    // The next bytes, at most size; got is 0 at the archive's end.
    DWORD Next(std::uint64_t size, const char*& data, std::size_t& got) {
        if (begin_ == end_) {
            begin_ = end_ = 0;
            if (!::ReadFile(file_.Get(), buffer_.get(), detail::kFilePiece, &end_, nullptr))
                return ::GetLastError();
        }
        data = buffer_.get() + begin_;
        got = static_cast<std::size_t>(std::min<std::uint64_t>(size, end_ - begin_));
        begin_ += static_cast<DWORD>(got);
        return ERROR_SUCCESS;
    }

private:
    detail::FileHandle file_;
    std::unique_ptr<char[]> buffer_;
    DWORD begin_ = 0;
    DWORD end_ = 0;
};

class Extraction {
public:
    Extraction(detail::FileHandle archive, std::wstring destFolder)
        : archive_(std::move(archive)),
          destFolder_(std::move(destFolder)),
          base_(detail::VerbatimPath(destFolder_)) {
        if (!base_.empty() && base_.back() == L'\\') base_.pop_back();
    }

    unsigned int Run() {
        unsigned int files = 0;
        Header header;
        while (ReadHeader(header)) {
            if (!header.HasItsChecksum()) FailHeader(__LINE__, ERROR_INVALID_DATA);
            const char type = header.Type();
            if (type == '5') MakeFolder(header.Name());
            if ((type == '0' || type == '\0') && ExtractFile(header)) ++files;
            // Deliberate: entries of another type are passed over, the data they may have is not.
        }
        return files;
    }

private:
    bool ReadHeader(Header& header) {
        std::size_t read = 0;
        while (read != kBlock) {
            const char* data = nullptr;
            std::size_t got = 0;
            const DWORD error = archive_.Next(kBlock - read, data, got);
            if (error != ERROR_SUCCESS) FailHeader(__LINE__, error);
            if (got == 0) break;
            std::memcpy(header.Bytes() + read, data, got);
            read += got;
        }
        if (read != 0 && read != kBlock) FailHeader(__LINE__, ERROR_HANDLE_EOF);
        return read != 0;
    }

    // Where an entry goes; the error when it may not go there.
    DWORD Place(const std::wstring& name, std::wstring& path) const {
        std::wstring relative;
        if (!detail::RelativeEntryPath(name, relative)) return ERROR_INVALID_NAME;
        if (detail::LeadsThroughLink(base_, relative)) return ERROR_CANT_ACCESS_FILE;
        path = relative.empty() ? base_ : base_ + L'\\' + relative;
        return ERROR_SUCCESS;
    }

    void MakeFolder(const std::wstring& name) const {
        std::wstring path;
        DWORD error = Place(name, path);
        if (error == ERROR_SUCCESS) error = CreateDirectoryRecursive(path);
        if (error != ERROR_SUCCESS) Fail(__LINE__, kBadFolder, destFolder_ + L'\\' + name, error);
    }

    // Whether there was a file to write.
    bool ExtractFile(const Header& header) {
        const std::wstring name = header.Name();
        std::wstring path;
        const DWORD error = Place(name, path);
        if (error != ERROR_SUCCESS) Fail(__LINE__, kBadFile, name, error);
        std::uint64_t size = 0;
        if (!header.Size(size)) Fail(__LINE__, kBadFile, name, ERROR_INVALID_DATA);
        if (size == 0) return false;  // deliberate: empty files are not created
        if (name.empty() || name.back() == L'/' || name.back() == L'\\')
            Fail(__LINE__, kBadFile, name, ERROR_INVALID_NAME);
        const detail::FileHandle file = detail::CreateToWrite(path);
        if (!file) Fail(__LINE__, kBadFile, name, ::GetLastError());
        CopyData(size, file.Get(), name);
        return true;
    }

    void CopyData(std::uint64_t size, HANDLE file, const std::wstring& name) {
        std::uint64_t padding = (kBlock - size % kBlock) % kBlock;
        const char* data = nullptr;
        std::size_t got = 0;
        for (; size != 0; size -= got) {
            DWORD error = archive_.Next(size, data, got);
            if (error == ERROR_SUCCESS)
                error = got == 0 ? ERROR_HANDLE_EOF : detail::WriteAll(file, data, got);
            if (error != ERROR_SUCCESS) Fail(__LINE__, kBadWrite, name, error);
        }
        for (; padding != 0; padding -= got) {
            const DWORD error = archive_.Next(padding, data, got);
            if (error != ERROR_SUCCESS) Fail(__LINE__, kBadWrite, name, error);
            if (got == 0) return;  // the data is whole
        }
    }

    ArchiveReader archive_;
    std::wstring destFolder_;
    std::wstring base_;  // verbatim, without "\" at its end
};

}  // namespace

unsigned int BasicUnTar(const std::wstring& archive, const std::wstring& destFolder) {
    // Others may not write to it: an entry that bears the archive's own name must not replace it.
    detail::FileHandle file = detail::OpenToRead(archive, FILE_SHARE_READ | FILE_SHARE_DELETE);
    if (!file) throw ObjectDoesNotExistException(__FILE__, kFunction, __LINE__, ToUTF8(archive));
    bool isFolder = false;
    const DWORD error = IsDirectory(destFolder, isFolder);
    ::SetLastError(error == ERROR_SUCCESS ? ERROR_DIRECTORY : error);
    if (!isFolder) throw ObjectDoesNotExistException(__FILE__, kFunction, __LINE__, ToUTF8(destFolder));
    return Extraction(std::move(file), destFolder).Run();
}

}  // namespace WindowsAgentCommon
