#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <ace/Auto_Event.h>
#include <ace/Condition_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

#include "CorvaneLogger/ALogger.h"
#include "services/RecordFile.h"

namespace WindowsAgentCommon::detail {

/// The records that wait to be written, and the work of the thread that writes them. Between Open and Close
/// any thread may call the rest. Errors are Windows error codes, 0 = success. Throws only std::bad_alloc,
/// with nothing changed.
class RecordWriter {
public:
    static constexpr std::size_t kMostWaiting = 2 * kLargestRecord;  ///< Bytes, with what they cost besides.
    static constexpr int kRetrySeconds = 30;  ///< Between tries to write a record; of the steady clock.

    RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    /// folder: verbatim, with "\" at its end. A thread must call Run next.
    void Open(const std::wstring& folder);

    /// Refuses what comes from now on; Run writes what waits and returns. When the process is ending and its
    /// threads are no more, this thread writes instead, unless one of them was about to change what waits;
    /// the record in hand may then fail. What could not be written still waits for another Open.
    void Close() noexcept;

    /// The thread's work, until Close.
    void Run() noexcept;

    /// Takes a record's new state; null bytes: it is gone. file: as RecordFileName makes it. name: for the
    /// log. ERROR_SERVICE_NOT_ACTIVE, ERROR_NOT_ENOUGH_QUOTA. Does no I/O and waits for none.
    unsigned long Put(const std::wstring& file, const std::string& name,
                      std::shared_ptr<const std::string> bytes);

    /// What was last put, or else what the file holds.
    unsigned long Get(const std::wstring& file, std::shared_ptr<const std::string>& bytes);

    unsigned long Flush();  ///< As IPersistenceManager's; ERROR_SERVICE_NOT_ACTIVE after Close.

    /// error: of the last write that failed, 0 when no record waits because of one.
    struct Status {
        std::size_t records, bytes;
        unsigned long error;
    };
    Status GetStatus() const;

private:
    struct Record {
        std::string name;
        std::shared_ptr<const std::string> bytes;
        std::uint32_t version = 0;  // counts what was put
        std::int64_t retryAt = 0;   // steady time; 0: at once
        unsigned long error = 0;    // of the last try

        std::size_t Cost() const;
    };
    using Records = std::map<std::wstring, Record>;  // by file

    bool Turn();
    void Wait();
    unsigned long WriteDue(bool all) noexcept;
    bool TakeDue(bool all, std::wstring& file, Record& record) const;
    unsigned long Write(const std::wstring& file, const Record& record);
    void Settle(const std::wstring& file, const Record& written, unsigned long error);
    void ReportUnwritten() const noexcept;

    mutable ACE_Thread_Mutex lock_;
    ACE_Thread_Mutex fileLock_;  // of the records' files, which cannot be replaced while they are read
    ACE_Auto_Event wake_;
    ACE_Condition_Thread_Mutex served_;
    std::wstring folder_;  // under lock_; Run's thread reads it as it is
    // Under lock_:
    Records waiting_;
    std::size_t waitingBytes_ = 0, failing_ = 0;
    unsigned long lastError_ = 0;
    bool active_ = false, closing_ = false, running_ = false;
    std::uint32_t flushesAsked_ = 0, flushesServed_ = 0;
    unsigned long flushError_ = 0;

    CorvaneLogger::ALogger& log_;
};

}  // namespace WindowsAgentCommon::detail
