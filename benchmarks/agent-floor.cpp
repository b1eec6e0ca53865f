// The floor of the agent's road: one thread that parses the same events with pugixml, or splits the same
// lines, and writes the same output with the C runtime. benchmarks/agent-benchmark runs it beside the agent.
//
//   agent-floor xml|text SOURCE TARGET HEADER

#include <cstdio>
#include <cstring>
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

void convertXml(std::string& text, const char* header, std::FILE* target) {
    constexpr std::string_view kStart = "<Event ";
    constexpr std::string_view kEnd = "</Event>";
    pugi::xml_document document;
    std::string line;
    for (std::size_t at = text.find(kStart); at != std::string::npos;) {
        const std::size_t end = text.find(kEnd, at) + kEnd.size();
        document.load_buffer_inplace(&text[at], end - at, pugi::parse_default, pugi::encoding_utf8);
        line = header;
        render(document.child("Event"), line);
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), target);
        at = text.find(kStart, end);
    }
}

void convertText(const std::string& text, const char* header, std::FILE* target) {
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        line = header;
        line += "Message=";
        line.append(text, at, end - at);
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), target);
        at = end + 1;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    std::FILE* const source = std::fopen(argv[2], "rb");
    std::FILE* const target = std::fopen(argv[3], "wb");
    if (!source || !target) return 1;
    // In pieces of whole events or lines, as nobody would read a file of gigabytes at once.
    constexpr std::size_t kPiece = 4 << 20;
    std::string text;
    std::string rest;
    for (;;) {
        text = rest;
        const std::size_t kept = text.size();
        text.resize(kept + kPiece);
        const std::size_t read = std::fread(&text[kept], 1, kPiece, source);
        text.resize(kept + read);
        if (text.empty()) break;
        const std::size_t end = read == 0 ? text.size() : text.rfind('\n') + 1;
        rest = text.substr(end);
        text.resize(end);
        if (std::strcmp(argv[1], "xml") == 0) {
            convertXml(text, argv[4], target);
        } else {
            convertText(text, argv[4], target);
        }
        if (read == 0) break;
    }
    std::fclose(source);
    return std::fclose(target) == 0 ? 0 : 1;
}
