#include "agent/collectors/EventXmlCollector.h"

#include "WindowsAgentCommon/Formatting.h"

#include <utility>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr int kBatch = 256;

}  // namespace

void EventXmlCollector::ReadSettings(const EnvironmentBlock& settings) {
    files_ = ReadPaths(settings);
    follow_ = ReadFlag(settings, "Follow", false);
}

void EventXmlCollector::Restore(const EnvironmentBlock& position) {
    LoadPositions(position, files_);
    inputs_.clear();
    inputs_.resize(files_.size());
}

void EventXmlCollector::SavePosition(EnvironmentBlock& position) const { SavePositions(files_, position); }

Collector::Progress EventXmlCollector::Collect() {
    bool more = false, finished = true;
    for (std::size_t i = 0; i < files_.size() && !IsStopping(); ++i) {
        if (inputs_[i].finished) continue;
        Progress progress;
        try {
            progress = collect(files_[i], inputs_[i]);
        } catch (...) {
            inputs_[i].reader.reset();  // which may be behind an event that was not taken
            throw;
        }
        more = more || progress == Progress::kMore;
        finished = finished && progress == Progress::kFinished;
    }
    if (IsStopping()) return Progress::kNothing;
    return finished ? Progress::kFinished : more ? Progress::kMore : Progress::kNothing;
}

Collector::Progress EventXmlCollector::collect(ListedFile& file, Input& input) {
    if (!ready(file, input)) {
        input.finished = !follow_;
        return follow_ ? Progress::kNothing : Progress::kFinished;
    }
    EventXmlReader& reader = *input.reader;
    for (int i = 0; i < kBatch; ++i) {
        const EventXmlReader::Result result = reader.Next(record_, !follow_ || input.leaving);
        if (result == EventXmlReader::Result::kNothing) {
            input.idle = true;
            input.finished = !follow_;
            return follow_ ? Progress::kNothing : Progress::kFinished;
        }
        if (result == EventXmlReader::Result::kEvent) {
            if (!EmitEvent(record_)) {
                input.reader.reset();  // which is behind an event that was not taken
                return Progress::kNothing;
            }
        } else {
            const EventXmlReader::Damage& damage = reader.GetDamage();
            std::string where;
            Format(where, "%s, byte %I64u, event %I64u", file.name.c_str(), damage.offset, damage.ordinal);
            CountDamaged(where, damage.why);
        }
        keep(file, reader);
    }
    return Progress::kMore;
}

void EventXmlCollector::keep(ListedFile& file, const EventXmlReader& reader) {
    file.done.offset = reader.GetOffset();
    file.done.ordinal = reader.GetOrdinal();
    constexpr std::uint32_t kWholePrefix = 1024;
    if (file.done.prefixLength < kWholePrefix) reader.File().Describe(file.done);
}

/// Opens the file, or looks whether it still is what was read so far. False when there is none.
bool EventXmlCollector::ready(ListedFile& file, Input& input) {
    if (input.reader && !input.idle) return true;
    if (input.reader && file.begun) {
        std::uint64_t size = 0;
        const InputFile& open = input.reader->File();
        InputFile now;
        const bool gone = now.Open(file.path) != 0;  // what was renamed or deleted is read to its end
        // The writer may have added something before it went over to another file.
        const bool leaving = !gone && !input.leaving && !now.IsSameAs(open);
        input.leaving = input.leaving || leaving;
        if (gone || leaving ||
            (now.IsSameAs(open) && open.GetSize(size) == 0 && size >= file.done.offset &&
             open.HasPrefix(file.done))) {
            input.idle = false;
            return true;
        }
    }
    InputFile opened;
    const unsigned long error = opened.Open(file.path);
    tellOpening(file, input, error);
    if (error != 0) return false;
    if (file.begun && !opened.Matches(file.done)) {
        GetLog()->Warn("%s is another file now: reading it from its beginning", file.name.c_str());
        file.done = FilePosition();
    }
    auto reader = std::make_unique<EventXmlReader>();
    const unsigned long failure = reader->Attach(std::move(opened), file.done);
    tellOpening(file, input, failure);
    if (failure != 0) return false;
    if (!file.begun) file.done.prefixLength = 0;
    file.begun = reader->File().Describe(file.done);
    input.reader = std::move(reader);
    input.idle = input.leaving = false;
    return true;
}

void EventXmlCollector::tellOpening(const ListedFile& file, Input& input, unsigned long error) {
    if (error != 0 && error != input.error)
        GetLog()->Error("%s cannot be opened: error %lu", file.name.c_str(), error);
    else if (error == 0 && input.error != 0)
        GetLog()->Info("%s is open again", file.name.c_str());
    input.error = error;
}

}  // namespace CorvaneAgent
