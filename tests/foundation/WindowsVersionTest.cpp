#include "foundation/WindowsVersion.h"

#include <gtest/gtest.h>

namespace WindowsAgentCommon::detail {
namespace {

constexpr unsigned int kIntel = 0;
constexpr unsigned int kAmd64 = 9;
constexpr unsigned int kHome = 0x8000;  // the home server's bit of the suite mask

TEST(WindowsVersion, RecordAndLineFollowWhatTheSystemSays) {
    const char* const xp64 = "Windows XP Professional 64-Bit Edition (Build 3790 SP2 64-bit)";
    const struct {
        SystemVersion system;  // major, minor, build, pack, suites, workstation, processor, number, R2, WOW64
        bool isServer;
        const char* line;
    } rows[] = {
        {{5, 0, 2195, 4, 0, true}, false, "Windows 2000 (Build 2195 SP4 32-bit)"},
        {{5, 0, 2195, 4, 0, false}, true, "Windows 2000 (Build 2195 SP4 32-bit)"},
        {{5, 1, 2600, 3, 0, true}, false, "Windows XP (Build 2600 SP3 32-bit)"},
        {{5, 1, 2600, 0, kHome, false, kAmd64, 1, true}, true, "Windows XP (Build 2600 32-bit)"},
        {{5, 2, 9, 2, kHome | 0x110, false, kIntel, 1, true},
         true,
         "Windows Home Server (Build 9 SP2 32-bit)"},
        {{5, 2, 9, 2, kHome, true, kAmd64, 1, false, true}, true, "Windows Home Server (Build 9 SP2 64-bit)"},
        {{5, 2, 3790, 2, 0x100, true, kAmd64, 1, true}, false, xp64},
        {{5, 2, 9, 0, 0x7FFF, false, kAmd64, 1, false, true}, true, "Windows Server 2003 (Build 9 64-bit)"},
        {{5, 2, 9, 0, 0, true, kIntel}, true, "Windows Server 2003 (Build 9 32-bit)"},
        {{5, 2, 9, 0, 0, false, kIntel, 1, true}, true, "Windows Server 2003 R2 (Build 9 32-bit)"},
        {{6, 0, 6002, 2, 0, true}, false, "Windows Vista (Build 6002 SP2 32-bit)"},
        {{6, 0, 9, 0, kHome, false, kAmd64, 1, true}, true, "Windows Server 2008 (Build 9 32-bit)"},
        {{6, 1, 7601, 1, 0, true, kAmd64, 1, false, true}, false, "Windows 7 (Build 7601 SP1 64-bit)"},
        {{6, 1, 7601, 1, 0, false}, true, "Windows Server 2008 R2 (Build 7601 SP1 32-bit)"},
        {{6, 2, 9200, 0, 0, true}, false, "Windows 8 (Build 9200 32-bit)"},
        {{6, 2, 9200, 0, 0, false}, true, "Windows Server 2012 (Build 9200 32-bit)"},
        {{6, 3, 9600, 0, 0, true}, false, "Windows 8.1 (Build 9600 32-bit)"},
        {{6, 3, 9600, 0, 0, false}, true, "Windows Server 2012 R2 (Build 9600 32-bit)"},
        {{10, 0, 19043, 0, 0, true}, false, "Windows 10 (Build 19043 32-bit)"},
        {{10, 0, 14393, 0, 0, false}, true, "Windows Server 2016 (Build 14393 32-bit)"},
        {{6, 4, 9841, 0, 0, true}, false, "Windows 6-4 (Build 9841 32-bit)"},
        {{11, 1, 30000, 0, 0, false}, true, "Windows Server 11-1 (Build 30000 32-bit)"},
    };
    unsigned int processors = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        SystemVersion system = row.system;
        system.processors = ++processors;
        const CV_OS_INFO info = DescribeWindowsVersion(system);
        EXPECT_EQ(row.line, WindowsVersionLine(info));
        EXPECT_EQ(static_cast<int>(system.major * 10 + system.minor), info.versionCode);
        EXPECT_EQ(row.isServer, info.isServer);
        EXPECT_EQ(system.major >= 6, info.isModern);
        EXPECT_EQ(processors, info.processors);
    }
}

}  // namespace
}  // namespace WindowsAgentCommon::detail
