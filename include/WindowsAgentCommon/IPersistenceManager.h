#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// One named record of the persistence manager: a configuration block that outlives the process. Any thread;
/// objects of one name are the same record.
class CORVANE_API IPersistentRecord {
public:
    IPersistentRecord() = default;
    IPersistentRecord(const IPersistentRecord&) {}
    IPersistentRecord& operator=(const IPersistentRecord&) { return *this; }
    virtual ~IPersistentRecord();

    virtual std::string GetName() const = 0;  ///< As it was opened.

    /// Gives the record as it was last saved, whether it is written yet or not. ERROR_FILE_NOT_FOUND, and
    /// block emptied, when there is none; ERROR_INVALID_DATA when its file is damaged.
    virtual unsigned long Load(EnvironmentBlock& block) = 0;

    /// Takes a copy of block as the record's new state and returns; the manager's thread writes it, replacing
    /// the file as a whole. What is saved again before it was written is written once. 0, or, with nothing
    /// saved: ERROR_INVALID_DATA for a name or value that the binary form cannot hold,
    /// ERROR_SERVICE_NOT_ACTIVE when the manager is shut down, ERROR_NOT_ENOUGH_QUOTA when what waits to be
    /// written exceeds its limit.
    virtual unsigned long Save(const EnvironmentBlock& block) = 0;

    virtual unsigned long Remove() = 0;  ///< As Save, but the record is gone.
};

/// Keeps named records as files of configuration blocks below a folder. After Initialize any thread may call
/// it.
class CORVANE_API IPersistenceManager : public IServiceComponent {
public:
    ~IPersistenceManager() override;

    static std::string GetServiceName();  ///< "PersistenceManager"

    /// Gives the record of a name, made by its first Save. name: any UTF-8 text that is not empty; names that
    /// differ, also in case only, are different records. ERROR_INVALID_NAME, and out empty, for an empty one.
    virtual unsigned long OpenRecord(const std::string& name, std::shared_ptr<IPersistentRecord>& out) = 0;

    /// Returns when everything saved before the call is on the disk: 0, or the error of the last write that
    /// failed; what failed stays waiting and is tried again.
    virtual unsigned long Flush() = 0;
};

}  // namespace WindowsAgentCommon
