#pragma once

#include "CorvaneLogger/LogDstFile.h"

namespace CorvaneLogger {

/// A file of reports, each of which may replace the one before: ReOpen at a position, Add texts, Close. Log
/// lines that are sent here are written as by LogDstFile, except that InfoX lines have no allowance of their
/// own.
///
/// One thread at a time makes a report. From ReOpen to Close the file stays open, and flush leaves it alone.
class CORVANE_API LogReporterDst : public LogDstFile {
public:
    LogReporterDst(const std::string& name, const std::string& cls);
    ~LogReporterDst() override;

    bool accept(int level) override;  ///< By the threshold alone.
    void flush(bool closeIfIdle) override;

    /// Rolls if the file has reached its size limit, closes it and returns its size in bytes: the position at
    /// which ReOpen begins a report behind everything that the file holds. 0xFFFFFFFF when it cannot be
    /// opened.
    std::uint32_t Open();

    /// Opens the file for a report. position: where it begins, in bytes from the file's start; beyond the end
    /// means the end. 0xFFFFFFFF opens for appending. False, told in "logger.log", when that cannot be done.
    bool ReOpen(std::uint32_t position);

    /// Writes text unbuffered; false when the file is not open or takes less than the whole text.
    bool Add(const std::string& text);

    /// Cuts the file at the current position, so that nothing of a longer report before remains, and closes
    /// it. A file opened for appending has nothing to cut.
    void Close();

    std::string Filename() const;  ///< The file's path, absolute.

private:
    bool openAt(std::uint32_t position);
    bool openAtEnd();

    bool reporting_;   // between ReOpen and Close
    bool positioned_;  // opened at a position, so that Close cuts
};

}  // namespace CorvaneLogger
