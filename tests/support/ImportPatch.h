#pragma once

#include <cstring>
#include <stdexcept>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// Puts a function in place of one that a module imports, for as long as the object lives. It replaces the
/// module's own calls only: to reach every call of malloc, patch every module that makes them.
template <class Function>
class ImportPatch {
public:
    /// module: null means the program itself. Throws std::runtime_error where the module imports no such
    /// name.
    ImportPatch(const wchar_t* module, const char* name, Function* replacement)
        : entry_(Find(reinterpret_cast<char*>(::GetModuleHandleW(module)), name)),
          original_(reinterpret_cast<Function*>(*entry_)) {
        Set(reinterpret_cast<void*>(replacement));
    }
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    ~ImportPatch() { Set(reinterpret_cast<void*>(original_)); }

private:
    static void** Find(char* base, const char* name) {
        if (base == nullptr) throw std::runtime_error("no such module");
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const IMAGE_DATA_DIRECTORY& imports =
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        const auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
        for (; dll->Name != 0; ++dll) {
            const auto* names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + dll->OriginalFirstThunk);
            for (std::size_t i = 0; names[i].u1.AddressOfData != 0; ++i) {
                if (IMAGE_SNAP_BY_ORDINAL(names[i].u1.Ordinal)) continue;
                const auto* entry =
                    reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names[i].u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0)
                    return reinterpret_cast<void**>(base + dll->FirstThunk) + i;
            }
        }
        throw std::runtime_error("no such import");
    }

    void Set(void* function) {
        DWORD before = 0;
        ::VirtualProtect(entry_, sizeof(*entry_), PAGE_READWRITE, &before);
        *entry_ = function;
        ::VirtualProtect(entry_, sizeof(*entry_), before, &before);
    }

    void** entry_;
    Function* original_;
};

}  // namespace WindowsAgentCommon::test
