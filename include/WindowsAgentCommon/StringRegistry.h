#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <ace/RW_Thread_Mutex.h>

#include "CorvaneExport.h"
#include "CorvaneLogger/ALogger.h"

namespace WindowsAgentCommon {

/// Gives strings 32-bit keys, and finds each by the other; with a backing file also after a restart.
///
/// A string's key is made of its bytes alone, so that every process gives the same one. Two strings may have
/// one key: the first that was registered holds it, and the key gives that one. The second is known by its
/// string, and its key is the same. Strings are any bytes, of any length, zeros included; keys are any value.
/// Nothing is ever removed, so what is registered grows memory and file for good.
///
/// Any thread may call anything. Look-ups run side by side, and take no memory beyond what their result
/// needs; registering waits for them and lets them wait, while it writes the file, too. Throws only
/// std::bad_alloc: nothing is registered then. Nothing is logged under the lock.
///
/// The file gets a record for each string that is registered while it is attached, at once and by one write;
/// strings registered before are not written. A process that ends at any point leaves whole records and at
/// most one that is cut off, which loading ignores and the next record replaces. The machine's end may take
/// what the system had not written yet. While the file cannot be written (full disk), strings are registered
/// all the same, the trouble is logged once as an error, and what is missing is written with the next string
/// that can be, or when the registry is destroyed.
class CORVANE_API StringRegistry {
public:
    StringRegistry();
    StringRegistry(const StringRegistry&) = delete;
    StringRegistry& operator=(const StringRegistry&) = delete;

    /// Closes the backing file.
    ~StringRegistry();

    /// Attaches a backing file, made if there is none, and registers what it holds, its keys taken as they
    /// stand. uri: "file:" and an absolute path on a drive or a share; docs/serialization.md lists the
    /// forms. Nobody else can open the file as long as it is attached. Reading takes memory for the whole
    /// file, and keeps up to 16 bytes for each of its bytes.
    ///
    /// False, and no file attached: when one is attached already; when uri names no file, when that cannot be
    /// read, or when it is no backing file behind the records that it begins with (each an error in the log);
    /// when it cannot be opened (a debug line). Such a file is left as it is; the records that it begins with
    /// are registered. Blocks on the disk.
    bool BackByFile(const std::wstring& uri);

    /// Registers a string. key: its key, whatever is returned. True when the string was new and no other held
    /// its key.
    bool RegisterString(const std::string& text, unsigned int& key);
    bool RegisterString(const std::string& text);

    /// The same for UTF-16 text, which is registered as UTF-8; see Encoding.h for invalid text.
    bool RegisterString(const std::wstring& text, unsigned int& key);
    bool RegisterString(const std::wstring& text);

    /// Finds a string's key. False when the string is not registered; key is then unchanged.
    bool GetKey(const std::string& text, unsigned int& key) const;

    /// Finds the string that holds a key. False when none does; text is then unchanged.
    bool GetString(const unsigned int& key, std::string& text) const;

    /// The same, converted from UTF-8.
    bool GetString(const unsigned int& key, std::wstring& text) const;

private:
    bool openAt(const std::wstring& path, const std::wstring& uri);
    bool attach(void* file, const std::string& bytes, const std::wstring& path);
    const std::string* find(unsigned int key) const;
    bool insertLocked(const std::string& text, unsigned int key);
    unsigned long saveLocked();

    std::map<std::string, unsigned int> byString_;  // under lock_
    std::map<unsigned int, std::string> byKey_;     // under lock_
    mutable ACE_RW_Thread_Mutex lock_;
    void* file_;  // under lock_; INVALID_HANDLE_VALUE without a backing file
    CorvaneLogger::ALogger& logger_;
    std::uint64_t fileEnd_;  // under lock_; bytes of the whole records in the file
    std::string unsaved_;    // under lock_; records that the file lacks
    bool ragged_;            // under lock_; the file was loaded with more than whole records
};

/// The process's registry, made by the first call; it lives until the process ends or the library is
/// unloaded. Any thread may call it. Not null.
CORVANE_API StringRegistry* GetGlobalStringRegistry();

}  // namespace WindowsAgentCommon
