#pragma once

#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

class IConfigurationManager;

/// Loads a program's configuration manager from a module of its own, starts it and runs it.
///
/// The manager called NAME is what the function `_make_NAME()` of NAME.dll makes. It is loaded by the current
/// ACE service configuration, which registers it as NAME_Dynamic_Service and owns it: it lives until the
/// service is removed or the configuration closed. A manager that is registered already is taken as it is.
///
/// Names are made of 2 to 200 ASCII letters, digits and "_", the first no digit: nothing else can stand in a
/// directive. Any other name fails as a module with one error, and nothing is loaded.
///
/// Failures are errors in the log and an InitializationException with the same text; nothing is tried again.
/// What the manager itself throws passes through; the manager then stays registered, and the helper remembers
/// what it remembered before. Thread rule: one thread, as a program starts; loading blocks on the disk.
class CORVANE_API ClientConfigurationHelper {
public:
    /// flag: passed on to a manager that is started with a source; its meaning is the manager's.
    explicit ClientConfigurationHelper(bool flag);
    ClientConfigurationHelper(const ClientConfigurationHelper& other);
    ClientConfigurationHelper& operator=(const ClientConfigurationHelper& other);
    virtual ~ClientConfigurationHelper();

    /// Loads the manager and starts it with its own source; then remembers name. Never null. A source that an
    /// earlier call remembered stays remembered.
    IConfigurationManager* Initialize(const std::string& name);

    /// The same with a source, such as a file's path (UTF-8), which is remembered, too.
    IConfigurationManager* Initialize(const std::string& name, const std::string& source);

    /// Runs the manager of the remembered name; returns when its Run does.
    void Run();

    /// The manager of the remembered name, or null.
    IConfigurationManager* GetConfigurationManager();

    /// The manager that is registered for name, or null where there is none or what is registered is no
    /// configuration manager. Loads nothing. Any thread.
    static IConfigurationManager* GetConfigurationManager(std::string name);

private:
    IConfigurationManager* LoadConfigurationManagerService(const std::string& name);

    std::string serviceName_;
    std::string configurationSource_;
    bool flag_;
};

}  // namespace WindowsAgentCommon
