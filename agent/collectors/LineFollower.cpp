#include "agent/collectors/LineFollower.h"

#include "WindowsAgentCommon/Formatting.h"
#include "WindowsAgentCommon/KORException.h"
#include "agent/sdk/Text.h"

#include <cstring>
#include <memory>
#include <utility>

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

namespace {

constexpr int kMostCandidates = 10'000;  // files of a folder that a renamed one is looked for in
constexpr char kCut[] = "[cut]";

struct SearchCloser {
    void operator()(void* search) const noexcept { ::FindClose(search); }
};

}  // namespace

unsigned long LineFollower::Open(const FilePosition* position, bool fromStart) {
    if (IsOpen()) return 0;
    InputFile file;
    const unsigned long error = file.Open(path_);
    if (position != nullptr && (error != 0 || !file.Matches(*position))) {
        // The file may have been renamed while nobody looked.
        InputFile renamed;
        if (!sought_ && findRenamed(*position, renamed)) {
            begin(std::move(renamed), *position);
            change_ = Change::kRenamed;
            return 0;
        }
        sought_ = true;  // once is enough: it is a look into every file
        if (error != 0) return error;
        begin(std::move(file), FilePosition());
        change_ = Change::kVanished;
        return 0;
    }
    if (error != 0) return error;
    if (position != nullptr) {
        begin(std::move(file), *position);
        change_ = Change::kResumed;
    } else if (fromStart) {
        begin(std::move(file), FilePosition());
    } else {
        beginAtEnd(std::move(file));
    }
    return 0;
}

void LineFollower::beginAtEnd(InputFile file) {
    std::uint64_t size = 0;
    file.GetSize(size);
    FilePosition end;
    end.offset = size < 2 ? 0 : (size - 2) & ~std::uint64_t{1};  // before the last character, in any encoding
    begin(std::move(file), end);
    fill();
    skipping_ = stream_.Size() != 0 && stream_.Data()[stream_.Size() - 1] != '\n';
    stream_.Consume(stream_.Size());
    moveTo(stream_.Offset());
}

void LineFollower::moveTo(std::uint64_t offset) {
    constexpr std::uint32_t kWholePrefix = 1024;
    position_.offset = offset;
    if (position_.prefixLength < kWholePrefix) stream_.File().Describe(position_);
}

void LineFollower::begin(InputFile file, const FilePosition& position) {
    position_ = position;
    sought_ = skipping_ = idle_ = leaving_ = false;
    searched_ = 0;
    if (const unsigned long error = stream_.Attach(std::move(file), position.offset)) {
        std::string text;
        throw WindowsAgentCommon::DeviceException(
            __FILE__, __FUNCTION__, __LINE__,
            WindowsAgentCommon::Format(text, "Error %lu reading %S", error, path_.c_str()));
    }
    if (position.prefixLength == 0) stream_.File().Describe(position_);
}

/// Looks through the folder for the file of a position.
bool LineFollower::findRenamed(const FilePosition& position, InputFile& out) const {
    if (position.offset == 0) return false;  // nothing to tell it by
    const std::wstring folder = path_.substr(0, path_.find_last_of(L"\\/") + 1);
    WIN32_FIND_DATAW entry;
    const HANDLE found = ::FindFirstFileW((folder + L"*").c_str(), &entry);
    if (found == INVALID_HANDLE_VALUE) return false;
    const std::unique_ptr<void, SearchCloser> search(found);
    for (int i = 0; i < kMostCandidates; ++i) {
        const bool plain = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
        if (plain && out.Open(folder + entry.cFileName) == 0 && out.Matches(position)) return true;
        if (!::FindNextFileW(found, &entry)) break;
    }
    out.Close();
    return false;
}

LineFollower::Change LineFollower::TakeChange() { return std::exchange(change_, Change::kNone); }

LineFollower::Result LineFollower::Next(bool final) {
    if (idle_ && !isStillTheFile()) {
        InputFile again;
        if (again.Open(path_) != 0) return Result::kNothing;
        begin(std::move(again), FilePosition());
        change_ = Change::kTruncated;
    }
    idle_ = false;
    for (;;) {
        const char* const data = stream_.Data();
        const std::size_t size = stream_.Size();
        if (const void* const feed = std::memchr(data + searched_, '\n', size - searched_)) {
            const std::size_t length = static_cast<std::size_t>(static_cast<const char*>(feed) - data);
            if (takeLine(length, 1) == Result::kLine) return Result::kLine;
            continue;
        }
        searched_ = size;
        if (size > kLongestLine + 1) {  // one more for a carriage return
            if (takeLine(size, 0) == Result::kLine) return Result::kLine;
            continue;
        }
        if (fill()) continue;
        if (takeTail(final) == Result::kLine) return Result::kLine;
        if (final || !lookForNext()) {
            idle_ = true;
            return Result::kNothing;
        }
    }
}

/// Takes size bytes as a line, or drops them when they belong to one that was cut. feed: 1 when a line feed
/// follows.
LineFollower::Result LineFollower::takeLine(std::size_t size, std::size_t feed) {
    char* const text = stream_.Data();
    const bool wasSkipping = std::exchange(skipping_, feed == 0);
    stream_.Consume(size + feed);
    searched_ = 0;
    moveTo(stream_.Offset());
    if (wasSkipping) return Result::kNothing;
    if (size > 0 && text[size - 1] == '\r') --size;
    RepairUtf8(text, size);
    cut_ = size > kLongestLine;
    line_ = {text, size};
    if (cut_) {
        text_.assign(text, CutAtCharacter(text, size, kLongestLine)).append(kCut);
        line_ = text_;
    }
    ++position_.ordinal;
    return Result::kLine;
}

/// Takes what is left without a line feed when no more can come.
LineFollower::Result LineFollower::takeTail(bool final) {
    if ((!final && !leaving_) || stream_.Size() == 0) return Result::kNothing;
    const Result result = takeLine(stream_.Size(), 0);
    skipping_ = false;
    return result;
}

bool LineFollower::fill() {
    bool added = false;
    if (const unsigned long error = stream_.Fill(added)) {
        std::string text;
        throw WindowsAgentCommon::DeviceException(
            __FILE__, __FUNCTION__, __LINE__,
            WindowsAgentCommon::Format(text, "Error %lu reading %S at byte %I64u", error, path_.c_str(),
                                       stream_.Offset()));
    }
    return added;
}

/// Whether the file that is open has only grown.
bool LineFollower::isStillTheFile() {
    std::uint64_t size = 0;
    return stream_.File().GetSize(size) != 0 ||
           (size >= position_.offset && stream_.File().HasPrefix(position_));
}

/// At the end of the file: whether to read on, since its name belongs to another file now.
bool LineFollower::lookForNext() {
    InputFile next;
    const unsigned long error = next.Open(path_);
    // A deleted file keeps its name from the writer until the last handle is closed.
    const bool deleted = error == ERROR_ACCESS_DENIED;
    if (!deleted && (error != 0 || next.IsSameAs(stream_.File()))) return false;
    if (!leaving_) {
        leaving_ = true;  // the writer may have added something before it went over
        return true;
    }
    if (deleted) {
        Close();
        return false;
    }
    begin(std::move(next), FilePosition());
    change_ = Change::kRotated;
    return true;
}

}  // namespace CorvaneAgent
