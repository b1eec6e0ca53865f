#pragma once

#include <string>

namespace CorvaneLogger::detail {

/// Logs an error with what, name and the text of the exception that is being caught: only within a catch
/// clause. Throws nothing.
void LogCaught(const char* category, const char* what, const std::string& name) noexcept;

}  // namespace CorvaneLogger::detail
