#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/Win32Exception.h"

#include <gtest/gtest.h>

#include <typeinfo>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

template <class Exception>
void ExpectFamilyMember(const std::string& prefix) {
    SCOPED_TRACE(typeid(Exception).name());
    try {
        ::SetLastError(ERROR_DISK_FULL);
        throw Exception("a\\b\\c.cpp", "Run", 7);
    } catch (const KORException& caught) {
        EXPECT_TRUE(typeid(caught) == typeid(Exception));
        EXPECT_EQ(DWORD{ERROR_DISK_FULL}, caught.GetLastError());
        EXPECT_EQ("c.cpp in Run (line 7)", caught.GetLocation() + caught.what());
    }
    ::SetLastError(ERROR_NOT_READY);
    const Exception full("a\\b\\d.cpp", "Stop", 8, std::string("Foo"));
    EXPECT_EQ(DWORD{ERROR_NOT_READY}, full.GetLastError());
    EXPECT_EQ("d.cpp in Stop (line 8)", full.GetLocation());
    EXPECT_EQ(prefix + "Foo" + prefix + "Foo", full.what() + full.GetMessageW());
}

TEST(KORException, EveryKindKeepsMessageErrorAndPlace) {
    ExpectFamilyMember<KORException>("");
    ExpectFamilyMember<DeviceConfigException>("");  // stands for those that add nothing
    ExpectFamilyMember<ObjectDoesNotExistException>("The requested object does not exist: ");
    ExpectFamilyMember<OperationNotSupportedException>("The requested operation is not supported: ");
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, KORException("f", "Run", 42, ERROR_DISK_FULL, "Foo").GetLastError());
}

TEST(KORException, LocationHoldsThePathAfterItsSecondBackslash) {
    const std::string in = " in Run (line 42)";
    const std::pair<const char*, std::string> rows[] = {
        {nullptr, ""},
        {"", ""},
        {"c\\d.cpp", in},
        {"a\\b\\", in},
        {"a/b/c/d.cpp", in},
        {"b\\c\\d.cpp", "d.cpp" + in},
        {"a\\b\\c\\x\\d.cpp", "c\\x\\d.cpp" + in},
        {"a\\b\\100%;s%d.cpp", "100%;s%d.cpp" + in},
        {__FILE__, "tests\\foundation\\ExceptionsTest.cpp" + in}};
    for (const auto& [file, location] : rows)
        EXPECT_EQ(location, KORException(file, "Run", 42).GetLocation());
    EXPECT_EQ("d.cpp in  (line 42)", KORException("a\\b\\d.cpp", nullptr, 42).GetLocation());
}

struct MovableException : KORException {
    using KORException::KORException;
    using KORException::SetLocationInfo;
};

TEST(KORException, LocationOnceAskedForOutlivesMovesAndCopies) {
    MovableException exception("a\\b\\first.cpp", "First", 1, "Foo");
    exception.SetLocationInfo("a\\b\\second.cpp", "Second", 2);
    EXPECT_EQ("second.cpp in Second (line 2)", exception.GetLocation());
    exception.SetLocationInfo("third.cpp", "Third", 3);
    MovableException assigned("a\\b\\other.cpp", "Other", 4);
    assigned = exception;
    for (const MovableException& same : {exception, assigned}) {  // copies
        EXPECT_EQ("second.cpp in Second (line 2)", same.GetLocation());
        EXPECT_EQ("third.cpp Third Foo", same.GetFile() + " " + same.GetFunction() + " " + same.what());
        EXPECT_EQ(3, same.GetLine());
    }
    exception.SetLocationInfo(nullptr, nullptr, 0);
    EXPECT_EQ("", exception.GetFile() + exception.GetFunction());
}

TEST(Win32Exception, KeepsItsRecordAndNamesTheFault) {
    const std::tuple<DWORD, ULONG_PTR, bool, const char*> rows[] = {
        {0xC0000005, 0, false, "EXCEPTION_ACCESS_VIOLATION"},
        {0xC0000005, 1, true, "EXCEPTION_ACCESS_VIOLATION"},
        {0xC0000005, 8, false, "EXCEPTION_ACCESS_VIOLATION"},
        {0xC00000FD, 1, true, "EXCEPTION_STACK_OVERFLOW"},
        {0xC0000094, 2, false, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
        {0x80000001, 0, false, "Unknown Win32 Exception"}};
    for (const auto& [code, access, isWrite, name] : rows) {
        SCOPED_TRACE(access);
        ::SetLastError(ERROR_NOACCESS);
        const Win32AccessViolationException exception(
            "a\\b\\c.cpp", "Run", 42,
            {code, 0, nullptr, reinterpret_cast<void*>(0x00401234), 2, {access, 0xDEADBEEF}});
        Win32AccessViolationException same("f", "g", 1, EXCEPTION_RECORD{});
        same = exception;
        EXPECT_EQ(isWrite, same.isWrite());
        EXPECT_EQ(reinterpret_cast<void*>(0xDEADBEEF), same.badAddress());
        EXPECT_EQ(reinterpret_cast<void*>(0x00401234), same.where());
        EXPECT_EQ(code, same.code());
        EXPECT_STREQ(name, same.what());
        EXPECT_STREQ(name, Win32Exception::TranslateExceptionCodeToText(code));
        EXPECT_EQ("c.cpp in Run (line 42)", same.GetLocation() + same.GetMessageW());
        EXPECT_EQ(DWORD{ERROR_NOACCESS}, same.GetLastError());
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
