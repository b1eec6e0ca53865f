// A program that gets the library only by loading a DLL that uses it. Arguments: what to do, a folder.
// Ends with the number of the expectation that failed.

#include <cstring>

#include <windows.h>

int main(int, char** arguments) {
    const auto isLibraryThere = [] { return ::GetModuleHandleW(L"CorvaneCommon.dll") != nullptr; };
    const bool later = std::strcmp(arguments[1], "closes-in-a-dll") == 0,
               now = std::strcmp(arguments[1], "unloads-after-close") == 0,
               schedules = std::strcmp(arguments[1], "unloads-beside-a-scheduler") == 0;
    if (isLibraryThere() || !::SetCurrentDirectoryA(arguments[2])) return 1;
    for (int process = 0; process < (now ? 3 : 1); ++process) {
        const HMODULE plugin = ::LoadLibraryW(L"logging-plugin.dll");
        const auto work =
            reinterpret_cast<void (*)(int, char)>(reinterpret_cast<void*>(::GetProcAddress(plugin, "Work")));
        if (work == nullptr) return 2;
        work(process, later ? 'l' : now ? 'n' : schedules ? 's' : 0);
        if (later) break;
        ::FreeLibrary(plugin);
        if (isLibraryThere() == now) return 3;  // an open registry holds it, and so does a scheduler
    }
    return 0;
}
