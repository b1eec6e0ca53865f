#include "WindowsAgentCommon/Win32Exception.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

EXCEPTION_RECORD RecordOf(DWORD code, ULONG_PTR access = 0) {
    return {code, 0, nullptr, reinterpret_cast<void*>(0x00401234), 2, {access, 0xDEADBEEF}};
}

// The list both as codes and as text.
#define FAULTS(...)                        \
    const DWORD kFaults[] = {__VA_ARGS__}; \
    const char* const kNames = #__VA_ARGS__ ","
FAULTS(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_DATATYPE_MISALIGNMENT, EXCEPTION_BREAKPOINT,
       EXCEPTION_SINGLE_STEP, EXCEPTION_IN_PAGE_ERROR, EXCEPTION_ILLEGAL_INSTRUCTION,
       EXCEPTION_NONCONTINUABLE_EXCEPTION, EXCEPTION_INVALID_DISPOSITION, EXCEPTION_ARRAY_BOUNDS_EXCEEDED,
       EXCEPTION_FLT_DENORMAL_OPERAND, EXCEPTION_FLT_DIVIDE_BY_ZERO, EXCEPTION_FLT_INEXACT_RESULT,
       EXCEPTION_FLT_INVALID_OPERATION, EXCEPTION_FLT_OVERFLOW, EXCEPTION_FLT_STACK_CHECK,
       EXCEPTION_FLT_UNDERFLOW, EXCEPTION_INT_DIVIDE_BY_ZERO, EXCEPTION_INT_OVERFLOW,
       EXCEPTION_PRIV_INSTRUCTION, EXCEPTION_STACK_OVERFLOW);

TEST(Win32Exception, TwentyFaultsBearTheirSdkNames) {
    std::istringstream names(kNames);
    for (const DWORD fault : kFaults) {
        std::string name;
        std::getline(names >> std::ws, name, ',');
        EXPECT_EQ(name, Win32Exception::TranslateExceptionCodeToText(fault));
        EXPECT_EQ(name, Win32Exception("f", "g", 1, RecordOf(fault)).what());
    }
    for (const DWORD other : {EXCEPTION_GUARD_PAGE, EXCEPTION_INVALID_HANDLE, DWORD{0}})
        EXPECT_STREQ("Unknown Win32 Exception", Win32Exception("f", "g", 1, RecordOf(other)).what());
}

TEST(Win32Exception, KeepsItsRecordThroughCopies) {
    for (const ULONG_PTR access : {0u, 1u, 2u, 8u}) {
        SCOPED_TRACE(access);
        ::SetLastError(ERROR_NOACCESS);
        const Win32AccessViolationException exception("a\\b\\c.cpp", "Run", 42, RecordOf(0xC0000005, access));
        Win32AccessViolationException same("f", "g", 1, RecordOf(0));
        same = exception;
        EXPECT_EQ(access == 1, same.isWrite());
        EXPECT_EQ(reinterpret_cast<void*>(0xDEADBEEF), same.badAddress());
        EXPECT_EQ(reinterpret_cast<void*>(0x00401234), same.where());
        EXPECT_EQ(0xC0000005, same.code());
        EXPECT_STREQ("EXCEPTION_ACCESS_VIOLATION", same.what());
        EXPECT_EQ("", same.GetMessageW());
        EXPECT_EQ("c.cpp in Run (line 42)", same.GetLocation());
        EXPECT_EQ(static_cast<unsigned long>(ERROR_NOACCESS), same.GetLastError());
    }
}

// A page whose first access faults: the handler keeps the fault's record, opens the page and lets it go on.
volatile int* page;
EXCEPTION_RECORD faultRecord;

LONG CALLBACK OnFault(EXCEPTION_POINTERS* fault) {
    const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
    void* const address = const_cast<int*>(page);
    DWORD before = 0;
    if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION ||
        record.ExceptionInformation[1] != reinterpret_cast<ULONG_PTR>(address) ||
        !::VirtualProtect(address, sizeof(*page), PAGE_READWRITE, &before))
        return EXCEPTION_CONTINUE_SEARCH;
    faultRecord = record;
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(Win32Exception, CarriesARealFault) {
    void* const handler = ::AddVectoredExceptionHandler(1, &OnFault);
    for (const bool isWrite : {false, true}) {
        SCOPED_TRACE(isWrite);
        void* const address = ::VirtualAlloc(nullptr, sizeof(*page), MEM_COMMIT, PAGE_NOACCESS);
        ASSERT_NE(nullptr, address);
        page = static_cast<volatile int*>(address);
        *page = isWrite ? 1 : *page;
        try {
            throw Win32AccessViolationException(__FILE__, __FUNCTION__, __LINE__, faultRecord);
        } catch (const Win32Exception& caught) {
            EXPECT_STREQ("EXCEPTION_ACCESS_VIOLATION", caught.what());
            HMODULE faulted = nullptr;
            ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                 static_cast<const wchar_t*>(caught.where()), &faulted);
            EXPECT_EQ(::GetModuleHandleW(nullptr), faulted) << "the fault lies in this program's code";
            const auto& violation = dynamic_cast<const Win32AccessViolationException&>(caught);
            EXPECT_EQ(isWrite, violation.isWrite());
            EXPECT_EQ(address, violation.badAddress());
        }
        ::VirtualFree(address, 0, MEM_RELEASE);
    }
    ::RemoveVectoredExceptionHandler(handler);
}

}  // namespace
}  // namespace WindowsAgentCommon
