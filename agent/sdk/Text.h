#pragma once

#include <cstddef>
#include <string>

namespace CorvaneAgent {

/// Appends a text with the two characters \r or \n for each CR or LF, so that no event can pass for two.
void AppendVisibly(std::string& out, const char* data, std::size_t size);

/// How many of size bytes, at most limit, make whole UTF-8 characters; limit where there is no such text.
std::size_t CutAtCharacter(const char* data, std::size_t size, std::size_t limit);

}  // namespace CorvaneAgent
