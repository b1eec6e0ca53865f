#include "WindowsAgentCommon/SystemInfo.h"

#include "WindowsAgentCommon/Encoding.h"
#include "WindowsAgentCommon/Formatting.h"
#include "foundation/SystemMessage.h"
#include "foundation/Win32Handle.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

bool GetLastErrorText(unsigned long code, std::string& out) {
    const std::wstring message = detail::SystemMessage(code);
    if (message.empty()) {
        Format(out, "Unable to format error code %d", static_cast<int>(code));
    } else {
        Format(out, "Error code %d: %s", static_cast<int>(code), ToUTF8(message).c_str());
    }
    out.erase(out.find_last_not_of("\r\n") + 1);
    return !message.empty();
}

unsigned long GetWindowsServiceStatus(const wchar_t* service, unsigned long& state, const wchar_t* machine) {
    if (service == nullptr) return ERROR_INVALID_PARAMETER;
    const detail::ServiceHandle manager(::OpenSCManagerW(machine, nullptr, GENERIC_READ));
    if (!manager) return ::GetLastError();
    const detail::ServiceHandle handle(::OpenServiceW(manager.Get(), service, GENERIC_READ));
    if (!handle) return ::GetLastError();
    SERVICE_STATUS status = {};
    if (!::QueryServiceStatus(handle.Get(), &status)) return ::GetLastError();
    state = status.dwCurrentState;
    return ERROR_SUCCESS;
}

unsigned long GetWindowsServiceStatus(const wchar_t* service, unsigned long& state) {
    return GetWindowsServiceStatus(service, state, nullptr);
}

void GetKORVersionString(std::string& out) { out = CORVANE_VERSION; }

}  // namespace WindowsAgentCommon
