#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace CorvaneLogger::detail {

/// What a log configuration file says, in the order of the file. All texts are as they stand there.
struct LogConfig {
    struct Appender {
        std::string name;
        std::string cls;                            // empty where the element has none
        std::map<std::string, std::string> params;  // with "Level" for the priority; the last of equal names
    };
    struct Category {
        std::string name;
        std::string level;  // "INFO" where the element has none
        std::vector<std::string> references;
    };
    std::vector<Appender> appenders;
    std::vector<Category> categories;
};

/// Bounds of what is read: a file beyond the first, in bytes, is refused whole; an element beyond the second
/// is skipped; of each kind of element, those beyond the third are.
constexpr std::size_t kConfigFileLimit = 1024 * 1024;
constexpr std::size_t kConfigElementLimit = 64 * 1024;
constexpr std::size_t kConfigElementCount = 200;

/// Takes one line about something that is wrong.
using ConfigReport = std::function<void(const std::string&)>;

/// Finds the appender and category elements in a text; everything else in it is ignored. Elements and
/// parameters without a name, or with an empty one, are skipped with a report, as are parameters without a
/// value and elements that the regular expression engine gives up on. Time and memory are linear in the text.
/// Throws only std::bad_alloc.
LogConfig ParseLogConfig(const std::string& text, const ConfigReport& report);

}  // namespace CorvaneLogger::detail
