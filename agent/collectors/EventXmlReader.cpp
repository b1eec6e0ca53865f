#include "agent/collectors/EventXmlReader.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"

#include <cstring>
#include <utility>

namespace CorvaneAgent {

namespace {

constexpr std::size_t kMostBytes = 1024 * 1024;  // of an event
constexpr std::size_t kLongestName = 64;

bool endsName(char c) noexcept {
    return c == '>' || c == '<' || c == ' ' || c == '/' || c == '\n' || c == '\r' || c == '\t';
}

enum class Named { kEvent, kOther, kUnsure };

/// Whether the name that begins at `at` is "Event", with or without a prefix; kUnsure when left bytes do not
/// say.
Named nameAt(const char* at, std::size_t left) noexcept {
    const std::size_t most = left < kLongestName ? left : kLongestName;
    const char* local = at;
    for (std::size_t i = 0; i < most; ++i) {
        if (endsName(at[i])) {
            const bool event = at[i] != '<' && at + i - local == 5 && std::memcmp(local, "Event", 5) == 0;
            return event ? Named::kEvent : Named::kOther;
        }
        if (at[i] == ':') local = at + i + 1;
    }
    return most == kLongestName ? Named::kOther : Named::kUnsure;
}

}  // namespace

unsigned long EventXmlReader::Attach(InputFile file, const FilePosition& position) {
    comment_ = {"-->"};
    characters_ = {"]]>"};
    instruction_ = {"?>"};
    consumed_ = 0;
    ended_ = final_ = false;
    ordinal_ = position.ordinal;
    return stream_.Attach(std::move(file), position.offset);
}

EventXmlReader::Result EventXmlReader::Next(EventRecord& record, bool final) {
    ended_ = ended_ && final && final_;
    final_ = final;
    if (!findStart(final)) return Result::kNothing;
    const char* why = nullptr;
    std::size_t length = 0;
    Scan scan = scanEvent(length, why);
    while (scan == Scan::kIncomplete && stream_.Size() < kMostBytes && fill()) scan = scanEvent(length, why);

    if (scan == Scan::kIncomplete) {
        const bool large = stream_.Size() >= kMostBytes;
        if (!large && !final) return Result::kNothing;
        why = large ? "The event is larger than 1 MiB" : "The file ends within the event";
        length = 1;  // the next one may begin anywhere behind
    } else if (length > kMostBytes) {
        why = "The event is larger than 1 MiB";
    }
    damage_.offset = stream_.Offset();
    damage_.ordinal = ++ordinal_;
    char* const text = stream_.Data();
    consume(length);  // what was consumed stays until the next fill
    if (!why) {
        RepairUtf8(text, length);
        why = parser_.Parse(text, length, record);
    }
    if (!why) return Result::kEvent;
    damage_.why = why;
    return Result::kDamaged;
}

bool EventXmlReader::fill() {
    bool added = false;
    if (ended_) return false;
    const unsigned long error = stream_.Fill(added);
    if (error != 0) {
        std::string text;
        throw WindowsAgentCommon::DeviceException(
            __FILE__, __FUNCTION__, __LINE__,
            WindowsAgentCommon::Format(text, "Error %lu reading at byte %I64u", error, stream_.Offset()));
    }
    ended_ = !added;
    return added;
}

void EventXmlReader::consume(std::size_t size) {
    stream_.Consume(size);
    consumed_ += size;
}

/// Drops what lies before the next event. False when there is none, for now.
bool EventXmlReader::findStart(bool final) {
    std::size_t at = 0;
    for (;;) {
        const auto* const hit =
            static_cast<const char*>(std::memchr(stream_.Data() + at, '<', stream_.Size() - at));
        if (!hit) {
            consume(stream_.Size());
            at = 0;
            if (!fill()) return false;
            continue;
        }
        at = static_cast<std::size_t>(hit - stream_.Data());
        const std::size_t left = stream_.Size() - at;
        const bool markup = left > 1 && (hit[1] == '!' || hit[1] == '?');
        const std::size_t begin = at;
        const Named name = markup ? Named::kOther : nameAt(hit + 1, left - 1);
        if (name == Named::kEvent) {
            consume(at);
            return true;
        }
        if (name == Named::kOther && (!markup || skipMarkup(at) == Scan::kComplete)) {
            at += at == begin ? 1 : 0;
            continue;
        }
        if (left >= kMostBytes) {  // markup that does not end: what it holds counts
            ++at;
            continue;
        }
        consume(begin);
        at = 0;
        if (fill()) continue;
        if (!final) return false;
        ++at;
    }
}

/// Moves at from the "<" of a comment, CDATA or processing instruction behind its end, and from other markup
/// to its next character. Incomplete: at is unchanged.
EventXmlReader::Scan EventXmlReader::skipMarkup(std::size_t& at) {
    const std::string_view rest(stream_.Data() + at, stream_.Size() - at);
    for (const auto& [begin, mark] : {std::pair<std::string_view, Mark*>{"<!--", &comment_},
                                      {"<![CDATA[", &characters_},
                                      {"<?", &instruction_}}) {
        const std::size_t seen = begin.size() < rest.size() ? begin.size() : rest.size();
        if (rest.substr(0, seen) != begin.substr(0, seen)) continue;
        if (seen < begin.size()) return Scan::kIncomplete;
        return findMark(*mark, at + seen, at) ? Scan::kComplete : Scan::kIncomplete;
    }
    ++at;
    return Scan::kComplete;
}

/// end: behind the mark.
bool EventXmlReader::findMark(Mark& mark, std::size_t from, std::size_t& end) {
    const std::string_view text = mark.text;
    const std::uint64_t start = consumed_ + from;
    const bool known = mark.from <= start && mark.found != UINT64_MAX && start <= mark.found;
    if (!known) {
        std::uint64_t begin = start;
        if (mark.found == UINT64_MAX && mark.from <= start && mark.to > start + text.size())
            begin = mark.to - text.size();  // it may have been cut by the end of what was held
        else
            mark.from = start;
        const std::size_t place = std::string_view(stream_.Data(), stream_.Size())
                                      .find(text, static_cast<std::size_t>(begin - consumed_));
        mark.to = consumed_ + stream_.Size();
        mark.found = place == std::string_view::npos ? UINT64_MAX : consumed_ + place;
    }
    if (mark.found == UINT64_MAX) return false;
    end = static_cast<std::size_t>(mark.found - consumed_) + text.size();
    return true;
}

/// Looks for the end of the event that begins at the first byte held. length: the event's, or, when it is
/// broken, up to where the next begins.
EventXmlReader::Scan EventXmlReader::scanEvent(std::size_t& length, const char*& why) {
    bool closed = false;
    const Scan tag = scanStartTag(length, closed, why);
    if (tag != Scan::kComplete || closed) return tag;

    const char* const data = stream_.Data();
    const std::size_t size = stream_.Size();
    std::size_t at = length;
    while (const void* const found = std::memchr(data + at, '<', size - at)) {
        const auto* const hit = static_cast<const char*>(found);
        at = static_cast<std::size_t>(hit - data);
        if (size - at < 2) return Scan::kIncomplete;
        if (hit[1] == '!' || hit[1] == '?') {
            if (skipMarkup(at) == Scan::kIncomplete) return Scan::kIncomplete;
            continue;
        }
        const bool endTag = hit[1] == '/';
        const std::size_t name = at + (endTag ? 2 : 1);
        const Named named = nameAt(data + name, size - name);
        if (named == Named::kUnsure) return Scan::kIncomplete;
        if (named == Named::kEvent && !endTag) {
            length = at;
            why = "The event is cut off by the next one";
            return Scan::kBroken;
        }
        if (named == Named::kEvent) {
            const auto* const end = static_cast<const char*>(std::memchr(hit, '>', size - at));
            if (!end) return Scan::kIncomplete;
            length = static_cast<std::size_t>(end - data) + 1;
            return Scan::kComplete;
        }
        at = name;
    }
    return Scan::kIncomplete;
}

/// closed: the tag is an event of its own ("<Event/>").
EventXmlReader::Scan EventXmlReader::scanStartTag(std::size_t& length, bool& closed, const char*& why) {
    const char* const data = stream_.Data();
    char quote = '\0';
    for (std::size_t i = 1; i < stream_.Size(); ++i) {
        const char c = data[i];
        if (quote != '\0') {
            if (c == quote) quote = '\0';
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            closed = data[i - 1] == '/';
            length = i + 1;
            return Scan::kComplete;
        } else if (c == '<') {
            length = i;
            why = "The event's start tag does not end";
            return Scan::kBroken;
        }
    }
    return Scan::kIncomplete;
}

}  // namespace CorvaneAgent
