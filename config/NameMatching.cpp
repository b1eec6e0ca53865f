#include "config/EntryAccess.h"

#include <regex>

namespace WindowsAgentCommon::detail {

namespace {

// std::regex calls itself for each character of a pattern and for each state that takes none, and, where it
// backtracks, for each character of the subject. These bounds keep it below half of a stack of 1 MB; the one
// on states (4,096) is compiled into the standard library's templates by CMakeLists.txt.
constexpr std::size_t kLongestPattern = 1024;
constexpr std::size_t kLongestName = 1024;
constexpr std::size_t kLongestBacktracked = 128;

struct Matcher {
    std::regex expression;
    std::size_t longestName = kLongestName;
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

}  // namespace

bool GetMatching(const Entries& entries, const std::string& pattern, Entries& out) {
    Matcher matcher;
    const bool compiled = Compile(pattern, matcher);
    out.clear();
    if (!compiled) return false;
    std::smatch match;
    for (const auto& [name, value] : entries) {
        if (name.size() > matcher.longestName || !std::regex_match(name, match, matcher.expression)) continue;
        out.emplace(matcher.expression.mark_count() > 0 ? match.str(1) : name, value);
    }
    return true;
}

}  // namespace WindowsAgentCommon::detail
