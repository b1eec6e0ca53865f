#include "WindowsAgentCommon/KORException.h"

#include "WindowsAgentCommon/Formatting.h"

#include <cstring>

#include "foundation/Win32.h"

namespace WindowsAgentCommon {

namespace {

const char* OrEmpty(const char* text) noexcept { return text != nullptr ? text : ""; }

// The part after the second backslash, counted from the start: deliberately not the last one, since source
// paths are relative to a two-level build root.
const char* BelowBuildRoot(const char* path) noexcept {
    const char* first = std::strchr(path, '\\');
    const char* second = first != nullptr ? std::strchr(first + 1, '\\') : nullptr;
    return second != nullptr ? second + 1 : "";
}

}  // namespace

KORException::KORException() : KORException(nullptr, nullptr, 0) {}

KORException::KORException(const char* file, const char* function, int line)
    : KORException(file, function, line, ::GetLastError(), std::string()) {}

KORException::KORException(const char* file, const char* function, int line, const std::string& message)
    : KORException(file, function, line, ::GetLastError(), message) {}

KORException::KORException(const char* file, const char* function, int line, unsigned long lastError,
                           const std::string& message)
    : message_(message),
      function_(OrEmpty(function)),
      file_(OrEmpty(file)),
      line_(line),
      lastError_(lastError) {}

KORException::KORException(const KORException& other) = default;
KORException& KORException::operator=(const KORException& other) = default;
KORException::~KORException() noexcept = default;

const char* KORException::what() const noexcept { return message_.c_str(); }
std::string KORException::GetMessageW() const { return message_; }
std::string KORException::GetFunction() const { return function_; }
std::string KORException::GetFile() const { return file_; }
int KORException::GetLine() const { return line_; }
unsigned long KORException::GetLastError() const { return lastError_; }

std::string KORException::GetLocation() const {
    if (location_.empty() && !file_.empty()) {
        // The ";" is deliberate; Format drops it, which the compiler's check cannot know.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
        Format(location_, "%;s in %s (line %d)", BelowBuildRoot(file_.c_str()), function_.c_str(), line_);
#pragma GCC diagnostic pop
    }
    return location_;
}

void KORException::SetLocationInfo(const char* file, const char* function, int line) {
    file_ = OrEmpty(file);
    function_ = OrEmpty(function);
    line_ = line;
}

// A class whose message is kept as it is; a macro because the members of fifteen named classes must be
// exported one by one.
#define CORVANE_DEFINE_EXCEPTION(Class)                                                                    \
    Class::Class(const char* file, const char* function, int line) : KORException(file, function, line) {} \
    Class::Class(const char* file, const char* function, int line, const std::string& message)             \
        : KORException(file, function, line, message) {}                                                   \
    Class::~Class() noexcept = default

CORVANE_DEFINE_EXCEPTION(KORStatisticsException);
CORVANE_DEFINE_EXCEPTION(AgentDeletedException);
CORVANE_DEFINE_EXCEPTION(CommandLineException);
CORVANE_DEFINE_EXCEPTION(ConfigurationDeploymentException);
CORVANE_DEFINE_EXCEPTION(DeviceConfigException);
CORVANE_DEFINE_EXCEPTION(DeviceException);
CORVANE_DEFINE_EXCEPTION(EventLogException);
CORVANE_DEFINE_EXCEPTION(InitializationException);
CORVANE_DEFINE_EXCEPTION(InterruptedException);
CORVANE_DEFINE_EXCEPTION(ProtocolException);
CORVANE_DEFINE_EXCEPTION(SeekException);
CORVANE_DEFINE_EXCEPTION(SocketException);
CORVANE_DEFINE_EXCEPTION(UnmarshalMemoryException);

#undef CORVANE_DEFINE_EXCEPTION

// Deliberate: only the constructor that takes a message adds the prefix. Braces fix the order in which the
// arguments are evaluated, so the error code is read before anything is allocated.
ObjectDoesNotExistException::ObjectDoesNotExistException(const char* file, const char* function, int line)
    : KORException(file, function, line) {}
ObjectDoesNotExistException::ObjectDoesNotExistException(const char* file, const char* function, int line,
                                                         const std::string& message)
    : KORException{file, function, line, ::GetLastError(),
                   "The requested object does not exist: " + message} {}
ObjectDoesNotExistException::~ObjectDoesNotExistException() noexcept = default;

OperationNotSupportedException::OperationNotSupportedException(const char* file, const char* function,
                                                               int line)
    : KORException(file, function, line) {}
OperationNotSupportedException::OperationNotSupportedException(const char* file, const char* function,
                                                               int line, const std::string& message)
    : KORException{file, function, line, ::GetLastError(),
                   "The requested operation is not supported: " + message} {}
OperationNotSupportedException::~OperationNotSupportedException() noexcept = default;

}  // namespace WindowsAgentCommon
