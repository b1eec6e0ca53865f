#include "WindowsAgentCommon/EPSCollector.h"

#include <gtest/gtest.h>

#include <limits>

namespace WindowsAgentCommon {
namespace {

TEST(EPSCollector, EntryIsFormattedByTheSizeOfItsAverage) {
    const std::pair<double, std::string> rows[] = {
        {0, "0"},
        {0.00000049, "0"},
        {0.0000005, "0.000000"},
        {0.000049, "0.000049"},
        {0.00005, "0.0001"},
        {0.00499, "0.0050"},
        {0.005, "0.01"},
        {9.999, "10.00"},
        {12.7, "12"},
        {-3.7, "-3"},
        {1e300, "2147483647"},
        {std::numeric_limits<double>::quiet_NaN(), "0"},
    };
    for (const auto& [average, text] : rows) {
        EPSCollector collector("Minutes", 60);
        collector.push(average, 3000000000);
        EXPECT_EQ(collector.report(false, true), "1 Minutes: " + text + "/-1294967296 ")
            << "%d, deliberately";
        EXPECT_EQ(collector.report(false, false), "1 Minutes: " + text + " ");
    }
}

TEST(EPSCollector, FullOneDropsItsTwoOldestEntriesAndReportsWhatEmptiedSlotsHold) {
    const struct {
        int size;
        std::string full, entries, left;  // of six pushes; then; full report when emptied
    } rows[] = {{-1, "111111", "0 D: ", "0 D: "},
                {1, "111111", "1 D: 16 ", "1 D: 16 "},
                {3, "001010", "2 D: 16 15 ", "3 D: 15 16 15 "}};  // the shift leaves the last slots alone
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        EPSCollector collector("D", row.size), coarse("C", 2);
        std::string full;
        for (int i = 11; i <= 16; ++i) full += collector.push(i, 0) ? "1" : "0";
        EXPECT_EQ(full, row.full);
        EXPECT_EQ(collector.report(false, false), row.entries);
        EXPECT_FALSE(coarse.push(collector));
        EXPECT_TRUE(collector.isEmpty());
        EXPECT_EQ(collector.report(true, false), row.left);
    }
}

TEST(EPSCollector, CoarserEntryIsTheMeanOfTheEntriesAndTheLargestOfAllSlots) {
    EPSCollector fine("F", 4), coarse("C", 3);
    fine.push(20, 7);
    fine.push(30, 90);
    EXPECT_FALSE(coarse.push(fine));
    fine.push(40, 3);  // the 90 is still in an emptied slot, and counts
    EXPECT_FALSE(coarse.push(fine));
    EXPECT_TRUE(coarse.push(fine)) << "of no entries";
    EXPECT_EQ(coarse.report(true, true), "3 C: 0/90 40/90 25/90 ");
}

}  // namespace
}  // namespace WindowsAgentCommon
