#pragma once

#include <string>
#include <vector>

#include "WindowsAgentCommon/EnvironmentBlock.h"
#include "WindowsAgentCommon/LoggerFactory.h"
#include "agent/collectors/InputFile.h"
#include "agent/sdk/SettingsReader.h"

namespace CorvaneAgent {

/// A file that a collector reads, and where it stands in it.
struct ListedFile {
    std::string name;    ///< As configured, UTF-8.
    std::wstring path;   ///< The same in UTF-16.
    FilePosition done;   ///< Behind the last event emitted.
    bool begun = false;  ///< done means something: the file was open once.

    // From here on what no position keeps.
    bool finished = false;    ///< There will never be more.
    unsigned long error = 0;  ///< Of the last attempt to open it, as the log was told.
};

/// Reads the setting "Path": one or more paths, references to environment variables replaced. Throws
/// InitializationException when there is none, one is given twice, or one is longer than 1,000 bytes.
std::vector<ListedFile> ReadPaths(SettingsReader& settings);

/// The positions of files in a collector's block: "File.PATH", so that files may come, go and change places
/// in the configuration. Loading leaves a file that has none at its beginning, not begun, and all unfinished.
void SavePositions(const std::vector<ListedFile>& files, WindowsAgentCommon::EnvironmentBlock& position);
void LoadPositions(const WindowsAgentCommon::EnvironmentBlock& position, std::vector<ListedFile>& files);

/// Tells the log how an attempt to open the file ended (the Windows code, 0 = success), once for each change.
void TellOpening(WindowsAgentCommon::Log log, ListedFile& file, unsigned long error);

}  // namespace CorvaneAgent
