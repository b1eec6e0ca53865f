#include "WindowsAgentCommon/SyslogPayloadBuilder.h"

#include "WindowsAgentCommon/KORException.h"
#include "WindowsAgentCommon/PayloadProfile.h"
#include "WindowsAgentCommon/Payloads.h"
#include "WindowsAgentCommon/StringRegistry.h"
#include "tests/payload/PayloadServices.h"
#include "tests/support/LogLines.h"

#include <ace/Time_Value.h>
#include <gtest/gtest.h>

#include <climits>
#include <ctime>

using namespace WindowsAgentCommon;
using namespace WindowsAgentCommon::test;

namespace {

struct SyslogPayloadBuilderTest : ::testing::Test {
    unsigned int Id(const std::string& name, std::int64_t qualifier = 1) const {
        unsigned int id = 0;
        services.factory.RegisterField(name, qualifier, id);
        return id;
    }
    void Add(const std::string& name, std::int64_t typeInfo, const PayloadValue& value,
             unsigned int flags = 0) {
        payload.AddField(Id(name), {typeInfo, value}, flags);
    }
    std::string Build() {
        std::string line = "what it held";
        builder.BuildPayloadString(payload, line);
        payload.Clear();
        return line;
    }

    const PayloadServices services;
    SyslogPayloadBuilder builder;
    Payloadv2 payload;
};

}  // namespace

TEST_F(SyslogPayloadBuilderTest, WritesEachTypeAsItsCodeSays) {
    using std::int64_t;
    using std::string;
    constexpr int64_t hex = kPayloadHexadecimal;
    unsigned int known = 0;
    GetGlobalStringRegistry()->RegisterString("registered", known);
    const ACE_Time_Value time(1700000000, 123999);
    const std::tuple<int64_t, PayloadValue, string> rows[] = {
        {1, string("a=b\t|\n") + '\0', string("a=b\t|\n") + '\0'},
        {1 | hex | 0x0500 | 0x4000 | (int64_t{5} << 32), string("other bits"), "other bits"},
        {2, known, "registered"},
        {3, std::wstring(L"\x20AC"), "\xE2\x82\xAC"},
        {3, std::wstring(), ""},
        {3, std::wstring(32768, L'x'), string(32768, 'x')},
        {3, std::wstring(10923, L'\x20AC'), ""},  // 3 bytes each
        {4, true, "true"},
        {5, int64_t{LLONG_MIN}, "-9223372036854775808"},
        {6, int64_t{4294967296}, "4294967296"},
        {5 | hex, int64_t{255}, "0xFFFFFFFF"},
        {6 | hex, int64_t{0}, "0xFFFFFFFF"},  // deliberate
        {7, int64_t{-5}, "-5"},
        {7 | hex, int64_t{255}, "0xFF"},
        {7 | hex, int64_t{-1}, "0xFFFFFFFFFFFFFFFF"},
        {9, 1e-7, "1e-007"},
        {8, 1234567.0, "1.23457e+006"},
        {10, time, "1700000000123"},
        {11, time, "1700000000"},
        {10, ACE_Time_Value(-1, -500000), "-1500"},
        {12, string("any"), "0xFFFFFFFF"},  // deliberate
        {0, string("x"), ""},
        {13, string("x"), ""},
        {0x10001, string("x"), ""}};
    for (const auto& [typeInfo, value, text] : rows) {
        SCOPED_TRACE(typeInfo);
        Add("f", typeInfo, value);
        EXPECT_EQ("f=" + text, Build());
    }
    for (int code = 1; code < 12; ++code) {
        Add("f", code, code == 1 ? PayloadValue(1.0) : string("x"));
        EXPECT_EQ("f=", Build()) << code << ": a value of another type";
    }
}

