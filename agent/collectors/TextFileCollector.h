#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <vector>

#include "agent/collectors/FileList.h"
#include "agent/collectors/LineFollower.h"
#include "agent/sdk/Collector.h"

namespace CorvaneAgent {

/// Collects the lines of text files as they are written. Settings: "Path" (one or more), "Follow" ("T": wait
/// for more; "F": read what there is and finish), "FromStart" ("T"; "F": at the first start ever, only what
/// comes from then on). Status "CutLines": lines that were too long.
class TextFileCollector : public Collector {
public:
    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;

protected:
    void ReadSettings(const WindowsAgentCommon::EnvironmentBlock& settings) override;
    void Restore(const WindowsAgentCommon::EnvironmentBlock& position) override;
    Progress Collect() override;
    void SavePosition(WindowsAgentCommon::EnvironmentBlock& position) const override;

private:
    struct Input {
        explicit Input(const std::wstring& path) : follower(path) {}

        LineFollower follower;
        std::string file;         // the name without its folder
        unsigned long error = 0;  // of the last attempt to open it
        bool finished = false;
        bool fromStart = true;
    };

    Progress collect(ListedFile& file, Input& input);
    bool ready(ListedFile& file, Input& input);
    bool emit(const Input& input);
    void tellChange(const ListedFile& file, LineFollower::Change change);

    std::vector<ListedFile> files_;
    std::deque<Input> inputs_;  // one for each of files_
    bool follow_ = true, fromStart_ = true;
    std::atomic<std::uint32_t> cutLines_{0};
};

}  // namespace CorvaneAgent
