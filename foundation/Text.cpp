#include "WindowsAgentCommon/Text.h"

#include "WindowsAgentCommon/Encoding.h"

namespace WindowsAgentCommon {

std::string& NormalizeComponentName(std::string& name) {
    for (std::size_t at = name.find_first_of(" -.{}:"); at != std::string::npos;
         at = name.find_first_of(" -.{}:", at + 1)) {
        name[at] = '_';
    }
    if (!name.empty() && name.front() != '_') name.insert(name.begin(), '_');
    return name;
}

unsigned ConvertParamVectorToMap(const std::vector<std::wstring>& items,
                                 std::multimap<std::string, std::string>& map,
                                 const std::wstring& separators) {
    for (const std::wstring& item : items) {
        const std::size_t cut = item.find_first_of(separators);
        if (cut == std::wstring::npos) continue;
        map.emplace(ToUTF8(item.substr(0, cut)), ToUTF8(item.substr(cut + 1)));
    }
    return static_cast<unsigned>(map.size());
}

}  // namespace WindowsAgentCommon
