#include "config/EntryAccess.h"

#include <cstddef>
#include <iterator>
#include <regex>
#include <utility>

namespace WindowsAgentCommon::detail {

namespace {

// std::regex calls itself for each character of a pattern and for each state that takes none. These bounds
// keep that below half of a stack of 1 MB; the one on states (4,096) is compiled into the standard library's
// templates by CMakeLists.txt. Where it backtracks, it goes deeper with each character of the subject, and
// takes exponential time with some patterns: Effort bounds that.
constexpr std::size_t kLongestPattern = 1024;
constexpr std::size_t kLongestName = 1024;
constexpr std::size_t kLongestBacktracked = 128;
constexpr std::uintptr_t kStack = 256 * 1024;
constexpr unsigned int kComparisons = 10'000'000;

struct Matcher {
    std::regex expression;
    std::size_t longestName = kLongestName;
};

std::uintptr_t StackPosition() { return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)); }

// What matching one name has taken.
struct Effort {
    const std::uintptr_t stack = StackPosition();
    unsigned int comparisons = 0;

    void Spend() {
        if (++comparisons > kComparisons || stack > StackPosition() + kStack)
            throw std::regex_error(std::regex_constants::error_complexity);
    }
};

// A place in a name. The matching compares one at each end of what it tries.
class Place {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    Place() = default;
    Place(const char* at, Effort& effort) : at_(at), effort_(&effort) {}

    reference operator*() const { return *at_; }
    Place& operator++() {
        ++at_;
        return *this;
    }
    Place& operator--() {
        --at_;
        return *this;
    }
    Place operator++(int) { return std::exchange(*this, Place(at_ + 1, *effort_)); }
    Place operator--(int) { return std::exchange(*this, Place(at_ - 1, *effort_)); }
    bool operator!=(const Place& other) const { return !(*this == other); }
    bool operator==(const Place& other) const {
        if (effort_ != nullptr) effort_->Spend();
        return at_ == other.at_;
    }

private:
    const char* at_ = nullptr;
    Effort* effort_ = nullptr;
};

bool Compile(const std::string& pattern, Matcher& matcher) {
    if (pattern.size() > kLongestPattern) return false;
    try {
        // Without backtracking, which takes forever over names that are made for it.
        matcher.expression.assign(pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
        return true;
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) return false;
    }
    try {
        matcher.expression.assign(pattern);  // back-references need it
        matcher.longestName = kLongestBacktracked;
        return true;
    } catch (const std::regex_error&) {
        return false;
    }
}

// Whether the whole name matches; key becomes what the entry is found by.
bool Match(const Matcher& matcher, const std::string& name, std::string& key) {
    if (name.size() > matcher.longestName) return false;
    Effort effort;
    const Place begin(name.data(), effort), end(name.data() + name.size(), effort);
    std::match_results<Place> match;
    try {
        if (!std::regex_match(begin, end, match, matcher.expression)) return false;
        key = matcher.expression.mark_count() > 0 ? match.str(1) : name;
        return true;
    } catch (const std::regex_error&) {  // from Effort
        return false;
    }
}

}  // namespace

bool GetMatching(const Entries& entries, const std::string& pattern, Entries& out) {
    Matcher matcher;
    const bool compiled = Compile(pattern, matcher);
    out.clear();
    if (!compiled) return false;
    std::string key;
    for (const auto& [name, value] : entries)
        if (Match(matcher, name, key)) out.emplace(key, value);
    return true;
}

}  // namespace WindowsAgentCommon::detail
