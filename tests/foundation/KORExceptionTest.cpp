#include "WindowsAgentCommon/KORException.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

template <class Caught, class Thrown>
bool IsCaughtAs(const Thrown& exception) {
    try {
        throw Thrown(exception);
    } catch (const Caught& caught) {
        return std::string(caught.what()) == exception.what();
    } catch (...) {
        return false;
    }
}

template <class Exception>
void ExpectFamilyMember(const std::string& prefix) {
    SCOPED_TRACE(typeid(Exception).name());
    const std::string text = "Foo";
    ::SetLastError(ERROR_DISK_FULL);
    const Exception plain("a\\b\\c.cpp", "Run", 7);
    ::SetLastError(ERROR_NOT_READY);
    const Exception full("a\\b\\d.cpp", "Stop", 8, text);

    EXPECT_EQ(static_cast<unsigned long>(ERROR_DISK_FULL), plain.GetLastError());
    EXPECT_STREQ("", plain.what());
    EXPECT_EQ("c.cpp in Run (line 7)", plain.GetLocation());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_READY), full.GetLastError());
    EXPECT_EQ(prefix + "Foo", full.what());
    EXPECT_EQ(prefix + "Foo", full.GetMessageW());
    EXPECT_EQ("d.cpp in Stop (line 8)", full.GetLocation());

    EXPECT_TRUE(IsCaughtAs<Exception>(full));
    EXPECT_TRUE(IsCaughtAs<KORException>(full));
    EXPECT_TRUE(IsCaughtAs<std::exception>(full));
}

template <class... Exceptions>
void ExpectFamilyMembers() {
    (ExpectFamilyMember<Exceptions>(""), ...);
}

TEST(KORException, EveryClassKeepsMessageErrorAndPlace) {
    ExpectFamilyMembers<KORException, KORStatisticsException, AgentDeletedException, CommandLineException,
                        ConfigurationDeploymentException, DeviceConfigException, DeviceException,
                        EventLogException, InitializationException, InterruptedException, ProtocolException,
                        SeekException, SocketException, UnmarshalMemoryException>();
    ExpectFamilyMember<ObjectDoesNotExistException>("The requested object does not exist: ");
    ExpectFamilyMember<OperationNotSupportedException>("The requested operation is not supported: ");
    EXPECT_FALSE(IsCaughtAs<DeviceException>(DeviceConfigException("f", "Run", 1)));
}

TEST(KORException, LocationHoldsThePathAfterItsSecondBackslash) {
    const struct {
        const char* file;
        const char* location;
    } rows[] = {
        {nullptr, ""},
        {"", ""},
        {"d.cpp", " in Run (line 42)"},
        {"c\\d.cpp", " in Run (line 42)"},
        {"b\\c\\d.cpp", "d.cpp in Run (line 42)"},
        {"a\\b\\c\\d.cpp", "c\\d.cpp in Run (line 42)"},
        {"a\\b\\c\\x\\d.cpp", "c\\x\\d.cpp in Run (line 42)"},
        {"a\\b\\", " in Run (line 42)"},
        {"a/b/c/d.cpp", " in Run (line 42)"},
        {"a\\b\\100%;s%d.cpp", "100%;s%d.cpp in Run (line 42)"},
        {__FILE__, "tests\\foundation\\KORExceptionTest.cpp in Run (line 42)"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.location, KORException(row.file, "Run", 42).GetLocation());
    EXPECT_EQ("d.cpp in  (line 42)", KORException("a\\b\\d.cpp", nullptr, 42).GetLocation());
}

TEST(KORException, ErrorCodePassedWinsOverTheThreads) {
    ::SetLastError(ERROR_DISK_FULL);
    const KORException exception("f.cpp", "Run", 42, ERROR_NOT_READY, "Foo");
    EXPECT_EQ(static_cast<unsigned long>(ERROR_NOT_READY), exception.GetLastError());
    EXPECT_STREQ("Foo", exception.what());
}

class MovableException : public KORException {
public:
    using KORException::KORException;
    using KORException::SetLocationInfo;
};

TEST(KORException, LocationOnceAskedForOutlivesMovesAndCopies) {
    MovableException exception("a\\b\\first.cpp", "First", 1, "Foo");
    exception.SetLocationInfo("a\\b\\second.cpp", "Second", 2);
    EXPECT_EQ("second.cpp in Second (line 2)", exception.GetLocation());
    exception.SetLocationInfo("a\\b\\third.cpp", "Third", 3);

    const MovableException copy(exception);
    MovableException assigned("a\\b\\other.cpp", "Other", 4);
    assigned = exception;
    for (const MovableException& same : {exception, copy, assigned}) {
        EXPECT_EQ("second.cpp in Second (line 2)", same.GetLocation());
        EXPECT_EQ("a\\b\\third.cpp", same.GetFile());
        EXPECT_EQ("Third", same.GetFunction());
        EXPECT_EQ(3, same.GetLine());
        EXPECT_STREQ("Foo", same.what());
    }
    exception.SetLocationInfo(nullptr, nullptr, 0);
    EXPECT_EQ("", exception.GetFile() + exception.GetFunction());
}

}  // namespace
}  // namespace WindowsAgentCommon
