#pragma once

#include <cstddef>
#include <vector>

#include "agent/collectors/FileList.h"
#include "agent/sdk/Collector.h"

namespace CorvaneAgent {

/// What collectors of files share, whatever they make of one: settings "Path" (one or more) and "Follow"
/// ("T": wait for more; "F": read what there is and finish), the round over the files, and their positions.
/// Base: Collector, or a class derived from it.
template <class Base>
class FileCollector : public Base {
protected:
    using typename Base::Progress;

    explicit FileCollector(bool followByDefault) : follow_(followByDefault), byDefault_(followByDefault) {}

    void ReadSettings(SettingsReader& settings) override {
        files_ = ReadPaths(settings);
        follow_ = settings.Flag("Follow", byDefault_);
    }
    void Restore(const WindowsAgentCommon::EnvironmentBlock& position) override {
        LoadPositions(position, files_);
    }
    void SavePosition(WindowsAgentCommon::EnvironmentBlock& position) const override {
        SavePositions(files_, position);
    }
    Progress Collect() override;

    /// Reads some events of files_[index]; Ended() when there are none for now.
    virtual Progress CollectFrom(std::size_t index) = 0;

    /// Closes the file, whose reader may be behind an event that was not taken.
    virtual void CloseFile(std::size_t index) = 0;

    Progress Ended() const { return follow_ ? Progress::kNothing : Progress::kFinished; }

    std::vector<ListedFile> files_;
    bool follow_;

private:
    const bool byDefault_;
};

template <class Base>
auto FileCollector<Base>::Collect() -> Progress {
    bool more = false, finished = true;
    for (std::size_t i = 0; i < files_.size() && !this->IsStopping(); ++i) {
        if (files_[i].finished) continue;
        Progress progress;
        try {
            progress = CollectFrom(i);
        } catch (...) {
            CloseFile(i);
            throw;
        }
        files_[i].finished = progress == Progress::kFinished;
        more = more || progress == Progress::kMore;
        finished = finished && files_[i].finished;
    }
    if (this->IsStopping()) return Progress::kNothing;
    return finished ? Progress::kFinished : more ? Progress::kMore : Progress::kNothing;
}

}  // namespace CorvaneAgent
