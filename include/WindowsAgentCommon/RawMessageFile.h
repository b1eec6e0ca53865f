#pragma once

#include <map>
#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/LoggerFactory.h"

namespace WindowsAgentCommon {

/// Keeps a table of raw message texts by number in a file, whose form is docs/formats/raw-message-file.md.
///
/// Paths are UTF-16, absolute or relative to the process's working folder, and may be longer than 260
/// characters. What happened is told in debug lines of log. Keeps no state: any thread, one at a time for one
/// file and for one table. Blocks on the disk.
class CORVANE_API RawMessageFile {
public:
    /// Writes messages, which is not changed, to a new file or over an existing one; others may read it
    /// meanwhile. True when the whole table was written. False: the file cannot be created, and one that was
    /// there is as before, or it cannot be written, and is cut short.
    /// Takes 1 MiB beside the table. Throws only std::bad_alloc, before the file is touched.
    static bool Save(const std::wstring& path, std::map<unsigned long, std::wstring>& messages, Log log);

    /// Adds a file's entries to messages; a number that is there already keeps its text. True when the whole
    /// file was read, and it is as long as its entries. False: it cannot be opened, is empty (no byte, not
    /// even the number of entries), cannot be read, is larger than the memory to be had, is damaged (ends
    /// inside an entry, or goes on behind the last one), or memory ends; the entries before the damage were
    /// then added.
    /// Takes the file's size in one piece meanwhile. Throws only std::bad_alloc, before the file is read.
    static bool Load(const std::wstring& path, std::map<unsigned long, std::wstring>& messages, Log log);
};

}  // namespace WindowsAgentCommon
