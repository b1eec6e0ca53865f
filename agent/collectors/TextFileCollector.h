#pragma once

#include <atomic>
#include <cstdint>
#include <deque>

#include "agent/collectors/FileCollector.h"
#include "agent/collectors/LineFollower.h"

namespace CorvaneAgent {

/// Collects the lines of text files as they are written. Settings: those of FileCollector ("Follow": "T"),
/// and "FromStart" ("T"; "F": at the first start ever, only what comes from then on). Status "CutLines":
/// lines that were too long.
class TextFileCollector : public FileCollector<Collector> {
public:
    TextFileCollector() : FileCollector(true) {}

    void GetStatus(WindowsAgentCommon::EnvironmentBlock& status) const override;

protected:
    void ReadSettings(SettingsReader& settings) override;
    void Restore(const WindowsAgentCommon::EnvironmentBlock& position) override;
    Progress CollectFrom(std::size_t index) override;
    void CloseFile(std::size_t index) override { inputs_[index].follower.Close(); }

private:
    struct Input {
        explicit Input(const std::wstring& path) : follower(path) {}

        LineFollower follower;
        std::string file;  // the name without its folder
        bool fromStart = true;
    };

    bool ready(ListedFile& file, Input& input);
    bool emit(const Input& input);
    void tellChange(const ListedFile& file, LineFollower::Change change);

    std::deque<Input> inputs_;  // one for each of files_
    bool fromStart_ = true;
    std::atomic<std::uint64_t> cutLines_{0};
};

}  // namespace CorvaneAgent
