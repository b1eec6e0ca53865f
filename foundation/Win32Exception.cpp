#include "WindowsAgentCommon/Win32Exception.h"

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

Win32Exception::Win32Exception(const char* file, const char* function, int line,
                               const _EXCEPTION_RECORD& record)
    : KORException(file, function, line),
      description_(TranslateExceptionCodeToText(record.ExceptionCode)),
      where_(record.ExceptionAddress),
      code_(record.ExceptionCode) {}

Win32Exception::Win32Exception(const Win32Exception& other) = default;
Win32Exception& Win32Exception::operator=(const Win32Exception& other) = default;
Win32Exception::~Win32Exception() noexcept = default;

const char* Win32Exception::what() const noexcept { return description_.c_str(); }
unsigned long Win32Exception::code() const noexcept { return code_; }
const void* Win32Exception::where() const noexcept { return where_; }

const char* Win32Exception::TranslateExceptionCodeToText(unsigned long code) noexcept {
    switch (code) {
#define CORVANE_FAULT_NAME(fault) \
    case fault:                   \
        return #fault
        CORVANE_FAULT_NAME(EXCEPTION_ACCESS_VIOLATION);
        CORVANE_FAULT_NAME(EXCEPTION_DATATYPE_MISALIGNMENT);
        CORVANE_FAULT_NAME(EXCEPTION_BREAKPOINT);
        CORVANE_FAULT_NAME(EXCEPTION_SINGLE_STEP);
        CORVANE_FAULT_NAME(EXCEPTION_IN_PAGE_ERROR);
        CORVANE_FAULT_NAME(EXCEPTION_ILLEGAL_INSTRUCTION);
        CORVANE_FAULT_NAME(EXCEPTION_NONCONTINUABLE_EXCEPTION);
        CORVANE_FAULT_NAME(EXCEPTION_INVALID_DISPOSITION);
        CORVANE_FAULT_NAME(EXCEPTION_ARRAY_BOUNDS_EXCEEDED);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_DENORMAL_OPERAND);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_DIVIDE_BY_ZERO);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_INEXACT_RESULT);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_INVALID_OPERATION);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_OVERFLOW);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_STACK_CHECK);
        CORVANE_FAULT_NAME(EXCEPTION_FLT_UNDERFLOW);
        CORVANE_FAULT_NAME(EXCEPTION_INT_DIVIDE_BY_ZERO);
        CORVANE_FAULT_NAME(EXCEPTION_INT_OVERFLOW);
        CORVANE_FAULT_NAME(EXCEPTION_PRIV_INSTRUCTION);
        CORVANE_FAULT_NAME(EXCEPTION_STACK_OVERFLOW);
#undef CORVANE_FAULT_NAME
        default:
            return "Unknown Win32 Exception";
    }
}

Win32AccessViolationException::Win32AccessViolationException(const char* file, const char* function, int line,
                                                             const _EXCEPTION_RECORD& record)
    : Win32Exception(file, function, line, record),
      isWrite_(record.ExceptionInformation[0] == 1),
      badAddress_(reinterpret_cast<const void*>(record.ExceptionInformation[1])) {}

Win32AccessViolationException::Win32AccessViolationException(const Win32AccessViolationException& other) =
    default;
Win32AccessViolationException& Win32AccessViolationException::operator=(
    const Win32AccessViolationException& other) = default;
Win32AccessViolationException::~Win32AccessViolationException() noexcept = default;

bool Win32AccessViolationException::isWrite() const noexcept { return isWrite_; }
const void* Win32AccessViolationException::badAddress() const noexcept { return badAddress_; }

}  // namespace WindowsAgentCommon
