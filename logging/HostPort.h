#pragma once

#include <string>

namespace WindowsAgentCommon::detail {

/// Splits "host", "host:port", "[v6]:port", "[v6]"; a text with several colons and no brackets is an IPv6
/// address without port. port: 0 where there is none, -1 where it is no number of 1 to 65535. Blanks around
/// are dropped.
void SplitHostPort(const std::string& text, std::string& host, int& port);

}  // namespace WindowsAgentCommon::detail
