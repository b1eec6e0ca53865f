#include "WindowsAgentCommon/FileUtil.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>

#include <windows.h>

namespace WindowsAgentCommon {
namespace {

constexpr unsigned long long kSecond = 131891000170000000;  // 2018-12-12 14:53:37

FILETIME Time(unsigned long long ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
}
unsigned long long Ticks(const FILETIME& time) {
    return (static_cast<unsigned long long>(time.dwHighDateTime) << 32U) | time.dwLowDateTime;
}

// Nanoseconds as IEEE doubles give them: deliberately not exact.
TEST(TimeText, FileTimesBecomeTextsUnderEveryFloatingPointPrecision) {
    const struct {
        unsigned long long ticks;
        const wchar_t* iso;
        const char* compact;
        long long unixSeconds;
    } rows[] = {
        {kSecond, L"2018-12-12T14:53:37.000000000Z", "20181212.145337.000000000", 1544626417},
        {kSecond + 1234567, L"2018-12-12T14:53:37.123455047Z", "20181212.145337.123456700", 1544626417},
        {kSecond + 9999989, L"2018-12-12T14:53:37.999998092Z", "20181212.145337.999998900", 1544626417},
        {kSecond + 9999999, L"2018-12-12T14:53:37.000000000Z", "20181212.145337.999999900", 1544626417},
        {1, L"1601-01-01T00:00:00.000000100Z", "16010101.000000.000000100", -11644473600},
        {116444736000000000, L"1970-01-01T00:00:00.000000000Z", "19700101.000000.000000000", 0},
        {116444735999999999, L"1969-12-31T23:59:59.000000000Z", "19691231.235959.999999900", -1},
        {2650467743995000001, L"9999-12-31T23:59:59.499969482Z", "99991231.235959.500000100", 253402300799},
        {1ULL << 63U, L"", "", 910692730085},
    };
    for (const unsigned int precision : {_PC_24, _PC_53, _PC_64}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.compact);
            std::wstring iso = L"old";
            std::string compact = "old";
            ::_controlfp(precision, _MCW_PC);
            GetISO8601Timestamp(Time(row.ticks), iso);
            EXPECT_EQ(::_controlfp(0, 0) & _MCW_PC, precision);
            Convert(Time(row.ticks), compact);
            ::_controlfp(_PC_64, _MCW_PC);
            EXPECT_EQ(iso, row.iso);
            EXPECT_EQ(compact, row.compact);
            EXPECT_EQ(ConvertFiletimeToUnixEpoch(Time(row.ticks)), row.unixSeconds);
        }
    }
    std::wstring iso;
    GetISO8601Timestamp(SYSTEMTIME{2024, 2, 0, 29, 1, 2, 3, 250}, iso);
    EXPECT_EQ(iso, L"2024-02-29T01:02:03.250000000Z");
    GetISO8601Timestamp(SYSTEMTIME{2023, 2, 0, 29, 1, 2, 3, 250}, iso);
    EXPECT_EQ(iso, L"");
    GetISO8601Timestamp(iso);
    EXPECT_EQ(iso.size(), 30U);
}

TEST(TimeText, CompactTextsBecomeTimesAndBadOnesZero) {
    const struct {
        unsigned long long ticks;
        const char* text;
        WORD milliseconds;
    } rows[] = {
        {kSecond, "20181212.145337", 0},
        {kSecond, "20181212.145337.", 0},
        {kSecond + 1234567, "20181212.145337.123456700", 123},
        {kSecond + 5, "20181212.145337.5", 5},
        {kSecond, " 2018 12 12.145337", 0},
        {kSecond, "20181212.145337 and more", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        FILETIME time = Time(1);
        SYSTEMTIME parts = {1, 1, 6, 1, 1, 1, 1, 1};
        Convert(row.text, time);
        Convert(row.text, parts);
        EXPECT_EQ(Ticks(time), row.ticks);
        const SYSTEMTIME expected = {2018, 12, 6, 12, 14, 53, 37, row.milliseconds};
        EXPECT_EQ(std::memcmp(&parts, &expected, sizeof parts), 0) << parts.wMilliseconds;
    }
    for (const std::string& text :
         {std::string(), std::string("2018"), std::string("20181212.1453"), std::string("20181312.145337"),
          std::string("20230229.000000"), std::string("20181212.245337"), std::string("-9991212.145337"),
          std::string("20181212.1453-1"), std::string("20181212.145337.-12"), std::string("16001231.235959"),
          std::string("2018-12-12T14:53:37"), std::string("20181212\0.145337", 16),
          std::string(100'000, '9')}) {
        SCOPED_TRACE(text.substr(0, 30));
        FILETIME time = Time(1);
        SYSTEMTIME parts = {1, 1, 6, 1, 1, 1, 1, 1};
        const SYSTEMTIME zero = {};
        Convert(text, time);
        Convert(text, parts);
        EXPECT_EQ(Ticks(time), 0U);
        EXPECT_EQ(std::memcmp(&parts, &zero, sizeof parts), 0);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon
