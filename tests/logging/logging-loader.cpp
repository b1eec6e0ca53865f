// A program that gets the library only by loading a DLL that uses it. Arguments: what to do, a folder.
// Ends with the number of the expectation that failed.

#include <cstring>

#include <windows.h>

using WorkFunction = void (*)(int process, bool close, bool closeLater);

namespace {

HMODULE plugin;

bool Work(int process, bool close, bool closeLater) {
    plugin = ::LoadLibraryW(L"logging-plugin.dll");
    if (plugin == nullptr) return false;
    const auto work =
        reinterpret_cast<WorkFunction>(reinterpret_cast<void*>(::GetProcAddress(plugin, "Work")));
    if (work == nullptr) return false;
    work(process, close, closeLater);
    return true;
}

bool IsLibraryThere() { return ::GetModuleHandleW(L"CorvaneCommon.dll") != nullptr; }

int Unload(int processes) {
    for (int process = 0; process < processes; ++process) {
        if (!Work(process, true, false)) return 1;
        ::FreeLibrary(plugin);
        if (IsLibraryThere()) return 2;
    }
    return 0;
}

}  // namespace

int main(int, char** arguments) {
    if (IsLibraryThere() || !::SetCurrentDirectoryA(arguments[2])) return 3;
    if (std::strcmp(arguments[1], "unloads-after-close") == 0) return Unload(3);
    if (std::strcmp(arguments[1], "closes-in-a-dll") == 0) return Work(0, false, true) ? 0 : 1;
    if (!Work(0, false, false)) return 1;
    ::FreeLibrary(plugin);
    return IsLibraryThere() ? 0 : 2;  // held by the open registry
}
