#include "agent/sdk/Text.h"

#include <algorithm>

namespace CorvaneAgent {

void AppendVisibly(std::string& out, const char* data, std::size_t size) {
    const char* const end = data + size;
    while (data != end) {
        const char* const next = std::find_if(data, end, [](char c) { return c == '\n' || c == '\r'; });
        out.append(data, next);
        if (next == end) return;
        out += *next == '\n' ? "\\n" : "\\r";
        data = next + 1;
    }
}

std::size_t CutAtCharacter(const char* data, std::size_t size, std::size_t limit) {
    if (size <= limit) return size;
    const auto continues = [data](std::size_t i) { return (data[i] & 0xC0) == 0x80; };
    std::size_t cut = limit;
    while (cut > 0 && limit - cut < 3 && continues(cut)) --cut;
    return cut == 0 || continues(cut) ? limit : cut;
}

}  // namespace CorvaneAgent
