#pragma once

#include <exception>
#include <string>

#include "CorvaneExport.h"

namespace WindowsAgentCommon {

/// Root of every failure that the library throws: a message, the place that threw, and the Windows error
/// code of that moment.
///
/// Thrown by value, caught by reference, copied freely; a copy has its own strings. All texts are UTF-8.
/// Throw with the compiler's macros: `throw KORException(__FILE__, __FUNCTION__, __LINE__, "...")`.
///
/// Constructors take file and function as terminated text and copy them; null counts as empty. They fail
/// only with std::bad_alloc.
///
/// The classes derived from it add nothing but their type, so that a caller can tell failures apart.
///
/// Thread rule: none of its own. Several threads may read one object, except that the first GetLocation()
/// fills a cache and must not run beside another call on the same object.
class CORVANE_API KORException : public std::exception {
public:
    /// Empty message; the error code is GetLastError() of the calling thread.
    KORException(const char* file, const char* function, int line);

    /// The error code is GetLastError() of the calling thread.
    KORException(const char* file, const char* function, int line, const std::string& message);

    /// lastError: Windows error code to carry, taken as it is.
    KORException(const char* file, const char* function, int line, unsigned long lastError,
                 const std::string& message);

    KORException(const KORException& other);             ///< Copies every field, the location cache included.
    KORException& operator=(const KORException& other);  ///< Copies every field, the location cache included.

    ~KORException() noexcept override;

    /// The message's characters, valid until the object is assigned to or destroyed.
    const char* what() const noexcept override;

    virtual std::string GetMessageW() const;  ///< The message; empty when none was given.
    virtual std::string GetFunction() const;  ///< The function that threw.
    virtual std::string GetFile() const;      ///< The whole path of the source file that threw.
    virtual int GetLine() const;              ///< The source line that threw, 1-based.

    /// "FILE in FUNCTION (line N)", where FILE is the source path after its second backslash: source paths
    /// are relative to a two-level build root ("corvane\common\foundation\Text.cpp" gives
    /// "foundation\Text.cpp"), and a path with fewer than two backslashes gives an empty FILE.
    /// Empty when the exception has no file. Computed by the first call and kept: later calls give the same
    /// text whatever SetLocationInfo does.
    virtual std::string GetLocation() const;

    /// The Windows error code carried since construction.
    virtual unsigned long GetLastError() const;

protected:
    /// Replaces file, function and line; a location text already asked for stays.
    void SetLocationInfo(const char* file, const char* function, int line);

private:
    KORException();

    mutable std::string location_;
    std::string message_;
    std::string function_;
    std::string file_;
    int line_;
    unsigned long lastError_;
};

/// A statistic was asked for something it cannot give.
class CORVANE_API KORStatisticsException : public KORException {
public:
    /// Empty message.
    KORStatisticsException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    KORStatisticsException(const char* file, const char* function, int line, const std::string& message);
    ~KORStatisticsException() noexcept override;
};

/// The agent's registration was removed while it was at work.
class CORVANE_API AgentDeletedException : public KORException {
public:
    /// Empty message.
    AgentDeletedException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    AgentDeletedException(const char* file, const char* function, int line, const std::string& message);
    ~AgentDeletedException() noexcept override;
};

/// The command line cannot be understood.
class CORVANE_API CommandLineException : public KORException {
public:
    /// Empty message.
    CommandLineException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    CommandLineException(const char* file, const char* function, int line, const std::string& message);
    ~CommandLineException() noexcept override;
};

/// A configuration could not be put into force.
class CORVANE_API ConfigurationDeploymentException : public KORException {
public:
    /// Empty message.
    ConfigurationDeploymentException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    ConfigurationDeploymentException(const char* file, const char* function, int line,
                                     const std::string& message);
    ~ConfigurationDeploymentException() noexcept override;
};

/// A device's settings are wrong or missing.
class CORVANE_API DeviceConfigException : public KORException {
public:
    /// Empty message.
    DeviceConfigException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    DeviceConfigException(const char* file, const char* function, int line, const std::string& message);
    ~DeviceConfigException() noexcept override;
};

/// A device failed at its work.
class CORVANE_API DeviceException : public KORException {
public:
    /// Empty message.
    DeviceException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    DeviceException(const char* file, const char* function, int line, const std::string& message);
    ~DeviceException() noexcept override;
};

/// An event log cannot be opened or read.
class CORVANE_API EventLogException : public KORException {
public:
    /// Empty message.
    EventLogException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    EventLogException(const char* file, const char* function, int line, const std::string& message);
    ~EventLogException() noexcept override;
};

/// A component could not be brought up.
class CORVANE_API InitializationException : public KORException {
public:
    /// Empty message.
    InitializationException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    InitializationException(const char* file, const char* function, int line, const std::string& message);
    ~InitializationException() noexcept override;
};

/// A wait was ended because its component is shutting down.
class CORVANE_API InterruptedException : public KORException {
public:
    /// Empty message.
    InterruptedException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    InterruptedException(const char* file, const char* function, int line, const std::string& message);
    ~InterruptedException() noexcept override;
};

/// Something was asked for by a name or key that nothing has.
class CORVANE_API ObjectDoesNotExistException : public KORException {
public:
    /// Empty message, without the prefix of the other constructor: deliberate, callers rely on it.
    ObjectDoesNotExistException(const char* file, const char* function, int line);
    /// The message becomes "The requested object does not exist: " followed by the one given.
    ObjectDoesNotExistException(const char* file, const char* function, int line, const std::string& message);
    ~ObjectDoesNotExistException() noexcept override;
};

/// An object was asked for an operation that its kind does not have.
class CORVANE_API OperationNotSupportedException : public KORException {
public:
    /// Empty message, without the prefix of the other constructor: deliberate, callers rely on it.
    OperationNotSupportedException(const char* file, const char* function, int line);
    /// The message becomes "The requested operation is not supported: " followed by the one given.
    OperationNotSupportedException(const char* file, const char* function, int line,
                                   const std::string& message);
    ~OperationNotSupportedException() noexcept override;
};

/// A peer said something that the protocol does not allow.
class CORVANE_API ProtocolException : public KORException {
public:
    /// Empty message.
    ProtocolException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    ProtocolException(const char* file, const char* function, int line, const std::string& message);
    ~ProtocolException() noexcept override;
};

/// A position outside the data was asked for.
class CORVANE_API SeekException : public KORException {
public:
    /// Empty message.
    SeekException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    SeekException(const char* file, const char* function, int line, const std::string& message);
    ~SeekException() noexcept override;
};

/// A socket operation failed.
class CORVANE_API SocketException : public KORException {
public:
    /// Empty message.
    SocketException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    SocketException(const char* file, const char* function, int line, const std::string& message);
    ~SocketException() noexcept override;
};

/// Bytes that should hold an object are too few or make no sense.
class CORVANE_API UnmarshalMemoryException : public KORException {
public:
    /// Empty message.
    UnmarshalMemoryException(const char* file, const char* function, int line);
    /// The message is kept as it is.
    UnmarshalMemoryException(const char* file, const char* function, int line, const std::string& message);
    ~UnmarshalMemoryException() noexcept override;
};

}  // namespace WindowsAgentCommon
