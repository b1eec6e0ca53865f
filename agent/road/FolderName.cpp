#include "agent/road/FolderName.h"

namespace CorvaneAgent {

namespace {

bool isDeviceName(std::string name) {
    for (char& c : name)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (name == "CON" || name == "PRN" || name == "AUX" || name == "NUL") return true;
    const std::string stem = name.substr(0, 3);
    return name.size() == 4 && (stem == "COM" || stem == "LPT") && name[3] >= '0' && name[3] <= '9';
}

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

}  // namespace

std::wstring FolderName(const std::string& destination) {
    static const char* const kDigits = "0123456789ABCDEF";
    std::wstring folder;
    for (std::size_t i = 0; i < destination.size(); ++i) {
        const char c = destination[i];
        if (isPlain(c) && !(i == 0 && isDeviceName(destination))) {
            folder += static_cast<wchar_t>(c);
        } else {
            const auto byte = static_cast<unsigned char>(c);
            folder += L'%';
            folder += static_cast<wchar_t>(kDigits[byte >> 4]);
            folder += static_cast<wchar_t>(kDigits[byte & 15]);
        }
    }
    return folder;
}

}  // namespace CorvaneAgent
