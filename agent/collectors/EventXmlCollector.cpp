#include "agent/collectors/EventXmlCollector.h"

#include "WindowsAgentCommon/Formatting.h"

#include <utility>

namespace CorvaneAgent {

using namespace WindowsAgentCommon;

namespace {

constexpr int kBatch = 256;

}  // namespace

void EventXmlCollector::Restore(const EnvironmentBlock& position) {
    FileCollector::Restore(position);
    inputs_.clear();
    inputs_.resize(files_.size());
}

Collector::Progress EventXmlCollector::CollectFrom(std::size_t index) {
    ListedFile& file = files_[index];
    Input& input = inputs_[index];
    if (!ready(file, input)) return Ended();
    EventXmlReader& reader = *input.reader;
    for (int i = 0; i < kBatch; ++i) {
        const EventXmlReader::Result result = reader.Next(record_, !follow_ || input.leaving);
        if (result == EventXmlReader::Result::kNothing) {
            input.idle = true;
            return Ended();
        }
        if (result == EventXmlReader::Result::kEvent) {
            if (!EmitEvent(record_)) {
                CloseFile(index);
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
    TellOpening(GetLog(), file, error);
    if (error != 0) return false;
    if (file.begun && !opened.Matches(file.done)) {
        GetLog()->Warn("%s is another file now: reading it from its beginning", file.name.c_str());
        file.done = FilePosition();
    }
    auto reader = std::make_unique<EventXmlReader>();
    const unsigned long failure = reader->Attach(std::move(opened), file.done);
    TellOpening(GetLog(), file, failure);
    if (failure != 0) return false;
    if (!file.begun) file.done.prefixLength = 0;
    file.begun = reader->File().Describe(file.done);
    input.reader = std::move(reader);
    input.idle = input.leaving = false;
    return true;
}

}  // namespace CorvaneAgent
