#include "WindowsAgentCommon/EPSCollector.h"

#include <gtest/gtest.h>

#include <limits>

namespace WindowsAgentCommon {
namespace {

TEST(EPSCollector, EntryIsFormattedByTheSizeOfItsAverage) {
    const struct {
        double average;
        unsigned long maximum;
        std::string text;
    } rows[] = {{0, 0, "0/0"},
                {0.00000049, 1, "0/1"},
                {0.000001, 1, "0.000001/1"},
                {0.000049, 1, "0.000049/1"},
                {0.00006, 1, "0.0001/1"},
                {0.00499, 1, "0.0050/1"},
                {0.0051, 1, "0.01/1"},
                {9.999, 2147483647, "10.00/2147483647"},
                {12.7, 3000000000, "12/-1294967296"},  // "%d", deliberately
                {-3.7, 0, "-3/0"},
                {1e300, 0, "2147483647/0"},
                {std::numeric_limits<double>::quiet_NaN(), 0, "0/0"}};
    for (const auto& row : rows) {
        EPSCollector collector("Minutes", 60);
        EXPECT_FALSE(collector.push(row.average, row.maximum));
        EXPECT_EQ(collector.report(false, true), "1 Minutes: " + row.text + " ");
        EXPECT_EQ(collector.report(false, false),
                  "1 Minutes: " + row.text.substr(0, row.text.find('/')) + " ");
    }
}

TEST(EPSCollector, FullOneDropsItsTwoOldestEntriesAndReportsWhatEmptiedSlotsHold) {
    const struct {
        int size;
        std::string full, entries,
            left;  // whether each of six pushes reported full; full report when emptied
    } rows[] = {{-1, "111111", "0 D: ", "0 D: "},
                {0, "111111", "0 D: ", "0 D: "},
                {1, "111111", "1 D: 16 ", "1 D: 16 "},
                {2, "010101", "2 D: 16 15 ", "2 D: 16 15 "},
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
