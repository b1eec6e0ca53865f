#include "logging/ProcessEnd.h"

#include "logging/RegistryAccess.h"

#include "foundation/Win32.h"

namespace CorvaneLogger::detail {

bool ProcessIsEnding() noexcept {
    // The loader's own answer; without it (it is in no header) locks are waited for as always.
    using Question = BOOLEAN(WINAPI*)();
    static const Question ask = [] {
        const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
        const FARPROC found =
            ntdll != nullptr ? ::GetProcAddress(ntdll, "RtlDllShutdownInProgress") : nullptr;
        return reinterpret_cast<Question>(reinterpret_cast<void*>(found));
    }();
    return ask != nullptr && ask();
}

}  // namespace CorvaneLogger::detail

/// Ends logging with the library. reserved: null when the library is unloaded, and then no thread of ours
/// runs, since the open registry holds a reference to the library.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* reserved) {
    if (reason == DLL_PROCESS_DETACH) {
        if (reserved != nullptr) {
            CorvaneLogger::CV_Logger::WriteOutUnlocked();
        } else {
            CorvaneLogger::detail::DestroyLoggerFactory();
            CorvaneLogger::detail::RegistryAccess::Destroy();
        }
    }
    return TRUE;
}
