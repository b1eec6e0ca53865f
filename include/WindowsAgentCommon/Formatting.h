#pragma once

#include <cstdarg>
#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// printf-style formatting into strings.
///
/// Formats have the Microsoft C runtime's meaning on every compiler: `%I64d` is a 64-bit integer, `%s` is
/// narrow text in a narrow format and wide text in a wide one, `%hs` is always narrow and `%ls` always wide.
/// Three things are this library's own:
/// - Text of the other width is converted between UTF-16 and UTF-8 and never makes a call fail, whatever the
///   locale; what is no valid text comes out as U+FFFD. Its precision bounds the units that are read as well
///   as those that are written, and no character is cut in half.
/// - A ";" directly after a "%" is dropped, and `%lld` means `%I64d` on XP, too.
/// - `%n` stores nothing where a format also holds one of the things above; do not use it.
///
/// A result longer than 8,388,608 characters, or a format that the runtime rejects, gives an empty string.
/// A null format counts as empty; null text prints as "(null)". All functions throw only std::bad_alloc and
/// are thread-safe; after std::bad_alloc, out holds
/// what it held. The decimal point follows the host's C locale.

/// Formats into a UTF-8 string. args is read through a copy, so the caller's stays where it is.
CORVANE_API std::string varargs2string(const char* format, va_list args);

/// Formats into a UTF-16 string. args is read through a copy, so the caller's stays where it is.
CORVANE_API std::wstring varargs2wstring(const wchar_t* format, va_list args);

/// Replaces out by the formatted text and returns its characters, valid until out changes. The arguments may
/// point into out.
CORVANE_API const char* Format(std::string& out, const char* format, ...) CORVANE_PRINTF(2, 3);

/// Replaces out by the formatted text and returns its characters, valid until out changes. The arguments may
/// point into out.
CORVANE_API const wchar_t* Format(std::wstring& out, const wchar_t* format, ...);

}  // namespace WindowsAgentCommon
