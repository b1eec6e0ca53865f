#include "WindowsAgentCommon/StringRegistry.h"

#include "CorvaneLogger/CV_Logger.h"
#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/SystemInfo.h"
#include "WindowsAgentCommon/URIParser.h"
#include "foundation/Files.h"
#include "foundation/Path.h"
#include "foundation/Win32Handle.h"
#include "logging/ProcessEnd.h"
#include "serialization/FileUri.h"
#include "serialization/RegistryRecords.h"

#include <ace/Guard_T.h>

#include <memory>
#include <new>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {
namespace {

using ReadGuard = ACE_Read_Guard<ACE_RW_Thread_Mutex>;
using WriteGuard = ACE_Write_Guard<ACE_RW_Thread_Mutex>;

unsigned int KeyOf(const std::string& text) {
    std::uint32_t key = 0;
    for (const char byte : text) {
        // Bytes from 0x80 on count as negative numbers.
        const auto widened = static_cast<std::uint32_t>(static_cast<signed char>(byte));
        key ^= widened + 0x9E3779B9 + (key << 6) + (key >> 2);
    }
    return key;
}

bool ReadWhole(HANDLE file, std::string& bytes) {
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(file, &size) || static_cast<std::uint64_t>(size.QuadPart) > bytes.max_size())
        return false;
    bytes.resize(static_cast<std::size_t>(size.QuadPart));
    std::size_t read = 0;
    return detail::ReadUpTo(file, bytes.data(), bytes.size(), read) == ERROR_SUCCESS && read == bytes.size();
}

}  // namespace

StringRegistry::StringRegistry()
    : file_(INVALID_HANDLE_VALUE),
      logger_(CorvaneLogger::CV_Logger::Logger("Code.StringRegistry")),
      fileEnd_(0),
      ragged_(false) {}

StringRegistry::~StringRegistry() {
    const detail::FileHandle file(file_);
    if (!unsaved_.empty()) saveLocked();  // nobody else is here
}

// --- the backing file ---

bool StringRegistry::BackByFile(const std::wstring& uri) {
    {
        const ReadGuard guard(lock_);
        if (file_ != INVALID_HANDLE_VALUE) return false;
    }
    const URIParser parser(uri);
    if (!parser.IsValid()) {
        logger_.Error("Failed to open string registry backing file. URI is malformed: '%s'.",
                      ToUTF8(uri).c_str());
        return false;
    }
    if (parser.GetScheme() != L"file") {
        logger_.Error("Failed to open string registry backing file. URI scheme '%s' is invalid: '%s'.",
                      ToUTF8(parser.GetScheme()).c_str(), ToUTF8(uri).c_str());
        return false;
    }
    std::wstring path;
    if (detail::FilePathOf(parser, path)) return openAt(path, uri);
    logger_.Error("Failed to open string registry backing file. URI path '%s' is invalid: '%s'.",
                  ToUTF8(parser.GetPath()).c_str(), ToUTF8(uri).c_str());
    return false;
}

