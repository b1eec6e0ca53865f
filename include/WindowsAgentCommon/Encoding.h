#pragma once

#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// \file
/// Conversions between UTF-16, UTF-8 and the system's ANSI code page, by the system's own converter.
///
/// Nothing throws on bad text. What the converter cannot convert becomes U+FFFD from Windows Vista on and is
/// dropped or passed through on XP; letters that the ANSI code page lacks become its default character.
/// Zeros inside a counted text are kept, except that the two ANSI functions end a text of fewer than 501
/// characters at its first zero. That exception is deliberate: such texts come from fixed-size buffers.
/// The returned pointers are out's characters, valid until out changes; input and out may be one object.
/// All functions throw only std::bad_alloc or, for results beyond the string's limit, std::length_error. They
/// are thread-safe. After an exception, out holds some text or none.

/// UTF-16 to UTF-8.
CORVANE_API std::string ToUTF8(const std::wstring& text);

/// UTF-16 to UTF-8. length: UTF-16 units to convert; 0 or less means up to the terminator. Null gives "".
CORVANE_API std::string ToUTF8(const wchar_t* text, int length);

/// UTF-16 to UTF-8 into out. Converts in one pass; out grows to four bytes for each unit of input
/// meanwhile and keeps that capacity.
CORVANE_API const char* ToUTF8(const std::wstring& text, std::string& out);

/// ANSI to UTF-8.
CORVANE_API const char* ToUTF8(const std::string& ansi, std::string& out);

/// UTF-8 to UTF-16.
CORVANE_API std::wstring FromUTF8(const std::string& utf8);

/// UTF-8 to UTF-16 into out.
CORVANE_API const wchar_t* FromUTF8(const std::string& utf8, std::wstring& out);

/// UTF-8 to ANSI.
CORVANE_API const char* FromUTF8(const std::string& utf8, std::string& out);

}  // namespace WindowsAgentCommon
