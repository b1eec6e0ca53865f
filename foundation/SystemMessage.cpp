#include "foundation/SystemMessage.h"

#include "foundation/Win32Handle.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon::detail {

std::wstring SystemMessage(unsigned long code, const wchar_t* module) {
    // Texts with placeholders are asked for as they stand: there are no arguments to fill them with.
    DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    const HMODULE source = module != nullptr ? ::GetModuleHandleW(module) : nullptr;
    if (source != nullptr) flags |= FORMAT_MESSAGE_FROM_HMODULE;
    wchar_t* text = nullptr;
    const DWORD length = ::FormatMessageW(flags, source, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                          reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    const LocalMemory owner(text);
    return length != 0 ? std::wstring(text, length) : std::wstring();
}

}  // namespace WindowsAgentCommon::detail
