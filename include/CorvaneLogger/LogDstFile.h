#pragma once

#include "CorvaneLogger/LogDst.h"

namespace CorvaneLogger {

namespace detail {
struct FileAccess;
}

/// Log lines in a file that is rolled when it grows: "name.log" is written, "name_1.log" is the newest of the
/// files before it, "name_2.log" the next.
///
/// Lines are gathered in a buffer and written when it is full, when a line below level 300 comes, and at each
/// flush; with "Instant" at once. A file that is idle at a flush is closed until the next line. Others may
/// read, rename and delete the file meanwhile: a flush notices within half a second that the name means
/// another file or none, and the next line opens it anew. Child processes do not inherit the file.
///
/// Bad days: while the file cannot be opened its lines are dropped, and every line tries again. While it
/// cannot be written (full disk) lines stay in the buffer, and those that find no room are dropped. Dropped
/// lines are counted, and the count is logged as soon as writing works again. "logger.log" says why, once
/// until it works again. A file that cannot be rolled is written on, and tried again after each further fifth
/// of the size limit; so is one that ends in the middle of a line while its rest cannot be written. A roll
/// waits at most a second for somebody who holds the file open.
///
/// Relative paths are relative to the working folder of the process at its first log destination.
class CORVANE_API LogDstFile : public LogDst {
public:
    /// name: also the file's base name, until setup says another; "Corvane" when empty.
    LogDstFile(const std::string& name, const std::string& cls);
    ~LogDstFile() override;  ///< Writes out and closes.

    /// Besides those of LogDst the parameters:
    /// - "Folder": folder of the file; it is not created. "DefFolder": folder for want of "Folder".
    /// - "Filename": base name, with a dot the extension after the last one; may begin with a folder below
    ///   the other. "FileExt": extension, "log".
    /// - "File": a whole path.
    /// - "MaxFileSize": bytes before rolling, 20000000; 0 never rolls.
    /// - "MaxIndex": number of rolled files kept, 1.
    /// - "Append": begins with t or T (as it does if not given): the file is continued at the first opening;
    ///   otherwise it is rolled first when it is larger than a hundredth of MaxFileSize.
    /// - "Instant": begins with t or T (as it does if not given): every line is written to the disk at once.
    /// - "InfoX.startLen", "InfoX.startMax": seconds from construction, 300, and lines of level 350 accepted
    ///   in them, 5000.
    /// - "InfoX.nextEvery", "InfoX.nextLen", "InfoX.nextMax": seconds from one later window to the next, 900;
    ///   its seconds, 60; its lines, 200.
    ///
    /// A number that is none (whole, decimal, not negative, within 32 bits; signed ones but for MaxFileSize)
    /// is refused in "logger.log" and changes nothing. The file is opened, and "logger.log" tells the
    /// settings.
    void setup(std::map<std::string, std::string>& params) override;

    /// Lines of level 350 as the InfoX allowance says, whatever the threshold; others by the threshold.
    bool accept(int level) override;

    void log(int level, const char* category, const char* line, unsigned int length,
             const char* message) override;
    void flush(bool closeIfIdle) override;

    std::string FileName() const;    ///< The file's path, absolute.
    std::uint32_t FileSize() const;  ///< Bytes in the file and the buffer; stays at 2^32 - 1 beyond that.

    /// Rolls now: closes the file, makes it "name_1.log" and the others one older, deletes those from
    /// MaxIndex on, and opens a new one. Each step is told in "logger.log".
    void RollLogs();

    /// Closes the file, makes its path of the settings, and opens it.
    void reset();

protected:
    static constexpr unsigned int kBufferSize = 10000;

    /// For LogReporterDst. type: as for LogDst.
    LogDstFile(const std::string& name, const std::string& cls, const char* type);

    // All of these are called under the lock.
    bool _open();   ///< Opens for appending and takes the size; false, told in "logger.log", when it cannot.
    void _close();  ///< Writes out and closes; what could not be written stays in the buffer.
    bool _flush();  ///< Writes the buffer out and flushes to disk; false when something remains.
    bool canInfoX();

    void flushLocked(bool closeIfIdle);
    bool writeOut();  ///< Writes the buffer out; false when something remains.
    void rollLocked();
    bool isOpen() const noexcept;
    bool openWith(
        unsigned long access);    ///< Opens or creates with access rights of CreateFile; takes the size.
    bool takeSize();              ///< Makes fileSize_ that of the open file and the buffer.
    void closeHandle() noexcept;  ///< Closes the file and leaves the buffer.

    std::string folder_;  // ends with a backslash when set
    std::string baseName_;
    std::string ext_;
    std::string path_;
    void* handle_;
    std::int32_t maxIndex_;
    std::uint32_t fileSize_;
    std::uint32_t maxFileSize_;
    std::uint32_t rollSlack_;
    std::atomic<std::uint32_t> buffered_;
    char buffer_[kBufferSize];
    bool append_;
    bool instant_;
    bool opened_;
    std::int64_t windowStart_;  // steady time, seconds
    std::int64_t windowEnd_;
    std::int32_t remaining_;
    std::int32_t nextEvery_;
    std::int32_t nextLen_;
    std::int32_t nextMax_;

private:
    friend struct detail::FileAccess;

    void setPath(std::map<std::string, std::string>& params);
    void setNumbers(std::map<std::string, std::string>& params);
    void makePath();
    void takePath(const std::string& path);
    void takeFileName(const std::string& name);
    void resetLocked();
    void rollIfDue();
    bool makeRoom(std::uint32_t size);
    bool put(const char* line, std::uint32_t length);
    void putLine(const char* line, std::uint32_t length);
    void putDroppedCount();
    void writeFailed(unsigned long error);
    bool namesOurFile() const;
    void endLastLine();
    std::uint32_t writtenOf(std::uint32_t waiting) const noexcept;
    void finish() noexcept;

    std::int32_t startLen_;
    std::int32_t startMax_;
    std::int64_t constructed_;  // steady time, seconds
    std::uint32_t dropped_;     // lines since writing last worked
    bool openFailed_;           // told in "logger.log"
    bool writeFailed_;          // told in "logger.log"
    bool writing_;              // the system is at it
    bool endsInLine_;           // the rest of what was last written is in the buffer
};

}  // namespace CorvaneLogger
