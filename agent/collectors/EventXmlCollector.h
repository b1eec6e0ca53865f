#pragma once

#include <memory>
#include <vector>

#include "agent/collectors/EventCollector.h"
#include "agent/collectors/EventXmlReader.h"
#include "agent/collectors/FileList.h"

namespace CorvaneAgent {

/// Collects the Windows events of XML files. Settings: "Path" (one or more), "Follow" ("F": read what there
/// is and finish; "T": wait for more). A file that is not there is an error once and waited for; with "F" it
/// is left out.
class EventXmlCollector : public EventCollector {
protected:
    void ReadSettings(const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void Restore(const WindowsAgentCommon::EnvironmentBlock& position) override;
    Progress Collect() override;
    void SavePosition(WindowsAgentCommon::EnvironmentBlock& position) const override;

private:
    /// A file's reader, while it is open.
    struct Input {
        std::unique_ptr<EventXmlReader> reader;
        unsigned long error = 0;  // of the last attempt to open it
        bool idle = true;         // nothing new the last time: it may have been replaced meanwhile
        bool leaving = false;     // another file has the name: what is left of this one is final
        bool finished = false;
    };

    Progress collect(ListedFile& file, Input& input);
    bool ready(ListedFile& file, Input& input);
    void tellOpening(const ListedFile& file, Input& input, unsigned long error);
    void keep(ListedFile& file, const EventXmlReader& reader);

    std::vector<ListedFile> files_;
    std::vector<Input> inputs_;  // one for each of files_
    bool follow_ = false;
    EventRecord record_;
};

}  // namespace CorvaneAgent
