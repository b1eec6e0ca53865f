#include "logging/HostPort.h"

#include <boost/algorithm/string/trim.hpp>

#include <algorithm>
#include <locale>

namespace WindowsAgentCommon::detail {

namespace {

int toPort(const std::string& text) {
    if (text.empty() || text.size() > 5) return -1;
    int port = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') return -1;
        port = port * 10 + (digit - '0');
    }
    return port >= 1 && port <= 65535 ? port : -1;
}

}  // namespace

void SplitHostPort(const std::string& text, std::string& host, int& port) {
    const std::string server = boost::algorithm::trim_copy(text, std::locale::classic());
    port = 0;
    if (!server.empty() && server.front() == '[') {
        const auto end = server.find(']');
        host = server.substr(1, end == std::string::npos ? end : end - 1);
        if (end == std::string::npos || end + 1 == server.size()) return;
        port = server[end + 1] == ':' ? toPort(server.substr(end + 2)) : -1;
        return;
    }
    const auto colon = server.find(':');
    host = server;
    if (std::count(server.begin(), server.end(), ':') != 1) return;
    host = server.substr(0, colon);
    port = toPort(server.substr(colon + 1));
}

}  // namespace WindowsAgentCommon::detail
