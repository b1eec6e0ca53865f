// The floor of the agent's road: one thread that parses the same events with pugixml, or reads the same
// lines, and writes the same output, time stamps included, with the C runtime, in pieces of 64 KiB.
// benchmarks/agent-benchmark runs it beside the agent.
//
//   agent-floor xml|text SOURCE TARGET HOST

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include <pugixml.hpp>

namespace {

void appendPair(std::string& out, const char* name, const char* value) {
    if (!out.empty() && out.back() != ' ') out += '\t';
    out += name;
    out += '=';
    out += value;
}

/// Every element and attribute of the event's System, and its data, as name=value.
void render(const pugi::xml_node& event, std::string& out) {
    for (const pugi::xml_node element : event.child("System").children()) {
        if (*element.child_value()) appendPair(out, element.name(), element.child_value());
        for (const pugi::xml_attribute attribute : element.attributes()) {
            appendPair(out, attribute.name(), attribute.value());
        }
    }
    for (const pugi::xml_node data : event.child("EventData").children()) {
        appendPair(out, data.attribute("Name").value(), data.child_value());
    }
}

/// "<134>Feb 29 01:14:26 host " of a time; made anew for another second only.
const std::string& headerOf(__time64_t time, const char* host) {
    static std::string header;
    static __time64_t second = -1;
    if (time == second) return header;
    char text[64];
    std::strftime(text, sizeof(text), "%b %d %H:%M:%S", _localtime64(&time));
    second = time;
    return header = std::string("<134>") + text + " " + host + " ";
}

__time64_t timeOf(const char* text) {
    std::tm utc = {};
    if (std::sscanf(text, "%d-%d-%dT%d:%d:%d", &utc.tm_year, &utc.tm_mon, &utc.tm_mday, &utc.tm_hour,
                    &utc.tm_min, &utc.tm_sec) != 6) {
        return 0;
    }
    utc.tm_year -= 1900;
    --utc.tm_mon;
    return _mkgmtime64(&utc);
}

bool convertXml(std::FILE* source, std::FILE* target, const char* host) {
    // In pieces of whole events, as nobody would read a file of gigabytes at once.
    constexpr std::size_t kPiece = 1 << 20;
    constexpr std::string_view kStart = "<Event ";
    constexpr std::string_view kEnd = "</Event>";
    pugi::xml_document document;
    std::string text;
    std::string line;
    for (std::size_t read = 1; read != 0;) {
        const std::size_t kept = text.size();
        text.resize(kept + kPiece);
        read = std::fread(&text[kept], 1, kPiece, source);
        text.resize(kept + read);
        std::size_t done = 0;
        for (;;) {
            const std::size_t at = text.find(kStart, done);
            const std::size_t end = at == std::string::npos ? at : text.find(kEnd, at);
            if (end == std::string::npos) break;
            done = end + kEnd.size();
            if (!document.load_buffer_inplace(&text[at], done - at, pugi::parse_default,
                                              pugi::encoding_utf8)) {
                return false;
            }
            const pugi::xml_node event = document.child("Event");
            line = headerOf(
                timeOf(event.child("System").child("TimeCreated").attribute("SystemTime").value()), host);
            render(event, line);
            line += '\n';
            std::fputs(line.c_str(), target);
        }
        text.erase(0, done);
    }
    return true;
}

bool convertText(std::FILE* source, std::FILE* target, const char* host) {
    char line[4096];
    while (std::fgets(line, sizeof(line), source)) {
        std::fputs(headerOf(_time64(nullptr), host).c_str(), target);
        std::fputs("Message=", target);
        std::fputs(line, target);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    std::FILE* const source = std::fopen(argv[2], "rb");
    std::FILE* const target = std::fopen(argv[3], "wb");
    if (!source || !target) return 1;
    for (std::FILE* const file : {source, target}) std::setvbuf(file, nullptr, _IOFBF, 1 << 16);
    const bool isXml = std::strcmp(argv[1], "xml") == 0;
    const bool converted = isXml ? convertXml(source, target, argv[4]) : convertText(source, target, argv[4]);
    std::fclose(source);
    return std::fclose(target) == 0 && converted ? 0 : 1;
}
