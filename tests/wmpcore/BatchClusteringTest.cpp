#include <gtest/gtest.h>

#include "BatchClustering.h"
#include "Cluster.h"

namespace wmpcore {
namespace {

DataSet build(std::vector<std::string> rows) {
    return getDataSet(std::move(rows), Param{});
}

Record labelled(int32_t prelabel, std::map<std::string, float> values) {
    Record r;
    r.prelabel = prelabel;
    r.bssidValues = BssidLevels(values);
    return r;
}

TEST(WeightAverage, TruncatedRunningSumWeightShareAndEmptyBatches) {
    DataSet truncated = build({"batch,b1", "1,-61.7", "1,-62.7", "2,-10"});
    EXPECT_EQ(computeWeightAverage(truncated, 1, Param{}), (BatchFp{1, {-61.5f}}));
    // A BSSID heard in exactly the weight share of the records counts as silent.
    DataSet ds = build({"batch,half,all", "1,-40,-50", "1,0,-52"});
    EXPECT_EQ(computeWeightAverage(ds, 1, getParamByArr({"weightParam=0.5"})).second,
              (std::vector<float>{0.0f, -51.0f}));
    EXPECT_EQ(computeWeightAverage(ds, 1, getParamByArr({"weightParam=0.49"})).second,
              (std::vector<float>{-40.0f, -51.0f}));
    EXPECT_EQ(computeWeightAverage(ds, 9, Param{}).second, (std::vector<float>{0.0f, 0.0f}));
    DataSet noBssids = build({"batch,label", "1,A"});
    EXPECT_TRUE(computeWeightAverage(noBssids, 1, Param{}).second.empty());
}

TEST(ClusterFilter, SmallClustersGoAndTheRestAreRenumbered) {
    DataSet ds;
    ds.bssids = {"everywhere", "onlyInSmall"};
    for (int32_t label : {3, 8, 9, 4}) {
        const int32_t count = label == 4 ? 4 : 5;
        for (int i = 0; i < count; ++i) {
            ds.records.push_back(labelled(label, {{"everywhere", -50.0f}, {"onlyInSmall", label == 4 ? -60.0f : 0.0f}}));
        }
        ds.clusterMap[label] = count;
    }
    clusterFilter(ds, Param{});
    EXPECT_EQ(ds.clusterMap, (std::map<int32_t, int32_t>{{3, 5}, {8, 5}, {9, 5}}));
    ASSERT_EQ(ds.records.size(), 15U);
    EXPECT_EQ(ds.records.front().prelabel, 1);
    EXPECT_EQ(ds.records[5].prelabel, 2);
    EXPECT_EQ(ds.records.back().prelabel, 3);
    EXPECT_EQ(ds.bssids, (std::vector<std::string>{"everywhere"}));
    EXPECT_TRUE(checkZeroBssidCol(ds.records, "everywhere"));
    EXPECT_FALSE(checkZeroBssidCol(ds.records, "onlyInSmall"));
    EXPECT_FALSE(checkZeroBssidCol({}, "everywhere"));
}

TEST(ModelText, CarriesTheOriginalBatchAndAddsMissingKeys) {
    Record r = labelled(1, {{"b1", -61.0f}});
    r.orginBatch = 7;
    r.batch = 2;
    r.label = "L";
    r.timestamp = "T";
    r.link_speed = "S";
    Cluster cluster{{r}, {"b1", "b2"}};
    EXPECT_EQ(cluster.getStrResult(), "batch,label,timestamp,link_speed,b1,b2,prelabel;7,L,T,S,-61,0,1;");
    EXPECT_EQ(cluster.records[0].bssidValues.count("b2"), 1U);
}

}  // namespace
}  // namespace wmpcore
