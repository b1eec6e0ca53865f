#pragma once

#include <cstdarg>
#include <cstddef>

namespace WindowsAgentCommon::detail {

/// What PlainPrintf returns for a format that is not its business.
constexpr int kNotPlain = -2;

/// Formats what most log lines are made of: plain text, "%%", and %s, %c, %d, %i, %u, %x without flags, width
/// and precision, the numbers also with the sizes l and I64. The result is the C runtime's, in a fraction of
/// its time; the rest, as BoundedPrintf. For any other conversion it returns kNotPlain, with the buffer
/// written to and nothing else done.
int PlainPrintf(char* buffer, std::size_t size, const char* format, va_list args) noexcept;

}  // namespace WindowsAgentCommon::detail
