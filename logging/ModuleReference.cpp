#include "logging/ModuleReference.h"

#include "foundation/Win32.h"

namespace CorvaneLogger::detail {

ModuleReference::ModuleReference() noexcept : module_(nullptr) {
    static const char here = 0;
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const wchar_t*>(&here),
                             &module))
        module_ = module;
}

ModuleReference::~ModuleReference() {
    if (module_ != nullptr) ::FreeLibrary(static_cast<HMODULE>(module_));
}

}  // namespace CorvaneLogger::detail
