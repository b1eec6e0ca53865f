#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "agent/collectors/InputFile.h"
#include "agent/collectors/TextStream.h"

namespace CorvaneAgent {

/// Reads the lines of a file that somebody else writes, also when it is rotated (renamed, and a new one made
/// in its place: the old one is read to its end first) or truncated (read from its beginning again). Text as
/// TextStream has it; lines end with a line feed, a carriage return before it is dropped. One thread at a
/// time.
class LineFollower {
public:
    enum class Result {
        kLine,     ///< GetLine() is the next line.
        kNothing,  ///< No further whole line, for now.
    };

    /// What happened to the file since the last call, for the log.
    enum class Change {
        kNone,
        kRotated,    ///< Another file has the name now; it is read from its beginning.
        kTruncated,  ///< It is shorter, or begins otherwise, and is read from its beginning.
        kResumed,    ///< Begun behind the position given.
        kRenamed,    ///< The file of the position given has another name now, and is read to its end first.
        kVanished,   ///< The file of the position given is gone; the one of its name is read instead.
    };

    /// A longer line is cut here, in bytes of UTF-8: its end is dropped, and the line ends with "[cut]".
    static constexpr std::size_t kLongestLine = 60 * 1024;

    /// path: UTF-16, absolute or relative to the working folder.
    explicit LineFollower(const std::wstring& path) : path_(path) {}

    /// Opens the file unless it is open. position: where to go on; null for a first start, which begins with
    /// the first line, or behind the last one when fromStart is false. Returns the Windows code, 0 = success;
    /// on failure nothing is open, and it may be called again.
    unsigned long Open(const FilePosition* position, bool fromStart);
    bool IsOpen() const { return stream_.IsOpen(); }
    void Close() { stream_.Detach(); }

    /// Reads the next line. final: the file is complete, its last line needs no line feed. Throws
    /// DeviceException when the file cannot be read.
    Result Next(bool final);

    std::string_view GetLine() const { return line_; }  ///< UTF-8; valid until the next call.
    bool IsCut() const { return cut_; }                 ///< Whether the line was too long.
    Change TakeChange();                                ///< The last change, told once.

    /// Behind the last line that Next gave.
    const FilePosition& GetPosition() const { return position_; }

private:
    Result takeLine(std::size_t size, std::size_t feed);
    Result takeTail(bool final);
    bool isStillTheFile();
    bool fill();
    bool lookForNext();
    void begin(InputFile file, const FilePosition& position);
    void beginAtEnd(InputFile file);
    void moveTo(std::uint64_t offset);
    bool findRenamed(const FilePosition& position, InputFile& out) const;

    std::wstring path_;
    TextStream stream_;
    FilePosition position_;
    std::string_view line_;
    std::string text_;  // of a line that was cut
    bool cut_ = false;
    bool skipping_ = false;     // the rest of a line that was cut
    bool sought_ = false;       // a renamed file was looked for, in vain
    bool idle_ = false;         // nothing was left the last time
    bool leaving_ = false;      // the file has lost its name to another: what is left of it is final
    std::size_t searched_ = 0;  // of what is held: no line feed in it
    Change change_ = Change::kNone;
};

}  // namespace CorvaneAgent
