#pragma once

#include <string>

#include "agent/host/Options.h"

namespace CorvaneAgent {

/// \file
/// The agent as a Windows service. Functions return the Windows code, 0 = success.

/// What the system starts as the service: this program with its path in quotes, --service, and the options'
/// name and root (as a whole path). Empty when that cannot be said.
std::wstring GetServiceCommand(const Options& options);

/// Registers the service, to be started by the system, and again when it fails. Nothing stays registered
/// after a failure.
unsigned long InstallService(const Options& options);

unsigned long UninstallService(const Options& options);   ///< Stops the service when it runs, and removes it.
unsigned long StartAgentService(const Options& options);  ///< Returns when it runs, or after 30 seconds.
unsigned long StopAgentService(
    const Options& options);  ///< Returns when it has stopped, or after 30 seconds.

/// Runs the agent as the service that the service control manager has started this process for. exitCode: how
/// the agent ended. ERROR_FAILED_SERVICE_CONTROLLER_CONNECT when it was started by somebody else.
unsigned long RunAsService(const Options& options, ExitCode& exitCode);

}  // namespace CorvaneAgent
