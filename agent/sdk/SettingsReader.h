#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace CorvaneAgent {

/// Reads the settings of a service or of one of its instances. A value that cannot be used throws
/// InitializationException with name, value and owner: Workers "0" of OWNER is no number from 1 to 16.
///
/// It remembers the names that it was asked for, whether they are there or not: RefuseUnknown, when all is
/// read, finds the misspelt ones.
class SettingsReader {
public:
    /// owner: whose settings they are, within a sentence. entries: pairs of name and value, which are copied.
    template <class Entries>
    SettingsReader(std::string owner, const Entries& entries)
        : owner_(std::move(owner)), entries_(entries.begin(), entries.end()) {}

    std::string Text(const std::string& name, const std::string& defaultValue = std::string());

    /// All values of a setting that may be there several times.
    std::vector<std::string> Texts(const std::string& name);

    /// One of allowed, letter by letter.
    std::string Choice(const std::string& name, const std::string& defaultValue,
                       std::initializer_list<const char*> allowed);

    bool Flag(const std::string& name, bool defaultValue);  ///< "T" or "F".

    /// A decimal number from least to most, which Result must hold. The default is not judged.
    template <class Result = unsigned int>
    Result Number(const std::string& name, std::uint64_t defaultValue, std::uint64_t least,
                  std::uint64_t most) {
        return static_cast<Result>(number(name, defaultValue, least, most));
    }

    void Know(std::initializer_list<const char*> names);  ///< Names that somebody else reads.

    /// Throws InitializationException for a setting that nobody asked for. The message has the known name
    /// that is closest.
    void RefuseUnknown() const;

    /// Throws the exception for a setting's value. why: such as "is no number".
    [[noreturn]] void Refuse(const std::string& name, const std::string& value, const std::string& why) const;

private:
    const std::string* find(const std::string& name);
    std::uint64_t number(const std::string& name, std::uint64_t defaultValue, std::uint64_t least,
                         std::uint64_t most);

    std::string owner_;
    std::multimap<std::string, std::string> entries_;
    std::set<std::string> known_;
};

}  // namespace CorvaneAgent
