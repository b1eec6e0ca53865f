#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace CorvaneLogger::detail {

/// The names of a rolled file: folder + base name + "_" + index + "." + extension. All UTF-8; the folder is
/// absolute and ends with a backslash.
struct RolledNames {
    std::string folder;
    std::string baseName;
    std::string extension;

    std::string Live() const;
    std::string Rolled(std::int32_t index) const;
};

/// Takes the report lines of a roll, finished texts in UTF-8.
using RollReport = std::function<void(const std::string&)>;

/// Makes a closed live file rolled file 1, and each rolled file one older; those whose index is maxIndex or
/// above are deleted first. A rolled file 0, which a process killed in the middle of a roll leaves, is
/// shifted up before. Only names that are wholly of the form are touched, with the index as this writes it
/// (no leading zeros). Nothing is ever overwritten: what cannot be renamed stays where it is. Waits up to 0.9
/// s for a live file that somebody holds open. True when the live file has become file 1.
bool Roll(const RolledNames& names, std::int32_t maxIndex, const RollReport& report);

}  // namespace CorvaneLogger::detail
