#include <gtest/gtest.h>

#include <cmath>

#include "BssidSelection.h"
#include "LogCapture.h"

namespace wmpcore {
namespace {

using Rows = std::vector<std::string>;

// Thresholds loose enough that any varying, strong column is selected, then `extra`.
Param with(Rows extra) {
    Rows params = {"minBssidCount=0", "minDistinctValue=0", "minStdev=-1"};
    params.insert(params.end(), extra.begin(), extra.end());
    return getParamByArr(params);
}

DataSet build(Rows rows) { return getDataSet(std::move(rows), Param{}); }

Rows selectedBy(DataSet& ds, const Param& p) {
    const int n = static_cast<int>(ds.records.size());
    return getNewBssids(ds, p, n, static_cast<int>(ds.bssids.size()));
}

TEST(BssidSelection, SwitchedOffOrMainApKeepsEveryBssidButDropsSilentRecordsAndRenumbers) {
    DataSet off = build({"batch,b1", "1,-50", "1,0"});
    EXPECT_EQ(deleteBSSID(off, getParamByArr({"deleteFlag=0"}), {}), 0);
    EXPECT_EQ(off.records.size(), 2U);
    DataSet ds = build({"batch,label,b1,b2", "5,A,-50,0", "5,B,0,0", "5,C,0,-60", "9,D,-40,0", "5,E,-41,0"});
    EXPECT_EQ(deleteBSSID(ds, getParamByArr({"isMainAp=1"}), {}), 1);
    EXPECT_EQ(ds.labels, (std::vector<std::string>{"A", "C", "D", "E"}));
    EXPECT_EQ(ds.batches, (std::vector<int32_t>{1, 1, 2, 3}));
    EXPECT_EQ(ds.records[3].orginBatch, 5);
    EXPECT_EQ(ds.batchSet, (std::set<int32_t>{1, 2, 3}));
    // The first record of batch -1 keeps number 0.
    DataSet minusOne = build({"batch,b1", "-1,-50", "-1,-51", "4,-52"});
    ASSERT_EQ(deleteBSSID(minusOne, getParamByArr({"isMainAp=1"}), {}), 1);
    EXPECT_EQ(minusOne.batches, (std::vector<int32_t>{0, 0, 1}));
    DataSet noBssids = build({"batch,label", "1,A", "2,B"});
    EXPECT_EQ(deleteBSSID(noBssids, getParamByArr({"isMainAp=1"}), {}), 0);
}

TEST(BssidSelection, ColumnLimitPresenceAndDeviationThresholds) {
    Rows rows = {"batch,b1,b2"};
    for (int i = 0; i < 6; ++i) rows.push_back("1," + std::to_string(-40 - 3 * i) + "," + std::to_string(-70 + 4 * i));
    DataSet ds = build(rows);
    // A column count equal to maxBssidNum is still examined.
    EXPECT_EQ(selectedBy(ds, with({"maxBssidNum=2"})).size(), 2U);
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(deleteBSSID(ds, with({"maxBssidNum=1"}), {}), 0);
    EXPECT_TRUE(log.contains(4, "WmpCore:", "newBssidLst.size == 0"));
    // A BSSID may be missing in eight of ten records, not in nine.
    rows = {"batch,twoHeard,oneHeard", "1,-50,-50", "1,-60,0"};
    for (int i = 0; i < 8; ++i) rows.push_back("1,0,0");
    DataSet sparse = build(rows);
    EXPECT_EQ(selectedBy(sparse, with({})), (Rows{"twoHeard"}));
    DataSet flat = build({"batch,flat,varied", "1,-50,-40", "1,-50,-60", "1,-50,-75", "1,-50,-45"});
    EXPECT_EQ(selectedBy(flat, with({"minStdev=0"})), (Rows{"varied"}));
}

TEST(BssidSelection, SilentBatchReadmitsABssidHeardInAllItsRecords) {
    // Batch 1 hears `s`; batch 2 (three records) hears only the dropped `d`, the second time with a gap.
    DataSet ds = build({"batch,s,d", "1,-50,0", "1,-60,0", "2,0,-55", "2,0,-58", "2,0,-52"});
    DataSet withGap = build({"batch,s,d", "1,-50,0", "1,-60,0", "2,0,-55", "2,0,-58", "2,0,0"});
    EXPECT_EQ(filterBssids(ds, 5, getParamByArr({"reprMinOcc=3"}), {"s"}), (Rows{"s"}));
    EXPECT_EQ(filterBssids(ds, 5, getParamByArr({"reprMinOcc=2"}), {"s"}), (Rows{"s", "d"}));
    // Mean -55 must exceed lowerBound.
    EXPECT_EQ(filterBssids(ds, 5, getParamByArr({"reprMinOcc=2", "lowerBound=-55"}), {"s"}).size(), 1U);
    EXPECT_EQ(filterBssids(withGap, 5, getParamByArr({"reprMinOcc=2"}), {"s"}).size(), 1U);
}

TEST(BssidSelection, StatisticsOfShortSets) {
    EXPECT_FLOAT_EQ(deviation({2.0f, 4.0f}, 4), std::sqrt(6.5f / 3.0f));  // the divisor is the argument
    EXPECT_EQ(deviation({1.0f, 2.0f, 3.0f}, 1), 0.0f);
    EXPECT_EQ(deviation({}, 0), 0.0f);
    EXPECT_EQ(computeBssidStat({}, BssidStat{}, Param{}).meanRssi, 0.0f);
    std::vector<Record> none;
    std::string bssid = "b";
    Param p;
    EXPECT_FALSE(checkRdsBssid(none, bssid, p));
}

}  // namespace
}  // namespace wmpcore
