#pragma once

#include <string>

#include "CorvaneExport.h"
#include "WindowsAgentCommon/KORException.h"

struct _EXCEPTION_RECORD;  // EXCEPTION_RECORD of the Windows headers

namespace WindowsAgentCommon {

/// A structured Windows fault (divide by zero, stack overflow, ...) as an exception.
///
/// The library installs no fault translator: a host that wants faults as exceptions catches them in its own
/// handler and builds this class there, or Win32AccessViolationException for EXCEPTION_ACCESS_VIOLATION.
/// GetMessageW() is empty; what() gives the fault's name. Thread rule and failures as for KORException.
class CORVANE_API Win32Exception : public KORException {
public:
    /// record: the fault, read during the call only. The error code is GetLastError() of the calling thread.
    Win32Exception(const char* file, const char* function, int line, const _EXCEPTION_RECORD& record);

    Win32Exception(const Win32Exception& other);             ///< Copies every field.
    Win32Exception& operator=(const Win32Exception& other);  ///< Copies every field.

    ~Win32Exception() noexcept override;

    /// The fault's name, as TranslateExceptionCodeToText gives it.
    const char* what() const noexcept override;

    unsigned long code() const noexcept;  ///< ExceptionCode of the record.
    const void* where() const noexcept;   ///< ExceptionAddress of the record: the faulting instruction.

    /// The Windows SDK's name of a fault code, such as "EXCEPTION_INT_DIVIDE_BY_ZERO", for the twenty faults
    /// that a processor or the memory manager raises; "Unknown Win32 Exception" for any other code, the
    /// guard-page and invalid-handle faults among them. The text is static.
    static const char* TranslateExceptionCodeToText(unsigned long code) noexcept;

private:
    std::string description_;
    const void* where_;
    unsigned long code_;
};

/// An access violation: the fault with the address that could not be accessed.
class CORVANE_API Win32AccessViolationException : public Win32Exception {
public:
    /// record: the fault, whose first two parameters say what was tried and where.
    Win32AccessViolationException(const char* file, const char* function, int line,
                                  const _EXCEPTION_RECORD& record);

    Win32AccessViolationException(const Win32AccessViolationException& other);  ///< Copies every field.
    /// Copies every field.
    Win32AccessViolationException& operator=(const Win32AccessViolationException& other);

    ~Win32AccessViolationException() noexcept override;

    /// True for a write; false for a read and for an execution.
    bool isWrite() const noexcept;
    const void* badAddress() const noexcept;  ///< The address that could not be accessed.

private:
    bool isWrite_;
    const void* badAddress_;
};

}  // namespace WindowsAgentCommon
