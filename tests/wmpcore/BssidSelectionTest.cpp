#include <gtest/gtest.h>

#include <cmath>

#include "BssidSelection.h"
#include "LogCapture.h"

namespace wmpcore {
namespace {

// Thresholds loose enough that any varying, strong column is selected.
const std::vector<std::string> kLoose = {"minBssidCount=0", "minDistinctValue=0", "minStdev=-1"};

DataSet build(std::vector<std::string> rows) {
    return getDataSet(std::move(rows), Param{});
}

std::vector<std::string> selectedBy(DataSet& ds, const Param& p) {
    const int n = static_cast<int>(ds.records.size());
    return getNewBssids(ds, p, n, static_cast<int>(ds.bssids.size()));
}

TEST(BssidSelection, SwitchedOffLeavesTheDataSetUntouched) {
    DataSet ds = build({"batch,b1", "1,-50", "1,0"});
    EXPECT_EQ(deleteBSSID(ds, getParamByArr({"deleteFlag=0"}), {}), 0);
    EXPECT_EQ(ds.records.size(), 2U);
    EXPECT_EQ(ds.bssids, (std::vector<std::string>{"b1"}));
}

TEST(BssidSelection, MainApKeepsEveryBssidButDropsSilentRecordsAndRenumbers) {
    DataSet ds = build({"batch,label,b1,b2", "5,A,-50,0", "5,B,0,0", "5,C,0,-60", "9,D,-40,0", "5,E,-41,0"});
    EXPECT_EQ(deleteBSSID(ds, getParamByArr({"isMainAp=1"}), {}), 1);
    EXPECT_EQ(ds.labels, (std::vector<std::string>{"A", "C", "D", "E"}));
    EXPECT_EQ(ds.batches, (std::vector<int32_t>{1, 1, 2, 3}));
    EXPECT_EQ(ds.records[3].orginBatch, 5);
    EXPECT_EQ(ds.batchSet, (std::set<int32_t>{1, 2, 3}));
    DataSet noBssids = build({"batch,label", "1,A", "2,B"});
    EXPECT_EQ(deleteBSSID(noBssids, getParamByArr({"isMainAp=1"}), {}), 0);
}

TEST(BssidSelection, FirstRecordOfBatchMinusOneKeepsNumberZero) {
    DataSet ds = build({"batch,b1", "-1,-50", "-1,-51", "4,-52"});
    ASSERT_EQ(deleteBSSID(ds, getParamByArr({"isMainAp=1"}), {}), 1);
    EXPECT_EQ(ds.batches, (std::vector<int32_t>{0, 0, 1}));
}

TEST(BssidSelection, ColumnCountAtMaxBssidNumIsStillExamined) {
    std::vector<std::string> rows = {"batch,b1,b2"};
    for (int i = 0; i < 6; ++i) rows.push_back("1," + std::to_string(-40 - 3 * i) + "," + std::to_string(-70 + 4 * i));
    auto params = kLoose;
    params.push_back("maxBssidNum=2");
    DataSet ds = build(rows);
    EXPECT_EQ(selectedBy(ds, getParamByArr(params)).size(), 2U);
    params.back() = "maxBssidNum=1";
    mqqoe::testing::LogCapture log;
    EXPECT_EQ(deleteBSSID(ds, getParamByArr(params), {}), 0);
    EXPECT_TRUE(log.contains(4, "WmpCore:", "newBssidLst.size == 0"));
}

TEST(BssidSelection, ABssidMayBeMissingInEightOfTenRecords) {
    std::vector<std::string> rows = {"batch,twoHeard,oneHeard"};
    rows.push_back("1,-50,-50");
    rows.push_back("1,-60,0");
    for (int i = 0; i < 8; ++i) rows.push_back("1,0,0");
    DataSet ds = build(rows);
    EXPECT_EQ(selectedBy(ds, getParamByArr(kLoose)), (std::vector<std::string>{"twoHeard"}));
}

TEST(BssidSelection, ConstantLevelsFailTheDeviationTest) {
    DataSet ds = build({"batch,flat,varied", "1,-50,-40", "1,-50,-60", "1,-50,-75", "1,-50,-45"});
    auto params = kLoose;
    params.push_back("minStdev=0");
    EXPECT_EQ(selectedBy(ds, getParamByArr(params)), (std::vector<std::string>{"varied"}));
}

// Batch 1 hears `s`; batch 2 (three records) hears only the dropped `d`.
DataSet readmissionTable(const std::string& lastD) {
    return build({"batch,s,d", "1,-50,0", "1,-60,0", "2,0,-55", "2,0,-58", "2,0," + lastD});
}

TEST(BssidSelection, SilentBatchReadmitsABssidHeardInAllItsRecords) {
    DataSet ds = readmissionTable("-52");
    EXPECT_EQ(filterBssids(ds, 5, getParamByArr({"reprMinOcc=3"}), {"s"}), (std::vector<std::string>{"s"}));
    EXPECT_EQ(filterBssids(ds, 5, getParamByArr({"reprMinOcc=2"}), {"s"}), (std::vector<std::string>{"s", "d"}));
    // Mean -55 must exceed lowerBound.
    EXPECT_EQ(filterBssids(ds, 5, getParamByArr({"reprMinOcc=2", "lowerBound=-55"}), {"s"}).size(), 1U);
    DataSet withGap = readmissionTable("0");
    EXPECT_EQ(filterBssids(withGap, 5, getParamByArr({"reprMinOcc=2"}), {"s"}).size(), 1U);
}

TEST(BssidSelection, Statistics) {
    EXPECT_FLOAT_EQ(deviation({1.0f, 2.0f, 3.0f}, 3), 1.0f);
    EXPECT_EQ(deviation({1.0f, 2.0f, 3.0f}, 1), 0.0f);
    EXPECT_EQ(deviation({}, 0), 0.0f);
    // The divisor is the argument, not the set's size.
    EXPECT_FLOAT_EQ(deviation({2.0f, 4.0f}, 4), std::sqrt(6.5f / 3.0f));
    EXPECT_FLOAT_EQ(computeBssidStat({-50.0f, -60.0f}, BssidStat{}, Param{}).meanRssi, -55.0f);
    EXPECT_EQ(computeBssidStat({}, BssidStat{}, Param{}).meanRssi, 0.0f);
    std::vector<Record> none;
    std::string bssid = "b";
    Param p;
    EXPECT_FALSE(checkRdsBssid(none, bssid, p));
}

}  // namespace
}  // namespace wmpcore
