#include <gtest/gtest.h>

#include "DataSet.h"
#include "LogCapture.h"

namespace wmpcore {
namespace {

DataSet build(std::vector<std::string> rows) { return getDataSet(std::move(rows), Param{}); }

TEST(DataSetText, FixedHeaderNoBssidsAndTheWriterAddingMissingKeys) {
    for (auto rows : {std::vector<std::string>{}, std::vector<std::string>{"batch,label,b1"}}) {
        DataSet ds = build(rows);
        EXPECT_TRUE(ds.records.empty() && ds.header.empty());
        EXPECT_EQ(ds.getString(), "orginBatch,batch,label,timestamp,link_speed,;");
    }
    EXPECT_EQ(build({"batch,label,timestamp,link_speed", "4,L,T,S"}).getString(),
              "orginBatch,batch,label,timestamp,link_speed,;0,4,L,T,S;");

    mqqoe::testing::LogCapture log;
    DataSet ds = build({"orginBatch,batch,label,timestamp,link_speed,b1,b2", "3,1,L,T,S,0.5"});
    ASSERT_EQ(ds.records.size(), 1U);
    EXPECT_EQ(ds.records[0].bssidValues.count("b2"), 0U);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ds.getString(), "orginBatch,batch,label,timestamp,link_speed,b1,b2,;3,1,L,T,S,0.5,0;");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "WmpCore:getStrResult: \n");
    EXPECT_EQ(ds.records[0].bssidValues.count("b2"), 1U);
    EXPECT_TRUE(log.contains(4, "WmpCore DataSet:", "getStrResult begin"));
    EXPECT_TRUE(log.contains(4, "WmpCore:", "getDataSet begin"));
}

TEST(DataSetBuild, ColumnsZeroLevelsAndRowsOfAnyShape) {
    DataSet ds = build({"batch,b1,b2", "7,0.0,-60", "8,-55,0"});
    EXPECT_EQ(ds.bssidValueLists.list("b1"), (std::vector<float>{0.0f, -55.0f}));  // kept, but not heard
    EXPECT_EQ(ds.bssidBatches["b1"], (std::set<int32_t>{8}));
    EXPECT_EQ(ds.bssidBatches["b2"], (std::set<int32_t>{7}));
    EXPECT_EQ(ds.batches, (std::vector<int32_t>{7, 8}));
    // A BSSID before the batch column records batch 0.
    DataSet early = build({"b1,batch", "-50,6"});
    EXPECT_EQ(early.bssidBatches["b1"], (std::set<int32_t>{0}));
    EXPECT_EQ(early.records[0].batch, 6);
    // Values are placed by position from the first BSSID column.
    DataSet placed = build({"b1,label,b2,b3", "1,L,2,3"});
    EXPECT_EQ(placed.records[0].bssidValues.toMap(), (std::map<std::string, float>{{"b1", 1.0f}, {"b3", 2.0f}}));
    EXPECT_EQ(placed.records[0].label, "L");

    DataSet odd = build({"batch,label,b1,b1", "1,A,-40,-41,-42,-43", "", ",,,", "2,B", "x,C,1e40,nan"});
    ASSERT_EQ(odd.records.size(), 3U);
    // Extra fields are dropped; the first value of a repeated name wins.
    EXPECT_EQ(odd.records[0].bssidValues.valueOf("b1"), -40.0f);
    EXPECT_EQ(odd.bssidValueLists.list("b1").size(), 4U);
    EXPECT_TRUE(odd.records[1].bssidValues.empty());
    EXPECT_EQ(odd.records[2].batch, 0);
    EXPECT_EQ(odd.labels, (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(odd.getString(), "orginBatch,batch,label,timestamp,link_speed,b1,b1,;0,1,A,,,-40,-40;0,2,B,,,0,0;"
                               "0,0,C,,,inf,inf;");
}

}  // namespace
}  // namespace wmpcore
