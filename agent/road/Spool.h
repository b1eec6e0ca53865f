#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/road/Sink.h"
#include "agent/road/SegmentReader.h"
#include "agent/road/SpoolFormat.h"
#include "agent/sdk/Handle.h"

namespace WindowsAgentCommon {
class IDiskManager;
}

namespace CorvaneAgent {

/// A place in the spool: in front of the record at offset bytes of a segment. A place in a segment that is
/// gone means the beginning of the next one there is.
struct SpoolPosition {
    std::uint64_t segment = 0;
    std::uint64_t offset = 0;

    bool operator<(const SpoolPosition& other) const {
        return segment != other.segment ? segment < other.segment : offset < other.offset;
    }
};

/// Events on the disk, first in, first out: records in segment files of one folder (docs/formats/spool.md).
/// What Append has written survives the process, however it ends; not a failure of power, as nothing is
/// flushed beyond the system's cache.
///
/// Any thread may call anything, one Append at a time. One lock serialises all, I/O included. The thread rule
/// aside, std::bad_alloc is all that is thrown, with nothing changed.
class Spool {
public:
    struct Options {
        std::wstring folder;             ///< With a backslash at its end; made if need be.
        std::uint64_t capacity = 0;      ///< Bytes accounted for at most.
        std::uint64_t segmentBytes = 0;  ///< When a segment is full; a larger batch gets one of its own.
    };
    enum class AppendResult {
        kWritten,
        kFull,      ///< The capacity, or the disk manager, does not allow it for the moment.
        kTooLarge,  ///< It never will, or a line exceeds kMaxRecordBytes.
        kFailed,    ///< The system refused; see GetAppendError.
    };

    /// disk: gets every byte reserved and released; outlives the spool.
    Spool(const Options& options, WindowsAgentCommon::IDiskManager& disk, WindowsAgentCommon::Log log);
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;
    ~Spool();

    /// Takes over what the folder holds. A torn end of the last segment is cut off. position: up to where the
    /// events are done with; set back to the beginning of its segment when it is not between two records
    /// there. Returns the Windows code, 0 = success. Once, before everything else.
    unsigned long Open(SpoolPosition& position);

    /// Writes a batch by one call of the system, all of it or nothing.
    AppendResult Append(const LineBatch& lines);
    unsigned long GetAppendError() const;  ///< The Windows code of the last Append that failed.

    /// Replaces lines by some of the records from position on, all of one segment: as many as fit into
    /// maxBytes, but at least one. position becomes the place behind them. False, lines empty, at the end, or
    /// when the segment cannot be read for the moment. A damaged segment is left at the first damage: logged,
    /// counted, and reading goes on with the next one.
    bool Read(SpoolPosition& position, std::size_t maxBytes, LineBatch& lines);

    /// Deletes the segments that lie wholly before position; the last one goes when its room is needed.
    void Release(const SpoolPosition& position);

    /// Deletes the oldest segment, be it the one in use. lost: its records from position on, for which it is
    /// read unless this process wrote it and position lies before it. False when there is none.
    bool DropOldest(const SpoolPosition& position, std::uint64_t& lost);

    std::uint64_t GetBytes() const;                                     ///< Of all segments.
    std::uint64_t GetBytesBehind(const SpoolPosition& position) const;  ///< What is not read yet.
    std::uint64_t GetFirstSegment() const;  ///< Its number; without segments that of the next.
    std::uint64_t GetDamagedCount() const;  ///< Segments found damaged.

private:
    struct Segment {
        std::uint64_t size = 0;      // of its valid part
        std::uint64_t reserved = 0;  // accounted for with the disk manager
        std::uint64_t records = 0;
        bool counted = true;  // records is known: of what this process wrote
    };
    using Segments = std::map<std::uint64_t, Segment>;
    using Guard = ACE_Guard<ACE_Thread_Mutex>;

    unsigned long listLocked();
    void checkLastLocked();
    bool walkLocked(std::uint64_t number, std::uint64_t until, std::uint64_t& end);
    AppendResult appendLocked(std::string& bytes, std::uint64_t records);
    AppendResult writeLocked(const char* bytes, std::size_t size, std::uint64_t records, bool isNew);
    bool reserveLocked(std::uint64_t bytes);
    void releaseLocked(std::uint64_t bytes);
    unsigned long openWriterLocked();
    void undoLocked(bool isNew, std::uint64_t bytes);
    SegmentReader::Result readLocked(std::uint64_t number, std::uint64_t offset, std::size_t maxBytes,
                                     LineBatch& lines);
    void skipLocked(Segments::iterator segment, std::uint64_t offset);
    std::uint64_t countLocked(std::uint64_t number, std::uint64_t offset);
    void removeLocked(Segments::iterator segment);
    bool deleteLeftLocked();
    bool removeReleasedLocked();

    const Options options_;
    WindowsAgentCommon::IDiskManager& disk_;
    WindowsAgentCommon::Log log_;
    mutable ACE_Thread_Mutex lock_;  // guards what follows
    Segments segments_;
    std::uint64_t bytes_ = 0;     // the sizes of all segments
    std::uint64_t reserved_ = 0;  // accounted for with the disk manager, what could not be deleted included
    std::uint64_t nextNumber_ = 1;
    SpoolPosition released_;
    Handle writer_;  // of the last segment; none: the next Append begins a new one
    std::map<std::uint64_t, std::uint64_t> left_;  // could not be deleted; what they have reserved
    SegmentReader reader_;
    unsigned long appendError_ = 0;
    std::uint64_t damaged_ = 0;
};

}  // namespace CorvaneAgent
