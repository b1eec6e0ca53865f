#pragma once

#include "WindowsAgentCommon/IRegistryCache.h"
#include "foundation/Win32Handle.h"
#include "services/RegistrySource.h"

#include <ace/Thread_Mutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace WindowsAgentCommon::detail {

/// What the machines of one registry cache have in common, from Initialize to Shutdown and as long as a
/// reader lives.
struct RegistryCacheState {
    RegistrySource* source = nullptr;
    std::int64_t refreshTicks = 0;      ///< How long a value is good.
    std::int64_t retryTicks = 0;        ///< How long a machine that failed is left alone.
    unsigned int waitMilliseconds = 0;  ///< How long a caller waits while another one asks the same machine.
    std::size_t maxBytes = 0;           ///< What all cached values may take.
    std::atomic<std::size_t> bytes{0};  ///< What they take.
    std::atomic<bool> isStopping{false};  ///< The cache is shut down: every call is aborted.
};

/// Sets the thread's last error to ERROR_OPERATION_ABORTED, and returns it.
unsigned long Aborted();

/// The cached registry of one machine.
///
/// One caller at a time asks the machine, without holding the lock; meanwhile the others are answered from
/// the cache, or get the error that the machine is remembered with, or wait for their turn: ERROR_TIMEOUT
/// where that does not come in time. A machine whose connection fails or breaks is asked again after the
/// retry interval, until when its error is given at once.
class CachedRegistry : public IRegistryCacheReader {
public:
    /// host: without backslashes; empty for the local machine.
    CachedRegistry(std::shared_ptr<RegistryCacheState> state, const std::wstring& host);
    CachedRegistry(const CachedRegistry&) = delete;
    CachedRegistry& operator=(const CachedRegistry&) = delete;
    ~CachedRegistry() override;

    unsigned long GetString(const std::wstring& key, const std::wstring& name, std::wstring& out) override;
    unsigned long GetInteger(const std::wstring& key, const std::wstring& name, std::uint32_t& out) override;
    unsigned long GetStrings(const std::wstring& key, const std::wstring& name,
                             std::vector<std::wstring>& out) override;
    unsigned long GetBinary(const std::wstring& key, const std::wstring& name,
                            std::vector<unsigned char>& out) override;
    unsigned long GetSubkeys(const std::wstring& key, std::vector<std::wstring>& out) override;
    unsigned long GetSecurityMessageFiles(const std::wstring& source,
                                          std::vector<std::wstring>& out) override;
    void Invalidate() override;

    void Wake() noexcept;  ///< Ends the waiting of callers, once the state says that it is stopping.
    void DropOld();        ///< Makes room of what is too old to be given.
    void Count(unsigned int& values, unsigned int& unreachable) const;  ///< Adds this machine's.

private:
    struct Answer {
        unsigned long error;  // success, or what the registry said of this value, such as that it is absent
        RegistryValue value;
        std::int64_t readAt;
        std::size_t cost;  // in bytes, of a stored one
    };
    struct Key {
        std::unique_ptr<RegistryKey> watch;  // null for a key that is not watched
        std::map<std::wstring, Answer> answers;
    };
    /// What is asked: a value, or the names of the subkeys.
    struct Question {
        const std::wstring& key;
        const std::wstring* name;  // null for the subkeys
        std::wstring foldedKey, foldedName;
    };
    class Turn;

    unsigned long Read(const std::wstring& key, const std::wstring* name, RegistryValue& out);
    bool FindLocked(const Question& question, RegistryValue& out, unsigned long& error);
    unsigned long Ask(const Question& question, Answer& answer, std::unique_ptr<RegistryKey>& watch);
    unsigned long Query(const Question& question, RegistryKey& key, RegistryValue& out) const;
    void StoreLocked(const Question& question, const Answer& answer, std::unique_ptr<RegistryKey> watch);
    void Remember(unsigned long error);
    void DropLocked(std::map<std::wstring, Key>::iterator key);
    void DropAllLocked();

    const std::shared_ptr<RegistryCacheState> state_;
    const std::wstring host_;
    const KernelHandle idle_;                         // set while nobody asks the machine
    std::unique_ptr<RegistryConnection> connection_;  // belongs to whoever asks the machine

    mutable ACE_Thread_Mutex lock_;  // guards what follows
    bool isAsking_ = false;
    std::uint32_t generation_ = 0;  // of Invalidate: what was asked before it is not stored after it
    unsigned long error_ = 0;       // with which the machine failed; 0 while it can be reached
    std::int64_t retryAt_ = 0;
    std::size_t watches_ = 0;
    std::map<std::wstring, Key> keys_;
};

}  // namespace WindowsAgentCommon::detail