TEST_F(SyslogPayloadBuilderTest, WritesDeferredTextsLastInTheirOrder) {
    const LogLines lines("Code.SyslogPayloadBuilder");
    Add("b", 1 | kPayloadDeferred, std::string("2"));
    Add("c", 3 | kPayloadDeferred, std::wstring(L"3"));
    Add("n", 7 | kPayloadDeferred, std::int64_t{1});  // no text: the bit means nothing
    Add("a", 1, std::string("1"));
    const std::string size = std::to_string(payload.GetMessageBlock()->total_length());
    EXPECT_EQ("n=1\ta=1\tb=2\tc=3", Build());
    EXPECT_EQ("500 Building payload size " + size + "\n", lines.text);
    Add("a", 1, std::string("1"));
    EXPECT_EQ("a=1", Build());
}

TEST_F(SyslogPayloadBuilderTest, KeepsTheHeaderUntilThereIsAnother) {
    PayloadProfile profile;
    profile.AddField("SyslogHeader", 1);
    Add("f", 1, std::string("1"));
    EXPECT_EQ("f=1", Build());
    payload.AddField(profile, "SyslogHeader", std::string("<13>x "));
    Add("hidden", 1, std::string("another field of that flag"), kVisitHeader);
    Add("SyslogHeader", 1, std::string("text without the flag"));
    EXPECT_EQ("<13>x SyslogHeader=text without the flag", Build());
    Add("f", 1, std::string("1"));
    EXPECT_EQ("<13>x f=1", Build());  // deliberate
    Add("SyslogHeader", 1, std::int64_t{1}, kVisitHeader | 1);
    EXPECT_EQ("", Build());
}

TEST_F(SyslogPayloadBuilderTest, LeavesOutWholePiecesWhenTheBodyIsFull) {
    const std::string most(65536 - 4, 'x');
    Add("a", 1, most);
    Add("b", 1, std::string("long"));  // the TAB and the name find room
    EXPECT_EQ("a=" + most + "\tb", Build());
    Add("a", 1, most + "12345");
    Add("b", 1, std::string("1"));
    EXPECT_EQ("a=\tb=1", Build());
    SyslogPayloadBuilderVisitor visitor("; ", "::");
    for (int i = 0; i < 2; ++i) visitor.Visit(Id("f"), {1, std::string("1")}, 0);
    EXPECT_EQ("f::1;f::1", visitor.GetPayload());  // deliberately the first character alone
}

TEST_F(SyslogPayloadBuilderTest, WritesAnEmptyNameAsLongAsTheIdIsUnknown) {
    const unsigned int later = 0x9E377A1A;  // of "a"
    for (const char* const line : {"=1", "a=1"}) {
        payload.AddField(later, {1, std::string("1")}, 0);
        EXPECT_EQ(line, Build());
        GetGlobalStringRegistry()->RegisterString("a");
    }
}

TEST_F(SyslogPayloadBuilderTest, ForgetsTheFieldsOfADamagedPayload) {
    Add("late", 1 | kPayloadDeferred, std::string("1"));
    payload.AddField(0, {1, std::string("2")}, 0);
    payload.GetMessageBlock()->wr_ptr(payload.GetMessageBlock()->wr_ptr() - 1);
    std::string line = "unchanged";
    EXPECT_THROW(builder.BuildPayloadString(payload, line), UnmarshalMemoryException);
    EXPECT_EQ("unchanged", line);
    payload.Clear();
    Add("f", 1, std::string("1"));
    EXPECT_EQ("f=1", Build());
}

TEST(FormatSyslogHeaderString, WritesLocalTimeWithATwoDigitDay) {
    std::tm local = {3, 7, 9, 5, 2, 2018 - 1900, 0, 0, -1};
    const auto seconds = static_cast<time_t>(::_mktime64(&local));
    const std::tuple<unsigned int, time_t, const char*> rows[] = {
        {13, seconds, "<13>Mar 05 09:07:03 ws1 "},
        {0xFFFFFFFF, seconds, "<-1>Mar 05 09:07:03 ws1 "},
        {0, -86400 * 2, "<0>Jan 01 00:00:00 ws1 "}};
    for (const auto& [priority, time, text] : rows) {
        std::string out = "ws1";
        IPayloadBuilder::FormatSyslogHeaderString(out, priority, ACE_Time_Value(time, 999999), out);
        EXPECT_EQ(text, out);
    }
}
