#pragma once

#include <string>

namespace CorvaneAgent {

/// The name of a destination's folder: letters, digits, "-" and "_" stand for themselves, every other byte
/// becomes "%" and two hexadecimal digits, so does the first letter of what is a device's name.
std::wstring FolderName(const std::string& destination);

}  // namespace CorvaneAgent
