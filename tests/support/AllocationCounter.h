#pragma once

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <windows.h>

namespace WindowsAgentCommon::test {

/// Counts the allocations that loaded DLLs make, at their own imports: a replaced operator new of the program
/// would see nothing of them. C++ allocations are those of the C runtime that libstdc++-6.dll imports.
class AllocationCounter {
public:
    /// Counts in a DLL from now on. False when it is not loaded.
    static bool Watch(const wchar_t* dll) {
        char* const base = reinterpret_cast<char*>(::GetModuleHandleW(dll));
        if (base == nullptr) return false;
        const auto& headers =
            *reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
        const auto& directory = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        auto import = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
        for (; import->Name != 0; ++import) {
            auto name = reinterpret_cast<IMAGE_THUNK_DATA*>(base + import->OriginalFirstThunk);
            auto address = reinterpret_cast<IMAGE_THUNK_DATA*>(base + import->FirstThunk);
            for (; name->u1.AddressOfData != 0; ++name, ++address) {
                if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
                Replace(reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData)->Name,
                        address->u1.Function);
            }
        }
        return true;
    }

    static int Count() { return count_; }

private:
    static void Replace(const char* name, DWORD& address) {
        static const std::pair<const char*, void*> kCounted[] = {
            {"malloc", reinterpret_cast<void*>(Malloc)},
            {"calloc", reinterpret_cast<void*>(Calloc)},
            {"realloc", reinterpret_cast<void*>(Realloc)},
            {"HeapAlloc", reinterpret_cast<void*>(OfHeap)},
            {"LocalAlloc", reinterpret_cast<void*>(Local)},
            {"GlobalAlloc", reinterpret_cast<void*>(Global)},
            {"VirtualAlloc", reinterpret_cast<void*>(Virtual)},
        };
        for (const auto& counted : kCounted) {
            if (std::strcmp(name, counted.first) != 0) continue;
            DWORD before = 0;
            ::VirtualProtect(&address, sizeof address, PAGE_READWRITE, &before);
            address = reinterpret_cast<DWORD>(counted.second);
            ::VirtualProtect(&address, sizeof address, before, &before);
        }
    }

    static void* Malloc(std::size_t size) { return ++count_, std::malloc(size); }
    static void* Calloc(std::size_t count, std::size_t size) { return ++count_, std::calloc(count, size); }
    static void* Realloc(void* memory, std::size_t size) { return ++count_, std::realloc(memory, size); }
    static void* WINAPI OfHeap(HANDLE heap, DWORD flags, SIZE_T size) {
        return ++count_, ::HeapAlloc(heap, flags, size);
    }
    static HLOCAL WINAPI Local(UINT flags, SIZE_T size) { return ++count_, ::LocalAlloc(flags, size); }
    static HGLOBAL WINAPI Global(UINT flags, SIZE_T size) { return ++count_, ::GlobalAlloc(flags, size); }
    static void* WINAPI Virtual(void* address, SIZE_T size, DWORD type, DWORD protection) {
        return ++count_, ::VirtualAlloc(address, size, type, protection);
    }

    static inline std::atomic<int> count_{0};
};

}  // namespace WindowsAgentCommon::test
