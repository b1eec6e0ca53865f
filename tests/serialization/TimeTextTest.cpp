#include "WindowsAgentCommon/FileUtil.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <tuple>

#include <windows.h>

using namespace WindowsAgentCommon;

namespace {

constexpr unsigned long long kSecond = 131891000170000000;  // 2018-12-12 14:53:37

FILETIME Time(unsigned long long ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
}

// Nanoseconds as IEEE doubles give them: deliberately not exact.
TEST(TimeText, FileTimesBecomeTextsUnderEveryFloatingPointPrecision) {
    const std::tuple<unsigned long long, const wchar_t*, const char*, long long> rows[] = {
        {kSecond + 1234567, L"2018-12-12T14:53:37.123455047Z", "20181212.145337.123456700", 1544626417},
        {kSecond + 9999999, L"2018-12-12T14:53:37.000000000Z", "20181212.145337.999999900", 1544626417},
        {1, L"1601-01-01T00:00:00.000000100Z", "16010101.000000.000000100", -11644473600},
        {116444736000000000, L"1970-01-01T00:00:00.000000000Z", "19700101.000000.000000000", 0},
        {116444735999999999, L"1969-12-31T23:59:59.000000000Z", "19691231.235959.999999900", -1},
        {2650467743995000001, L"9999-12-31T23:59:59.499969482Z", "99991231.235959.500000100", 253402300799},
        {1ULL << 63U, L"", "", 910692730085}};
    std::wstring iso;
    std::string compact;
    for (const unsigned int precision : {_PC_24, _PC_53, _PC_64}) {
        for (const auto& [ticks, expectedIso, expected, unixSeconds] : rows) {
            SCOPED_TRACE(expected);
            ::_controlfp(precision, _MCW_PC);
            GetISO8601Timestamp(Time(ticks), iso);
            EXPECT_EQ(::_controlfp(0, 0) & _MCW_PC, precision);
            Convert(Time(ticks), compact);
            ::_controlfp(_PC_64, _MCW_PC);
            EXPECT_EQ(iso, expectedIso);
            EXPECT_EQ(compact, expected);
            EXPECT_EQ(ConvertFiletimeToUnixEpoch(Time(ticks)), unixSeconds);
        }
    }
    for (const auto& [year, expected] : {std::pair(2024, L"2024-02-29T01:02:03.250000000Z"), {2023, L""}}) {
        GetISO8601Timestamp(SYSTEMTIME{static_cast<WORD>(year), 2, 0, 29, 1, 2, 3, 250}, iso);
        EXPECT_EQ(iso, expected);
    }
    GetISO8601Timestamp(iso);
    EXPECT_EQ(iso.size(), 30U);
}

TEST(TimeText, CompactTextsBecomeTimesAndBadOnesZero) {
    constexpr SYSTEMTIME none = {};
    const auto at = [](WORD milliseconds) { return SYSTEMTIME{2018, 12, 6, 12, 14, 53, 37, milliseconds}; };
    const std::tuple<std::string, unsigned long long, SYSTEMTIME> rows[] = {
        {"20181212.145337", kSecond, at(0)},
        {"20181212.145337. and more", kSecond, at(0)},
        {"20181212.145337.123456700", kSecond + 1234567, at(123)},
        {" 2018 12 12.145337.5", kSecond + 5, at(5)},
        {"20181212.1453", 0, none},
        {"2018-12-12T14:53:37", 0, none},
        {std::string("20181212\0.145337", 16), 0, none},
        {std::string(100'000, '9'), 0, none},
        // Six numbers that are no time; parts take them as they are.
        {"20181312.245337", 0, SYSTEMTIME{2018, 13, 6, 12, 24, 53, 37, 0}},
        {"20230229.000000", 0, SYSTEMTIME{2023, 2, 6, 29, 0, 0, 0, 0}},
        {"16001231.235959", 0, SYSTEMTIME{1600, 12, 6, 31, 23, 59, 59, 0}},
        {"20181212.1453-1", 0, SYSTEMTIME{2018, 12, 6, 12, 14, 53, 0xFFFF, 0}},
        {"20181212.145337.-12", 0, at(0xFFF4)}};
    for (const auto& [text, ticks, expectedParts] : rows) {
        SCOPED_TRACE(text.substr(0, 30));
        FILETIME time = Time(1);
        SYSTEMTIME parts = {1, 1, 6, 1, 1, 1, 1, 1};
        Convert(text, time);
        Convert(text, parts);
        const FILETIME expected = Time(ticks);
        EXPECT_EQ(::CompareFileTime(&time, &expected), 0);
        EXPECT_EQ(std::memcmp(&parts, &expectedParts, sizeof parts), 0) << parts.wSecond;
    }
}

}  // namespace