bool StringRegistry::openAt(const std::wstring& path, const std::wstring& uri) {
    const std::wstring systemPath = detail::SystemPath(path);
    detail::FileHandle file(::CreateFileW(systemPath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                          OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const bool existed = ::GetLastError() == ERROR_ALREADY_EXISTS;
    if (!file) {
        logger_.Debug("Unable to open %ls", path.c_str());
        return false;
    }
    if (::GetFileType(file.Get()) != FILE_TYPE_DISK) {  // "NUL", a pipe on a share
        logger_.Error("Failed to open string registry backing file. URI path '%s' is invalid: '%s'.",
                      ToUTF8(path).c_str(), ToUTF8(uri).c_str());
        return false;
    }
    if (existed) logger_.Debug("Loading from %ls", path.c_str());
    try {
        std::string bytes;
        if (!existed || ReadWhole(file.Get(), bytes)) {
            if (!attach(file.Get(), bytes, path)) return false;
            file.Release();
            return true;
        }
    } catch (const std::bad_alloc&) {  // a file that is too large for this process
    }
    logger_.Error("Failed to read string registry from backing file.");
    return false;
}

bool StringRegistry::attach(void* file, const std::string& bytes, const std::wstring& path) {
    detail::RegistryRecords records(bytes);
    {
        const WriteGuard guard(lock_);
        if (file_ != INVALID_HANDLE_VALUE) return false;  // another thread was faster
        detail::RegistryRecord record;
        while (records.Next(record)) insertLocked(std::string(record.text), record.key);
        if (records.RestIsCutOff()) {
            fileEnd_ = bytes.size() - records.RestSize();
            ragged_ = records.RestSize() > 0;
            file_ = file;
            return true;
        }
    }
    logger_.Error("Failed to read string registry from backing file. There is no record at byte %u of %ls.",
                  static_cast<unsigned int>(bytes.size() - records.RestSize()), path.c_str());
    return false;
}

// Writes what the file lacks behind its whole records. Returns the Windows error code.
// What an earlier write left of it is written over and not cut away first: records in it are whole already.
unsigned long StringRegistry::saveLocked() {
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(fileEnd_);
    if (ragged_ && (!::SetFilePointerEx(file_, end, nullptr, FILE_BEGIN) || !::SetEndOfFile(file_)))
        return ::GetLastError();
    ragged_ = false;
    OVERLAPPED position = {};
    position.Offset = end.LowPart;
    position.OffsetHigh = static_cast<DWORD>(end.HighPart);
    const auto size = static_cast<DWORD>(unsaved_.size());
    DWORD written = 0;
    const bool done = ::WriteFile(file_, unsaved_.data(), size, &written, &position) != FALSE;
    if (!done) return ::GetLastError();
    if (written != size) return ERROR_HANDLE_DISK_FULL;
    fileEnd_ += size;
    unsaved_.clear();
    return ERROR_SUCCESS;
}

// --- registering ---

// Both maps or neither get their entry when memory is lacking.
bool StringRegistry::insertLocked(const std::string& text, unsigned int key) {
    const auto [entry, newString] = byString_.try_emplace(text, key);
    try {
        const bool newKey = byKey_.try_emplace(key, text).second;
        return newString && newKey;
    } catch (...) {
        if (newString) byString_.erase(entry);
        throw;
    }
}

bool StringRegistry::RegisterString(const std::string& text, unsigned int& key) {
    if (GetKey(text, key)) return false;
    const unsigned int newKey = KeyOf(text);
    bool isNew, saves, told;
    unsigned long error = ERROR_SUCCESS;
    {
        const WriteGuard guard(lock_);
        const auto there = byString_.find(text);
        if (there != byString_.end()) {  // another thread was faster
            key = there->second;
            return false;
        }
        saves = file_ != INVALID_HANDLE_VALUE;
        told = !unsaved_.empty();
        if (saves) unsaved_.reserve(unsaved_.size() + detail::kRegistryHeadSize + text.size());
        isNew = insertLocked(text, newKey);
        if (saves) {
            // A string whose key another one holds has its record, too: its key is found by it again.
            detail::AppendRegistryRecord(unsaved_, {newKey, text});
            error = saveLocked();
        }
    }
    key = newKey;
    if (saves) logger_.Trace("Saving %s", text.c_str());
    if (error != ERROR_SUCCESS && !told) {
        std::string reason;
        GetLastErrorText(error, reason);
        logger_.Error("Failed to write string registry backing file. %s", reason.c_str());
    }
    return isNew;
}

bool StringRegistry::RegisterString(const std::string& text) {
    unsigned int key;
    return RegisterString(text, key);
}

bool StringRegistry::RegisterString(const std::wstring& text, unsigned int& key) {
    return RegisterString(ToUTF8(text), key);
}

bool StringRegistry::RegisterString(const std::wstring& text) { return RegisterString(ToUTF8(text)); }

// --- looking up ---

bool StringRegistry::GetKey(const std::string& text, unsigned int& key) const {
    const ReadGuard guard(lock_);
    const auto there = byString_.find(text);
    if (there == byString_.end()) return false;
    key = there->second;
    return true;
}

// The string stays where it is and as it is, so it is read without the lock.
const std::string* StringRegistry::find(unsigned int key) const {
    const ReadGuard guard(lock_);
    const auto there = byKey_.find(key);
    return there == byKey_.end() ? nullptr : &there->second;
}

bool StringRegistry::GetString(const unsigned int& key, std::string& text) const {
    const std::string* const found = find(key);
    if (found != nullptr) text = *found;
    return found != nullptr;
}

bool StringRegistry::GetString(const unsigned int& key, std::wstring& text) const {
    const std::string* const found = find(key);
    if (found != nullptr) FromUTF8(*found, text);
    return found != nullptr;
}

// --- the process's registry ---

StringRegistry* GetGlobalStringRegistry() {
    struct Holder {
        std::unique_ptr<StringRegistry> registry = std::make_unique<StringRegistry>();
        ~Holder() {
            // At the process's end, other threads were ended anywhere, in the middle of a change, too.
            if (CorvaneLogger::detail::ProcessIsEnding()) static_cast<void>(registry.release());
        }
    };
    static Holder holder;
    return holder.registry.get();
}

}  // namespace WindowsAgentCommon
