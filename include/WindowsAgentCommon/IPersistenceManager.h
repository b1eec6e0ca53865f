#pragma once

#include <memory>
#include <string>

#include "WindowsAgentCommon/IServiceComponent.h"

namespace WindowsAgentCommon {

/// One named record of the persistence manager: a configuration block that outlives the process. Any thread;
/// objects of one name are the same record. An object may outlive the manager, but not the library. Functions
/// throw only std::bad_alloc, with nothing saved.
class CORVANE_API IPersistentRecord {
public:
    IPersistentRecord() = default;
    IPersistentRecord(const IPersistentRecord&) {}
    IPersistentRecord& operator=(const IPersistentRecord&) { return *this; }
    virtual ~IPersistentRecord();

    virtual std::string GetName() const = 0;  ///< As it was opened.

    /// Gives the record as it was last saved, whether it is written yet or not; also when the manager is shut
    /// down. May block on the disk. On failure block is empty: ERROR_FILE_NOT_FOUND when there is no such
    /// record; ERROR_INVALID_DATA when its file is damaged, which stays as it is until the next Save.
    virtual unsigned long Load(EnvironmentBlock& block) = 0;

    /// Takes a copy of block as the record's new state and returns; the manager's thread writes it, replacing
    /// the file as a whole. What is saved again before it was written is written once. 0, or, with nothing
    /// saved: ERROR_INVALID_DATA for a name or value that the binary form cannot hold or more than 16 MiB,
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
    /// differ, also in case only, are different records. With out empty: ERROR_INVALID_NAME for
    /// an empty one, ERROR_SERVICE_NOT_ACTIVE when the manager is not initialised.
    virtual unsigned long OpenRecord(const std::string& name, std::shared_ptr<IPersistentRecord>& out) = 0;

    /// Returns when everything saved before the call is on the disk: 0, or the error of the last write that
    /// failed; what failed stays waiting and is tried again. ERROR_SERVICE_NOT_ACTIVE when the manager is not
    /// initialised.
    virtual unsigned long Flush() = 0;
};

}  // namespace WindowsAgentCommon
