#pragma once

#include <string>

namespace CorvaneAgent {

/// How the program ended. Documented for operators in docs/agent.md.
enum ExitCode : int {
    kExitSuccess = 0,
    kExitUsage = 2,          ///< Unknown or contradictory switches.
    kExitConfiguration = 3,  ///< AgentConfig.xml is missing or wrong; nothing was started.
    kExitComponent = 4,      ///< A component could not be made or initialised; what was is shut down again.
    kExitService = 5,        ///< The service control manager refused.
    kExitShutdown = 6,       ///< A component did not shut down cleanly.
    kExitRunning = 7,        ///< Another agent uses the same root; nothing was started.
    kExitCrash = 70,         ///< An unhandled fault or exception, which is in the log.
};

/// What the program was told to do.
struct Options {
    enum class Action { kRun, kService, kHelp, kVersion, kCheck, kInstall, kUninstall, kStart, kStop };

    Action action = Action::kRun;
    bool once = false;                           ///< End when every collector has finished.
    std::wstring root;                           ///< The agent root; empty: the folder above the program's.
    std::wstring serviceName = L"CorvaneAgent";  ///< The name of the Windows service.
};

/// Reads the switches. False for wrong use: then error says what is wrong, UTF-8.
bool ParseOptions(int argc, wchar_t** argv, Options& options, std::string& error);

/// What --help prints.
const char* HelpText();

}  // namespace CorvaneAgent
