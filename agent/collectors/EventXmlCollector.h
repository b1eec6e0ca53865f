#pragma once

#include <memory>
#include <vector>

#include "agent/collectors/EventCollector.h"
#include "agent/collectors/EventXmlReader.h"
#include "agent/collectors/FileCollector.h"

namespace CorvaneAgent {

/// Collects the Windows events of XML files. Settings: those of FileCollector ("Follow": "F"). A file that is
/// not there is an error once and waited for; without "Follow" it is left out.
class EventXmlCollector : public FileCollector<EventCollector> {
public:
    EventXmlCollector() : FileCollector(false) {}

protected:
    void Restore(const WindowsAgentCommon::EnvironmentBlock& position) override;
    Progress CollectFrom(std::size_t index) override;
    void CloseFile(std::size_t index) override { inputs_[index].reader.reset(); }

private:
    /// A file's reader, while it is open.
    struct Input {
        std::unique_ptr<EventXmlReader> reader;
        bool idle = true;      // nothing new the last time: it may have been replaced meanwhile
        bool leaving = false;  // another file has the name: what is left of this one is final
    };

    bool ready(ListedFile& file, Input& input);
    void keep(ListedFile& file, const EventXmlReader& reader);

    std::vector<Input> inputs_;  // one for each of files_
    EventRecord record_;
};

}  // namespace CorvaneAgent
