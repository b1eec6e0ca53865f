#include "agent/host/StateFile.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/FileUtil.h"
#include "WindowsAgentCommon/Formatting.h"
#include "agent/sdk/Clock.h"

#include "agent/sdk/Win32.h"

namespace CorvaneAgent {

using WindowsAgentCommon::EnvironmentBlock;
using WindowsAgentCommon::Format;

namespace {

/// A JSON string. Through UTF-16 and back, which leaves valid UTF-8 only.
std::string quoted(const std::string& text) {
    const std::string valid = WindowsAgentCommon::ToUTF8(WindowsAgentCommon::FromUTF8(text));
    std::string out = "\"";
    for (const char c : valid) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::string escape;
            out += Format(escape, "\\u%04x", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        } else {
            out += c;
        }
    }
    return out + "\"";
}

/// Whether text is a number as JSON writes it.
bool isNumber(const std::string& text) {
    std::size_t at = text[0] == '-' ? 1 : 0;
    const std::size_t digits = text.find_first_not_of("0123456789", at);
    const std::size_t end = digits == std::string::npos ? text.size() : digits;
    if (end == at || (text[at] == '0' && end > at + 1)) return false;
    at = end;
    if (at < text.size() && text[at] == '.') {
        const std::size_t fraction = text.find_first_not_of("0123456789", at + 1);
        if (at + 1 == text.size()) return false;
        at = fraction == std::string::npos ? text.size() : fraction;
        if (text[at - 1] == '.') return false;
    }
    return at == text.size();
}

std::string timeText() {
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    std::wstring text;
    WindowsAgentCommon::GetISO8601Timestamp(now, text);
    return WindowsAgentCommon::ToUTF8(text);
}

std::string component(const EnvironmentBlock& status) {
    std::string out = "{";
    const std::string* last = nullptr;
    for (const auto& [name, value] : status.Entries()) {
        if (last && *last == name) continue;  // JSON has each name once
        if (last) out += ", ";
        last = &name;
        out += quoted(name) + ": " + (!value.empty() && isNumber(value) ? value : quoted(value));
    }
    return out + "}";
}

}  // namespace

std::string ToJson(const AgentState& state) {
    std::string process;
    Format(process, "%u", static_cast<unsigned int>(::GetCurrentProcessId()));
    std::string out = "{\n  \"status\": " + quoted(state.status) + ",\n  \"time\": " + quoted(timeText()) +
                      ",\n  \"process\": " + process +
                      ",\n  \"configuration\": " + quoted(state.configuration) +
                      ",\n  \"configurationFile\": " + quoted(state.configurationFile) +
                      ",\n  \"configurationStamp\": " + quoted(state.configurationStamp) +
                      ",\n  \"reload\": " + quoted(state.reload) + ",\n  \"components\": {";
    const char* separator = "\n";
    for (const auto& [name, status] : state.components) {
        out += separator + std::string("    ") + quoted(name) + ": " + component(status);
        separator = ",\n";
    }
    return out + "\n  }\n}\n";
}

unsigned long ReplaceFileContent(const std::wstring& path, const std::string& content) {
    const std::wstring temporary = path + L".new";
    if (!WindowsAgentCommon::SaveTextFile(temporary, content)) return ERROR_WRITE_FAULT;
    if (!::MoveFileExW(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        return ::GetLastError();
    }
    return 0;
}

}  // namespace CorvaneAgent
