#pragma once

#include <cstdarg>
#include <cstddef>

namespace WindowsAgentCommon::detail {

/// The one pair of functions that formats for the whole library. The public header Formatting.h states what
/// formats mean; the compiler's own printf family means other things and is used nowhere.
///
/// Writes the text for format and args to buffer, which has room for size characters, terminator included.
/// Returns the text's length where it fits with its terminator; size where it fits exactly, without one; -1
/// where it does not fit or the runtime rejects the format (the buffer then holds no usable text).
/// Allocates only for wide or narrow text of the other width that is long. Throws only std::bad_alloc.
int BoundedPrintf(char* buffer, std::size_t size, const char* format, va_list args);

/// The same for wide text.
int BoundedPrintf(wchar_t* buffer, std::size_t size, const wchar_t* format, va_list args);

}  // namespace WindowsAgentCommon::detail
